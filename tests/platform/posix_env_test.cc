#include "platform/posix_env.h"

#include <stdlib.h>

#include <cctype>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/test_env.h"

namespace qdx {
namespace {

TEST(PosixEnvTest, EnvironmentVariablesConfigureIt) {
  ::setenv("QDX_HOME", "/tmp/qdx-env-home", 1);
  ::setenv("QDX_KEYCHAIN_DIR", "/tmp/qdx-env-keychain", 1);
  ::setenv("QDX_NETWORK", "0", 1);
  ::setenv("QDX_BUNDLE_ID", "org.example.other", 1);
  ::setenv("QDX_APP_VERSION", "2.3", 1);
  ::setenv("QDX_SCREEN", "414x896@3", 1);
  ::setenv("QDX_CA_FILE", "/tmp/ca.pem", 1);
  ::setenv("QDX_CONNECT_TO", "a:443:127.0.0.1:8443,b:443:127.0.0.1:9443", 1);
  PosixEnv env;
  EXPECT_EQ(env.homeDirectory(), "/tmp/qdx-env-home");
  EXPECT_EQ(env.keychainDirectory(), "/tmp/qdx-env-keychain");
  EXPECT_EQ(env.dataNetworkCode(), 0u);
  EXPECT_EQ(env.bundleInfo("CFBundleIdentifier"), "org.example.other");
  EXPECT_EQ(env.bundleInfo("CFBundleShortVersionString"), "2.3");
  EXPECT_EQ(env.mainScreen().width, 414);
  EXPECT_EQ(env.mainScreen().height, 896);
  EXPECT_EQ(env.mainScreen().scale, 3);
  EXPECT_EQ(env.caFile(), "/tmp/ca.pem");
  EXPECT_EQ(env.connectTo(),
            (std::vector<std::string>{"a:443:127.0.0.1:8443", "b:443:127.0.0.1:9443"}));
}

TEST(PosixEnvTest, DefaultsWithoutEnvironment) {
  for (const char* name : {"QDX_HOME", "QDX_KEYCHAIN_DIR", "QDX_NETWORK", "QDX_BUNDLE_ID",
                           "QDX_APP_VERSION", "QDX_SCREEN", "QDX_CA_FILE", "QDX_CONNECT_TO"}) {
    ::unsetenv(name);
  }
  ::setenv("XDG_DATA_HOME", "/tmp/xdg", 1);
  PosixEnv env;
  EXPECT_EQ(env.homeDirectory(), "/tmp/xdg/qdx/apps/com.example.qdxhost");
  EXPECT_EQ(env.keychainDirectory(), "/tmp/xdg/qdx/keychain");
  EXPECT_EQ(env.dataNetworkCode(), 5u);
  EXPECT_EQ(env.bundleInfo("CFBundleShortVersionString"), "1.0");
  EXPECT_EQ(env.bundleInfo("NoSuchKey"), std::nullopt);
  EXPECT_EQ(env.mainScreen().width, 375);
  EXPECT_EQ(env.mainScreen().scale, 2);
  EXPECT_EQ(env.applicationState(), 0);
  EXPECT_FALSE(env.systemVersion().empty());
  EXPECT_FALSE(env.machineIdentifier().empty());
  EXPECT_TRUE(env.connectTo().empty());
}

TEST(PosixEnvTest, MalformedEnvironmentValuesKeepTheDefaults) {
  ::setenv("QDX_SCREEN", "wide", 1);
  ::setenv("QDX_NETWORK", "wifi", 1);
  PosixEnv env;
  EXPECT_EQ(env.mainScreen().width, 375);
  EXPECT_EQ(env.dataNetworkCode(), 5u);
  ::setenv("QDX_SCREEN", "320x480", 1);  // the scale may be left out
  PosixEnv noScale;
  EXPECT_EQ(noScale.mainScreen().height, 480);
  EXPECT_EQ(noScale.mainScreen().scale, 2);
}

TEST(PosixEnvTest, AdvertisingIdentifierIsAStableUppercaseUuidPerHome) {
  TestEnv env;
  std::string idfa = env.advertisingIdentifier();
  ASSERT_EQ(idfa.size(), 36u);
  for (char c : idfa) EXPECT_TRUE(c == '-' || std::isdigit(c) || std::isupper(c)) << idfa;
  TestEnv restarted(env.tempRoot());
  EXPECT_EQ(restarted.advertisingIdentifier(), idfa);
  TestEnv otherApp;
  EXPECT_NE(otherApp.advertisingIdentifier(), idfa);
  otherApp.setAdvertisingIdentifier("00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(otherApp.advertisingIdentifier(), "00000000-0000-0000-0000-000000000000");
}

TEST(PosixEnvTest, DirectoriesAreMadeOnDemandUnderTheHome) {
  TestEnv env;
  EXPECT_EQ(env.documentsDirectory(), env.homeDirectory() + "/Documents");
  EXPECT_EQ(env.cachesDirectory(), env.homeDirectory() + "/Library/Caches");
  EXPECT_TRUE(std::filesystem::is_directory(env.documentsDirectory()));
  EXPECT_TRUE(std::filesystem::is_directory(env.cachesDirectory()));
}

TEST(PosixEnvTest, ChangingTheHomeSwitchesTheLocalStore) {
  TestEnv env;
  env.localStore().set("k", "first home");
  KeyValueBackend* store = &env.localStore();
  env.setHomeDirectory(env.tempRoot() + "/second");
  EXPECT_EQ(&env.localStore(), store) << "references handed out stay valid";
  EXPECT_TRUE(env.localStore().get("k").is_null());
  env.setHomeDirectory(env.tempRoot() + "/home");
  EXPECT_EQ(env.localStore().get("k"), "first home");
}

TEST(PosixEnvTest, OpenUrlDefaultLogsAndSucceeds) {
  PosixEnv env;
  std::vector<std::string> lines;
  env.setLogSink([&](const std::string& line) { lines.push_back(line); });
  EXPECT_TRUE(env.openURL("itms-apps://itunes.apple.com/app/id1"));
  EXPECT_EQ(lines, std::vector<std::string>{"openURL: itms-apps://itunes.apple.com/app/id1"});
  env.setLogSink([](const std::string&) { throw 1; });
  env.log("a throwing sink loses the line quietly");
}

TEST(PosixEnvTest, DefaultIsTheInstalledEnvElseOneProcessWideDefault) {
  Env* fallback = Env::Default();
  ASSERT_NE(fallback, nullptr);
  EXPECT_EQ(Env::Default(), fallback);
  {
    TestEnv env;
    EXPECT_EQ(Env::Default(), &env);
  }
  EXPECT_EQ(Env::Default(), fallback);
}

TEST(TestEnvTest, FixedClockAdvancesOnlyWhenAsked) {
  TestEnv env;
  double real = env.now();
  EXPECT_GT(real, 1.6e9);
  env.setNow(1700000000.25);
  EXPECT_EQ(env.now(), 1700000000.25);
  env.advance(1.5);
  EXPECT_EQ(env.now(), 1700000001.75);
}

TEST(TestEnvTest, RootIsRemovedUnlessReused) {
  std::string root;
  {
    TestEnv env;
    root = env.tempRoot();
    EXPECT_EQ(root.find("qdx-test-"), root.rfind('/') + 1);
    env.localStore().set("k", 1);
    {
      TestEnv reuse(root);
      EXPECT_EQ(Env::Default(), &reuse);
    }
    EXPECT_EQ(Env::Default(), &env) << "the outer one is back";
    EXPECT_TRUE(std::filesystem::exists(root)) << "a reusing TestEnv leaves the root";
  }
  EXPECT_FALSE(std::filesystem::exists(root));
}

}  // namespace
}  // namespace qdx

#include "platform/posix_env.h"

#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "sdk/QDXLog.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(PosixEnvTest, HomeAndEnvironmentVariablesConfigureIt) {
  TestEnv env;
  std::string idfa = env.advertisingIdentifier();
  ASSERT_EQ(idfa.size(), 36u);
  for (char c : idfa) EXPECT_TRUE(c == '-' || std::isdigit(c) || std::isupper(c)) << idfa;
  TestEnv restarted(env.tempRoot());
  EXPECT_EQ(restarted.advertisingIdentifier(), idfa);
  TestEnv otherApp;
  EXPECT_NE(otherApp.advertisingIdentifier(), idfa);

  // Directories and the local store follow the home.
  env.localStore().set("k", "first home");
  KeyValueBackend* store = &env.localStore();
  env.setHomeDirectory(env.tempRoot() + "/second");
  EXPECT_EQ(env.documentsDirectory(), env.tempRoot() + "/second/Documents");
  EXPECT_EQ(env.cachesDirectory(), env.tempRoot() + "/second/Library/Caches");
  EXPECT_TRUE(std::filesystem::is_directory(env.documentsDirectory()));  // made on demand
  EXPECT_TRUE(std::filesystem::is_directory(env.cachesDirectory()));
  EXPECT_EQ(&env.localStore(), store) << "references handed out stay valid";
  EXPECT_TRUE(env.localStore().get("k").is_null());
  env.setHomeDirectory(env.tempRoot() + "/home");
  EXPECT_EQ(env.localStore().get("k"), "first home");

  // The variables a host's integrator sets (the demo's tests cover the home,
  // keychain, screen and server ones end to end); missing or malformed ones
  // keep the defaults: an online device with a portrait screen, and a
  // keychain outside the app's home.
  ::setenv("QDX_NETWORK", "0", 1);
  ::setenv("QDX_SCREEN", "414x896@3", 1);
  ::setenv("QDX_CONNECT_TO", "a:443:127.0.0.1:8443,b:443:127.0.0.1:9443", 1);
  PosixEnv configured;
  EXPECT_EQ(configured.dataNetworkCode(), 0u);
  EXPECT_EQ(configured.mainScreen().scale, 3);
  EXPECT_EQ(configured.connectTo(),
            (std::vector<std::string>{"a:443:127.0.0.1:8443", "b:443:127.0.0.1:9443"}));

  for (const char* name : {"QDX_HOME", "QDX_KEYCHAIN_DIR", "QDX_CONNECT_TO"}) ::unsetenv(name);
  ::setenv("XDG_DATA_HOME", "/tmp/xdg", 1);
  ::setenv("QDX_SCREEN", "wide", 1);
  ::setenv("QDX_NETWORK", "wifi", 1);
  PosixEnv defaults;
  EXPECT_EQ(defaults.homeDirectory(), "/tmp/xdg/qdx/apps/com.example.qdxhost");
  EXPECT_EQ(defaults.keychainDirectory(), "/tmp/xdg/qdx/keychain");
  EXPECT_EQ(defaults.dataNetworkCode(), 5u);
  EXPECT_EQ(defaults.mainScreen().width, 375);
  EXPECT_TRUE(defaults.connectTo().empty());
  ::setenv("QDX_SCREEN", "320x480", 1);  // the scale may be left out
  EXPECT_EQ(PosixEnv().mainScreen().scale, 2);
  defaults.setLogSink([](const std::string&) { throw 1; });
  defaults.log("lost");  // a throwing log sink loses the line quietly
  EXPECT_TRUE(defaults.openURL("https://apps.qdx.invalid/app/id1")) << "it logs the URL";
}

// Without a host hook, a store link is logged (only while debugging, as
// every diagnostic is) and handed to the program
// named by QDX_OPEN_URL_COMMAND as its one argument, spaces and all; a
// program that cannot start makes openURL say no.
TEST(PosixEnvTest, OpenURLRunsTheConfiguredProgramWithTheLinkAsItsOneArgument) {
  TestEnv env;
  PosixEnv posix;
  std::vector<std::string> logged;
  posix.setLogSink([&](const std::string& line) { logged.push_back(line); });
  const std::string script = env.tempRoot() + "/open-url.sh";
  const std::string out = env.tempRoot() + "/opened.txt";
  std::ofstream(script) << "#!/bin/sh\nprintf '%s|%s' \"$#\" \"$1\" > " << out << ".tmp && mv "
                        << out << ".tmp " << out << "\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  ::setenv("QDX_OPEN_URL_COMMAND", script.c_str(), 1);
  EXPECT_TRUE(posix.openURL("https://apps.qdx.invalid/app/id1 x"));
  // The program runs on its own; it moves its answer into place whole.
  for (int i = 0; i < 500 && !std::filesystem::exists(out); ++i) ::usleep(10000);
  std::string seen;
  std::ifstream in(out);
  std::getline(in, seen);
  EXPECT_EQ(seen, "1|https://apps.qdx.invalid/app/id1 x");
  EXPECT_TRUE(logged.empty()) << "no log line while not debugging";
  QDXLog::setDebug(true);
  ::setenv("QDX_OPEN_URL_COMMAND", (env.tempRoot() + "/no-such-program").c_str(), 1);
  EXPECT_FALSE(posix.openURL("https://apps.qdx.invalid/app/id2"));
  QDXLog::setDebug(false);
  EXPECT_EQ(logged, std::vector<std::string>{"openURL: https://apps.qdx.invalid/app/id2"});
  ::unsetenv("QDX_OPEN_URL_COMMAND");
  EXPECT_TRUE(posix.openURL("https://apps.qdx.invalid/app/id3"));
}

}  // namespace
}  // namespace qdx

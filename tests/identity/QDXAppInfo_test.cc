#include "identity/QDXAppInfo.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(QDXAppInfoTest, FreshRecordSendsConstantsAndEmptyTagAndSignature) {
  TestEnv env;
  const Json dict = QDXAppInfo().getAppInfo();
  EXPECT_EQ(dict["sdk_ver"], "1.0.2");
  EXPECT_EQ(dict["tag"], "");
  EXPECT_EQ(dict["app_sign"], "");
}

TEST(QDXAppInfoTest, DictionaryHasSevenStringMembersInWireOrder) {
  TestEnv env;
  env.setBundleInfo("CFBundleIdentifier", "com.example.game");
  env.setBundleInfo("CFBundleShortVersionString", "2.4.1");
  QDXUserDefaults::saveToLocal(Json(123), "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(Json("Xiaomi"), "QDX_CHANNEL");

  const Json dict = QDXAppInfo().getAppInfo();
  std::vector<std::string> keys;
  for (const auto& [key, value] : dict.items()) {
    keys.push_back(key);
    EXPECT_TRUE(value.is_string()) << key;
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"appid", "pkg_name", "app_ver", "sdk_ver", "channel",
                                            "app_sign", "tag"}));
  EXPECT_EQ(dict["appid"], "123");  // stored as a number, sent as text
  EXPECT_EQ(dict["pkg_name"], "com.example.game");
  EXPECT_EQ(dict["app_ver"], "2.4.1");
  EXPECT_EQ(dict["channel"], "Xiaomi");
}

TEST(QDXAppInfoTest, ValuesChangedAfterInitAreWhatIsSent) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(Json("AppStore"), "QDX_CHANNEL");
  QDXAppInfo info;
  QDXUserDefaults::saveToLocal(Json("Later"), "QDX_CHANNEL");  // read once, at init
  EXPECT_EQ(info.getAppInfo()["channel"], "AppStore");
  info.channel = "Huawei";
  info.tag = "t";
  EXPECT_EQ(info.getAppInfo()["channel"], "Huawei");
  EXPECT_EQ(info.getAppInfo()["tag"], "t");
}

TEST(QDXAppInfoTest, MissingSourcesReadAsEmptyText) {
  TestEnv env;
  env.removeBundleInfo("CFBundleIdentifier");
  env.removeBundleInfo("CFBundleShortVersionString");
  const Json dict = QDXAppInfo().getAppInfo();  // nothing stored yet either
  for (const char* key : {"appid", "pkg_name", "app_ver", "channel"}) {
    EXPECT_EQ(dict[key], "") << key;
  }
}

}  // namespace
}  // namespace qdx

#include "identity/QDXAppInfo.h"

#include <gtest/gtest.h>

#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(QDXAppInfoTest, DictionaryHasSevenStringMembersInWireOrder) {
  TestEnv env;
  env.setBundleInfo("CFBundleIdentifier", "com.example.game");
  env.setBundleInfo("CFBundleShortVersionString", "2.4.1");
  QDXUserDefaults::saveToLocal(Json(123), "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(Json("Xiaomi"), "QDX_CHANNEL");

  const Json dict = QDXAppInfo().getAppInfo();
  // Json compares members in order: this pins the wire order too.
  EXPECT_EQ(dict, (Json{{"appid", "123"},  // stored as a number, sent as text
                        {"pkg_name", "com.example.game"},
                        {"app_ver", "2.4.1"},
                        {"sdk_ver", "1.0.2"},
                        {"channel", "Xiaomi"},
                        {"app_sign", ""},
                        {"tag", ""}}));
}

// Missing sources read as ""; a value changed after init is what is sent.
TEST(QDXAppInfoTest, MissingSourcesReadAsEmptyTextAndLaterValuesAreSent) {
  TestEnv env;
  env.removeBundleInfo("CFBundleIdentifier");
  env.removeBundleInfo("CFBundleShortVersionString");
  QDXAppInfo info;  // nothing stored yet either
  for (const char* key : {"appid", "pkg_name", "app_ver", "channel"}) {
    EXPECT_EQ(info.getAppInfo()[key], "") << key;
  }
  info.channel = "Huawei";
  EXPECT_EQ(info.getAppInfo()["channel"], "Huawei");
}

}  // namespace
}  // namespace qdx

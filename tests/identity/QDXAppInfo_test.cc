#include "identity/QDXAppInfo.h"

#include <gtest/gtest.h>

#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"

namespace qdx {
namespace {

// Missing sources read as ""; the dictionary reads its sources when asked,
// so values saved or set after init are what is sent.
TEST(QDXAppInfoTest, DictionaryHasSevenStringMembersInWireOrderReadWhenAsked) {
  TestEnv env;
  env.removeBundleInfo("CFBundleIdentifier");
  env.removeBundleInfo("CFBundleShortVersionString");
  QDXAppInfo info;  // nothing stored yet either
  for (const char* key : {"appid", "pkg_name", "app_ver", "channel"})
    EXPECT_EQ(info.getAppInfo()[key], "") << key;
  env.setBundleInfo("CFBundleIdentifier", "com.example.game");
  env.setBundleInfo("CFBundleShortVersionString", "2.4.1");
  QDXUserDefaults::saveToLocal(Json(123), "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(Json("Xiaomi"), "QDX_CHANNEL");
  // Json compares members in order: this pins the wire order too.
  EXPECT_EQ(QDXAppInfo().getAppInfo(), (Json{{"appid", "123"},  // stored as a number, sent as text
                                             {"pkg_name", "com.example.game"},
                                             {"app_ver", "2.4.1"},
                                             {"sdk_ver", "1.0.2"},
                                             {"channel", "Xiaomi"},
                                             {"app_sign", ""},
                                             {"tag", ""}}));
  info.channel = "Huawei";
  EXPECT_EQ(info.getAppInfo()["channel"], "Huawei");
}

}  // namespace
}  // namespace qdx

// The envelope record: where each field comes from and the dictionary.
#include "transport/QDXHttpRequest.h"

#include <gtest/gtest.h>

#include "identity/QDXKeyChain.h"
#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"

namespace qdx {
namespace {

void storeIdentity(TestEnv& env) {
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
  env.setBundleInfo("CFBundleShortVersionString", "3.1");
}

TEST(HttpRequestInit, ReadsStoreKeychainBundleAndClock) {
  TestEnv env;
  storeIdentity(env);
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "DEV-9");
  env.setNow(1700000000.4996);
  QDXHttpRequest request;
  EXPECT_EQ("AppStore", request.channel);
  EXPECT_EQ("DEV-9", request.devid);
  EXPECT_EQ("10086", request.appid);  // an integer in the store, a string on the wire
  EXPECT_EQ("1.0.2", request.sdk_ver);
  EXPECT_EQ("3.1", request.app_ver);
  EXPECT_EQ("2", request.os_type);
  EXPECT_EQ("1700000000500", request.timestamp);  // milliseconds, rounded
  EXPECT_EQ("", request.sign);
}

TEST(HttpRequestInit, MissingValues) {
  TestEnv env;
  env.setNow(1000.0004);
  QDXHttpRequest request;
  EXPECT_EQ("", request.devid);  // never nil
  EXPECT_FALSE(request.channel.has_value());
  EXPECT_FALSE(request.appid.has_value());
  EXPECT_EQ("1000000", request.timestamp);
}

TEST(HttpRequestDictionary, NineOrEightStringMembers) {
  TestEnv env;
  storeIdentity(env);
  QDXHttpRequest request;
  Json withData = request.getDictionaryWithRequsetString("CAFE");
  ASSERT_TRUE(withData.is_object());
  EXPECT_EQ(9u, withData.size());
  for (const char* name : {"devid", "appid", "sdk_ver", "app_ver", "channel", "os_type",
                           "timestamp", "sign", "data"}) {
    ASSERT_TRUE(withData.contains(name)) << name;
    EXPECT_TRUE(withData[name].is_string()) << name;
  }
  EXPECT_EQ("CAFE", withData["data"]);
  EXPECT_EQ("", withData["devid"]);

  Json withoutData = request.getDictionaryWithRequsetString(std::nullopt);
  EXPECT_EQ(8u, withoutData.size());
  EXPECT_FALSE(withoutData.contains("data"));
  // An empty cipher text is still a value.
  EXPECT_EQ("", request.getDictionaryWithRequsetString("")["data"]);

  request.sign = "SIG=";
  EXPECT_EQ("SIG=", request.getDictionaryWithRequsetString(std::nullopt)["sign"]);
}

TEST(HttpRequestDictionary, AFieldWithoutValueGivesNoEnvelope) {
  TestEnv env;
  env.setBundleInfo("CFBundleShortVersionString", "3.1");
  QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString("CAFE").is_null());  // no channel
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString(std::nullopt).is_null());
  QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString(std::nullopt).is_object());
}

}  // namespace
}  // namespace qdx

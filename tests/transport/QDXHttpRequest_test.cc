// The envelope record: where each field comes from and the dictionary.
#include "transport/QDXHttpRequest.h"

#include <gtest/gtest.h>

#include "identity/QDXKeyChain.h"
#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(HttpRequest, ReadsStoreKeychainBundleAndClockIntoNineStringMembers) {
  TestEnv env;
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
  env.setBundleInfo("CFBundleShortVersionString", "3.1");
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "DEV-9");
  env.setNow(1700000000.4996);
  QDXHttpRequest request;
  request.sign = "SIG=";
  // The app id is an integer in the store, a string on the wire; the time
  // stamp is in milliseconds, rounded.
  const Json expected = {{"devid", "DEV-9"},   {"appid", "10086"},  {"sdk_ver", "1.0.2"},
                         {"app_ver", "3.1"},   {"channel", "AppStore"}, {"os_type", "2"},
                         {"timestamp", "1700000000500"}, {"sign", "SIG="}, {"data", "CAFE"}};
  EXPECT_EQ(expected, request.getDictionaryWithRequsetString("CAFE"));
  Json withoutData = expected;
  withoutData.erase("data");
  EXPECT_EQ(withoutData, request.getDictionaryWithRequsetString(std::nullopt));
  EXPECT_EQ("", request.getDictionaryWithRequsetString("")["data"]) << "empty is still a value";
}

TEST(HttpRequest, MissingValues) {
  TestEnv env;
  env.setNow(1000.0004);
  env.setBundleInfo("CFBundleShortVersionString", "3.1");
  QDXHttpRequest bare;
  EXPECT_EQ("", bare.devid);  // never nil
  EXPECT_EQ("", bare.sign);
  EXPECT_EQ("1000000", bare.timestamp);
  // Without a channel or an app id there is no envelope.
  EXPECT_TRUE(bare.getDictionaryWithRequsetString("CAFE").is_null());
  QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString("CAFE").is_null());  // no channel
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString(std::nullopt).is_null());  // no app id
}

}  // namespace
}  // namespace qdx

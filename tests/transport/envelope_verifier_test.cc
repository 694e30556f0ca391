// The envelope record, building a signed request body from it and checking
// that body on the receiving side.
#include "transport/envelope_verifier.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "identity/QDXKeyChain.h"
#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/QDXHttpRequest.h"
#include "transport/request_builder.h"

namespace qdx {
namespace {

const std::string kAppKey = "0123456789abcdef";
const std::string kUrl = "https://api.example.com/qdx/reg_dev";

std::optional<std::string> lookup(const std::string& appid) {
  if (appid == "10086") return kAppKey;
  return std::nullopt;
}

class SignedRequest : public ::testing::Test {
 protected:
  void SetUp() override {
    QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
    QDXUserDefaults::saveToLocal(10086, "QDX_APP_ID");
    QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
    env_.setBundleInfo("CFBundleShortVersionString", "3.1");
  }
  Json body_ = {{"app_name", "My App"}, {"count", 3}, {"list", {1, 2}}};
  TestEnv env_;
};

TEST_F(SignedRequest, TheRecordReadsStoreKeychainBundleAndClockIntoNineStringsOrNothing) {
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "DEV-9");
  env_.setNow(1700000000.4996);
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

  QDXKeyChain::deleteUniqueStrWithName("QDX_Dev_ID");
  env_.setNow(1000.0004);
  QDXHttpRequest bare;
  EXPECT_EQ("", bare.devid);  // never nil
  EXPECT_EQ("", bare.sign);
  EXPECT_EQ("1000000", bare.timestamp);
  // Without a channel or an app id there is no envelope.
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString("CAFE").is_null());
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_ID");
  EXPECT_TRUE(QDXHttpRequest().getDictionaryWithRequsetString(std::nullopt).is_null());
}

TEST_F(SignedRequest, RoundTripsBetweenClientAndVerifier) {
  std::optional<std::string> posted = buildSignedRequestBody(kUrl, body_);
  ASSERT_TRUE(posted.has_value());
  EXPECT_NE(std::string::npos, posted->find('\n')) << "pretty-printed";
  EnvelopeVerdict verdict = verifyEnvelope(*posted, kUrl, lookup);
  ASSERT_EQ(EnvelopeStatus::kOk, verdict.status) << verdict.detail;
  EXPECT_EQ(9u, verdict.envelope.size());
  EXPECT_EQ("MyApp", QDXDictionaryAndJSON::dictionaryFromJsonString(verdict.body)["app_name"]);

  // A nil body enciphers the empty string: "data" is "".
  verdict = verifyEnvelope(buildSignedRequestBody(kUrl, nullptr).value(), kUrl, lookup);
  ASSERT_EQ(EnvelopeStatus::kOk, verdict.status) << verdict.detail;
  EXPECT_EQ("", verdict.envelope["data"]);
  // An answer enciphered by the server deciphers on the client, spaces kept.
  const std::string answer = "{\"devid\":\"D 1\",\"retcode\":0}";
  EXPECT_EQ(answer, QDXEncryptAndDecrypt().decryptWithString(encipherWithKey(answer, kAppKey)));
}

TEST_F(SignedRequest, RefusalsOfTheVerifier) {
  const std::string posted = buildSignedRequestBody(kUrl, body_).value();
  const Json envelope = Json::parse(posted);
  // The status for the posted envelope with one member changed.
  auto statusWith = [&](const std::string& name, const Json& value) {
    Json changed = envelope;
    changed[name] = value;
    return verifyEnvelope(changed.dump(), kUrl, lookup).status;
  };
  using S = EnvelopeStatus;
  // The URL signed is the URL posted to, byte for byte.
  EXPECT_EQ(S::kBadSignature, verifyEnvelope(posted, kUrl + "/", lookup).status);
  for (const char* name : {"data", "timestamp", "devid", "sign"}) {
    EXPECT_EQ(S::kBadSignature, statusWith(name, envelope[name].get<std::string>() + "0")) << name;
  }
  EXPECT_EQ(S::kBadSignature, statusWith("more", "x"));
  EXPECT_EQ(S::kMissingMember, statusWith("channel", nullptr));
  EXPECT_EQ(S::kMissingMember, statusWith("appid", 10086));
  EXPECT_EQ(S::kMissingMember, statusWith("data", Json::array()));
  EXPECT_EQ(S::kUnknownApp, statusWith("appid", "1"));
  auto throwing = [](const std::string&) -> std::optional<std::string> { throw 1; };
  EXPECT_EQ(S::kUnknownApp, verifyEnvelope(posted, kUrl, throwing).status);
  EXPECT_EQ(S::kNotJson, verifyEnvelope("{\"devid\":", kUrl, lookup).status);
  EXPECT_EQ(S::kNotObject, verifyEnvelope("[1,2]", kUrl, lookup).status);
}

// An envelope signed and enciphered by an independent implementation of the
// wire format (kept as a fuzz seed) verifies and deciphers here.
TEST(EnvelopeFromElsewhere, VerifiesAndDeciphers) {
  std::ifstream in(std::string(QDX_SOURCE_DIR) + "/fuzz/corpus/envelope_verify_fuzz/valid_envelope");
  std::stringstream posted;
  posted << in.rdbuf();
  ASSERT_FALSE(posted.str().empty());
  EnvelopeVerdict verdict = verifyEnvelope(posted.str(), kUrl, lookup);
  ASSERT_EQ(EnvelopeStatus::kOk, verdict.status) << verdict.detail;
  EXPECT_EQ("{\"k\":\"值\"}", verdict.body);
}

}  // namespace
}  // namespace qdx

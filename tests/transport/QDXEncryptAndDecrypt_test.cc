// The cipher's object interface: the stored app key, text clean-up and the
// standard-output trace. Key rules below the interface: qdx_cipher_test.cc.
#include "transport/QDXEncryptAndDecrypt.h"

#include <gtest/gtest.h>

#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"
#include "transport/envelope_verifier.h"

namespace qdx {
namespace {

const std::string kAppKey = "0123456789abcdefXYZ";

TEST(EncryptWithString, CleansTheTextAndTracesTheFirstHalfOfTheHex) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
  QDXEncryptAndDecrypt codec;
  EXPECT_EQ("", codec.encryptWithString(std::nullopt));
  EXPECT_EQ("", codec.encryptWithString(""));
  EXPECT_EQ("", codec.decryptWithString(std::nullopt));
  EXPECT_EQ("", codec.decryptWithString(""));
  ::testing::internal::CaptureStdout();
  std::string hex = codec.encryptWithString("{\n  \"name\" : \"My App\",\t\"x\":\r1\n}");
  EXPECT_EQ(hex.substr(0, hex.size() / 2) + "\n", ::testing::internal::GetCapturedStdout());
  // Spaces and line feeds go everywhere, even inside strings; the first 16
  // characters of the stored key are the key.
  EXPECT_EQ("{\"name\":\"MyApp\",\t\"x\":\r1}", codec.decryptWithString(hex));
  EXPECT_EQ("{\"name\":\"MyApp\",\t\"x\":\r1}", decipherWithKey(hex, kAppKey.substr(0, 16)));
  // Only spaces: the empty check comes first, so zero bytes are enciphered.
  EXPECT_EQ(32u, codec.encryptWithString("  \n ").size());
}

TEST(EncryptWithString, ShortOrMissingKeyIsRefusedWithALogLine) {
  TestEnv env;
  QDXEncryptAndDecrypt codec;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ("", codec.encryptWithString("body"));  // no key stored
  QDXUserDefaults::saveToLocal("fifteen-chars!!", "QDX_APP_KEY");
  EXPECT_EQ("", codec.encryptWithString("body"));
  QDXUserDefaults::saveToLocal(1234567890123456789, "QDX_APP_KEY");  // not a string
  EXPECT_EQ("", codec.encryptWithString("body"));
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ(3u, env.logCount("fewer than 16 characters"));
}

}  // namespace
}  // namespace qdx

// The cipher's object interface: the stored app key, text clean-up and the
// standard-output trace.
#include "transport/QDXEncryptAndDecrypt.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "sdk/QDXUserDefaults.h"
#include "support/test_env.h"
#include "transport/envelope_verifier.h"

namespace qdx {
namespace {

const std::string kAppKey = "0123456789abcdefXYZ";

// Runs body with standard output sent to a file; returns what was written.
template <typename Body>
std::string captureStdout(const std::string& dir, Body body) {
  const std::string path = dir + "/stdout.txt";
  std::fflush(stdout);
  int saved = dup(STDOUT_FILENO);
  FILE* file = std::fopen(path.c_str(), "w");
  dup2(fileno(file), STDOUT_FILENO);
  body();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  std::fclose(file);
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(EncryptWithString, EmptyInputsGiveEmptyText) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
  QDXEncryptAndDecrypt codec;
  EXPECT_EQ("", codec.encryptWithString(std::nullopt));
  EXPECT_EQ("", codec.encryptWithString(""));
  EXPECT_EQ("", codec.decryptWithString(std::nullopt));
  EXPECT_EQ("", codec.decryptWithString(""));
  // Only spaces: the check comes first, so zero bytes are enciphered.
  std::string hex = codec.encryptWithString("  \n ");
  EXPECT_EQ(32u, hex.size());
  EXPECT_EQ("", codec.decryptWithString(hex));
}

TEST(EncryptWithString, SpacesAndLineFeedsAreRemovedEverywhere) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
  QDXEncryptAndDecrypt codec;
  std::string hex = codec.encryptWithString("{\n  \"name\" : \"My App\",\t\"x\":\r1\n}");
  EXPECT_EQ("{\"name\":\"MyApp\",\t\"x\":\r1}", codec.decryptWithString(hex));
  // The first 16 characters of the stored key are the key.
  EXPECT_EQ("{\"name\":\"MyApp\",\t\"x\":\r1}", decipherWithKey(hex, kAppKey.substr(0, 16)));
}

TEST(EncryptWithString, WritesTheFirstHalfOfTheHexToStandardOutput) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
  std::string hex;
  std::string printed = captureStdout(env.tempRoot(), [&] {
    hex = QDXEncryptAndDecrypt().encryptWithString("seven b");
  });
  ASSERT_EQ(2u * 16, hex.size());  // "sevenb": 6 bytes, p = 0
  EXPECT_EQ(hex.substr(0, 16) + "\n", printed);
}

TEST(EncryptWithString, ShortOrMissingKeyIsRefusedWithALogLine) {
  TestEnv env;
  QDXEncryptAndDecrypt codec;
  std::string printed = captureStdout(env.tempRoot(), [&] {
    EXPECT_EQ("", codec.encryptWithString("body"));  // no key stored
    QDXUserDefaults::saveToLocal("fifteen-chars!!", "QDX_APP_KEY");
    EXPECT_EQ("", codec.encryptWithString("body"));
    QDXUserDefaults::saveToLocal(1234567890123456789, "QDX_APP_KEY");  // not a string
    EXPECT_EQ("", codec.encryptWithString("body"));
  });
  EXPECT_EQ("", printed);
  EXPECT_EQ(3u, env.logCount("fewer than 16 characters"));
}

TEST(DecryptWithString, KeyRulesOfTheStoredKey) {
  TestEnv env;
  QDXUserDefaults::saveToLocal(kAppKey, "QDX_APP_KEY");
  QDXEncryptAndDecrypt codec;
  std::string hex = codec.encryptWithString("{\"retcode\":0}");
  EXPECT_EQ("{\"retcode\":0}", codec.decryptWithString(hex));
  // A short key overwrites only its own bytes; the rest stay from before.
  QDXUserDefaults::saveToLocal("0123", "QDX_APP_KEY");
  EXPECT_EQ("{\"retcode\":0}", codec.decryptWithString(hex));
  // No key at all leaves the key bytes alone.
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_KEY");
  EXPECT_EQ("{\"retcode\":0}", codec.decryptWithString(hex));
  // A different key does not give the text back.
  QDXUserDefaults::saveToLocal("another-key-16ch", "QDX_APP_KEY");
  EXPECT_NE("{\"retcode\":0}", codec.decryptWithString(hex));
}

}  // namespace
}  // namespace qdx

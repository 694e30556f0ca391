// The payload cipher: block cipher, chaining mode, layout and hex rules, and
// its object interface QDXEncryptAndDecrypt.
#include "transport/qdx_cipher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "sdk/QDXUserDefaults.h"
#include "sdk/QDXLog.h"
#include "support/test_env.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/envelope_verifier.h"

namespace qdx {
namespace {

const std::string kKey = "0123456789abcdef";

// Raw cipher bytes of a hex text.
std::vector<std::uint8_t> bytesOf(const std::string& hex) {
  std::vector<std::uint8_t> bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(cipher::char2Byte(hex[2 * i]) << 4 | cipher::char2Byte(hex[2 * i + 1]));
  }
  return bytes;
}

// Cipher texts made by an independent implementation of the format (random
// bytes 37 11 22 33 ... fixed), so both directions agree with the wire.
TEST(CipherKnownAnswers, MatchAnIndependentImplementation) {
  // One 16-round TEA block, key "0123456789abcdef", block 00 01 .. 07.
  {
    auto lock = cipher::lockCipherState();
    cipher::setkeyArray(reinterpret_cast<const std::uint8_t*>(kKey.data()), 16);
    const std::uint8_t block[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    std::uint8_t out[8];
    cipher::encipher(block, out);
    const std::uint8_t expected[8] = {0xF7, 0x83, 0xDD, 0xBE, 0xC8, 0x3C, 0x64, 0xF9};
    EXPECT_EQ(0, std::memcmp(out, expected, 8));
    std::uint8_t back[8];
    cipher::decipher(out, 0, back);
    EXPECT_EQ(0, std::memcmp(back, block, 8));
  }
  EXPECT_EQ("{\"k\":\"值\"}",
            decipherWithKey("7DD8DAAB2921C957DAB0D463BABFA674063E8A4670B73261", kKey));
  EXPECT_EQ("hello", decipherWithKey("CCB64C5F44AF818E72A11B3F54F1642C", kKey));
  EXPECT_EQ("", decipherWithKey("BE93E7D635919D3753066280BBC03615", kKey));
}

TEST(CipherLayout, SizePadAndRoundTripForEveryLength) {
  const int expectedPad[] = {5, 4, 3, 2, 1, 0, 7, 6};
  for (int n = 1; n <= 8; ++n) EXPECT_EQ(expectedPad[n - 1], cipher::padLength(n)) << n;
  // The header byte (the first byte of the first block, which nothing
  // chains into) carries the pad length in its low three bits.
  for (int n = 1; n <= 8; ++n) {
    std::vector<std::uint8_t> bytes = bytesOf(encipherWithKey(std::string(n, 'x'), kKey));
    std::uint8_t first[8];
    {
      auto lock = cipher::lockCipherState();
      cipher::setkeyArray(reinterpret_cast<const std::uint8_t*>(kKey.data()), 16);
      cipher::decipher(bytes.data(), 0, first);
    }
    EXPECT_EQ(expectedPad[n - 1], first[0] & 0x07) << n;
  }
  for (int n = 0; n <= 300; ++n) {
    std::string text;
    for (int i = 0; i < n; ++i) text.push_back(static_cast<char>('!' + (i * 7 + n) % 90));
    const std::string hex = encipherWithKey(text, kKey);
    const std::size_t total = static_cast<std::size_t>(n + cipher::padLength(n) + 10);
    ASSERT_EQ(0u, total % 8);
    ASSERT_EQ(2 * total, hex.size()) << n;
    ASSERT_EQ(std::string::npos, hex.find_first_not_of("0123456789ABCDEF")) << "uppercase hex";
    ASSERT_EQ(text, decipherWithKey(hex, kKey)) << n;
  }
}

TEST(CipherHexInput, CaseStrayCharactersAndWrongLengths) {
  const std::string hex = encipherWithKey("lower case", kKey);
  std::string lower = hex;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  EXPECT_EQ("lower case", decipherWithKey(lower, kKey));
  EXPECT_EQ("lower case", decipherWithKey(hex + "F", kKey)) << "an odd last digit is ignored";
  // Characters outside 0-9, a-f, A-F count as 0.
  for (char c : {'g', 'G', ' ', '\0'}) EXPECT_EQ(0, cipher::char2Byte(c)) << c;
  // A character that is no digit counts as one 0 whatever its UTF-8
  // length; one beyond the basic plane is two characters, so two zeros.
  // Swap them in for zeros of a real cipher text: it still deciphers.
  bool swappedOne = false, swappedTwo = false;
  for (int t = 0; t < 64 && !(swappedOne && swappedTwo); ++t) {
    const std::string plain = "text " + std::to_string(t);
    const std::string enciphered = encipherWithKey(plain, kKey);
    if (std::size_t zero = enciphered.find('0'); zero != std::string::npos) {
      for (const char* wide : {"é", "中"}) {
        EXPECT_EQ(plain, decipherWithKey(std::string(enciphered).replace(zero, 1, wide), kKey))
            << wide;
      }
      swappedOne = true;
    }
    if (std::size_t zeros = enciphered.find("00"); zeros != std::string::npos) {
      EXPECT_EQ(plain, decipherWithKey(std::string(enciphered).replace(zeros, 2, "😀"), kKey));
      swappedTwo = true;
    }
  }
  EXPECT_TRUE(swappedOne && swappedTwo);
  // ASCII texts take a faster road than the character walk; a character
  // outside ASCII anywhere, the last block or an odd last digit included,
  // still counts as the walk counts it.
  std::string longPlain;
  for (int i = 0; i < 300; ++i) longPlain.push_back(static_cast<char>('a' + i % 26));
  const std::string longHex = encipherWithKey(longPlain, kKey);
  const std::size_t lastZero = longHex.rfind('0');
  ASSERT_NE(std::string::npos, lastZero);
  EXPECT_EQ(longPlain, decipherWithKey(std::string(longHex).replace(lastZero, 1, "中"), kKey));
  EXPECT_EQ(longPlain, decipherWithKey(longHex + "é", kKey)) << "an odd last character";
  // 15 bytes: below 16 and not a multiple of 8; then 16 + 6 bytes.
  EXPECT_EQ("", decipherWithKey(std::string(30, 'A'), kKey));
  EXPECT_EQ("", decipherWithKey(hex.substr(0, hex.size() - 4), kKey));

  // A spoiled last block fails the trailer check silently; the plain bytes
  // of the earlier block stay written.
  std::vector<std::uint8_t> bytes = bytesOf(encipherWithKey("abcdef", kKey));
  ASSERT_EQ(16u, bytes.size());
  bytes[15] ^= 0x01;
  std::uint8_t out[16];
  {
    auto lock = cipher::lockCipherState();
    cipher::decoder(bytes.data(), 16, reinterpret_cast<const std::uint8_t*>(kKey.data()), 16, out);
  }
  EXPECT_EQ("abcde", std::string(reinterpret_cast<const char*>(out), 5));
  EXPECT_EQ(0, out[6]) << "nothing past the declared plain length";
}

TEST(CipherKeys, ShortKeysUnitsAndTheKeyLoader) {
  EXPECT_EQ("", encipherWithKey("text", "fifteen-chars!!"));
  // Key characters are UTF-16 units, low 8 bits: "é" is U+00E9, "值" U+503C,
  // "😀" the pair D83D DE00; bytes that are not UTF-8 read as U+FFFD.
  EXPECT_EQ(std::string("\xE9\x3C\x3D\x00" "a\xFD", 6), cipher::keyUnits("é值😀a\xFF"));
  // Only the first 16 characters are key bytes.
  EXPECT_EQ("text", decipherWithKey(encipherWithKey("text", kKey + "IGNORED"), kKey));

  // A key shorter than 16 keeps the later key bytes of the previous key.
  std::string hex = encipherWithKey("kept", kKey);
  EXPECT_EQ("kept", decipherWithKey(hex, "0123"));
  // An empty key leaves the key bytes alone altogether.
  EXPECT_EQ("kept", decipherWithKey(hex, ""));

  // setkeyArray zeroes the byte one past the next: index length + 1.
  auto lock = cipher::lockCipherState();
  const std::uint8_t ones[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  cipher::setkeyArray(ones, 16);
  const std::uint8_t twos[4] = {2, 2, 2, 2};
  cipher::setkeyArray(twos, 4);
  EXPECT_EQ(2, cipher::keyArr[3]);
  EXPECT_EQ(1, cipher::keyArr[4]);
  EXPECT_EQ(0, cipher::keyArr[5]);
  EXPECT_EQ(1, cipher::keyArr[6]);
}

// The random bytes come from the C library's sequence, which the SDK never
// seeds. Each test runs in a process of its own and nothing before this line
// has drawn from the sequence: a fresh process starts where srand(1) starts,
// and code that seeded the generator at start-up would break this. Within
// the run the same text enciphers differently.
TEST(CipherRandomness, AFreshProcessRepeatsItsFirstCipherTextWhileOneRunAdvances) {
  const std::string first = encipherWithKey("same text", kKey);
  const std::string second = encipherWithKey("same text", kKey);
  std::srand(1);
  EXPECT_NE(first, second);
  EXPECT_EQ(first, encipherWithKey("same text", kKey));
}

TEST(CipherConcurrency, OverlappingCallsStayCorrect) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const std::string key = std::string("thread-key-") + char('A' + t) + "-pad";
      for (int i = 0; i < 200; ++i) {
        std::string text = "body " + std::to_string(t) + "/" + std::to_string(i);
        if (decipherWithKey(encipherWithKey(text, key), key) != text) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures);
}

TEST(EncryptWithString, RefusesShortKeysThenCleansTheTextAndTracesHalfTheHex) {
  TestEnv env;
  QDXLog::setDebug(true);  // what follows is checked by its diagnostics
  QDXEncryptAndDecrypt codec;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ("", codec.encryptWithString("body"));  // no key stored
  QDXUserDefaults::saveToLocal("fifteen-chars!!", "QDX_APP_KEY");
  EXPECT_EQ("", codec.encryptWithString("body"));
  QDXUserDefaults::saveToLocal(1234567890123456789, "QDX_APP_KEY");  // not a string
  EXPECT_EQ("", codec.encryptWithString("body"));
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ(3u, env.logCount("fewer than 16 characters"));

  QDXUserDefaults::saveToLocal(kKey + "XYZ", "QDX_APP_KEY");
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
  EXPECT_EQ("{\"name\":\"MyApp\",\t\"x\":\r1}", decipherWithKey(hex, kKey));
  // Only spaces: the empty check comes first, so zero bytes are enciphered.
  EXPECT_EQ(32u, codec.encryptWithString("  \n ").size());
}

}  // namespace
}  // namespace qdx

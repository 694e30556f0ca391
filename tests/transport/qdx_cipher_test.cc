// The payload cipher: block cipher, chaining mode, layout and hex rules.
#include "transport/qdx_cipher.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "transport/envelope_verifier.h"

extern char** environ;

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

// The plain header byte: the first cipher block deciphered under kKey.
std::uint8_t plainHeaderByte(const std::string& hex) {
  std::vector<std::uint8_t> bytes = bytesOf(hex);
  auto lock = cipher::lockCipherState();
  cipher::setkeyArray(reinterpret_cast<const std::uint8_t*>(kKey.data()), 16);
  std::uint8_t block[8];
  cipher::decipher(bytes.data(), 0, block);
  return block[0];
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

TEST(CipherLayout, PadLengthAndSizeFollowThePlainLength) {
  const int expectedPad[] = {5, 4, 3, 2, 1, 0, 7, 6};
  for (int n = 1; n <= 8; ++n) {
    EXPECT_EQ(expectedPad[n - 1], cipher::padLength(n)) << n;
  }
  // 6 bytes need no pad: 16 cipher bytes.
  EXPECT_EQ(32u, encipherWithKey("abcdef", kKey).size());
  for (int n = 0; n <= 40; ++n) {
    std::string hex = encipherWithKey(std::string(static_cast<std::size_t>(n), 'x'), kKey);
    const std::size_t total = static_cast<std::size_t>(n + cipher::padLength(n) + 10);
    EXPECT_EQ(0u, total % 8);
    EXPECT_EQ(2 * total, hex.size()) << n;
    EXPECT_EQ(cipher::padLength(n), plainHeaderByte(hex) & 7) << "header low bits, n=" << n;
    EXPECT_EQ(std::string::npos, hex.find_first_not_of("0123456789ABCDEF")) << "uppercase hex";
  }
}

TEST(CipherRoundTrip, ManyLengthsAndTexts) {
  for (int n = 1; n <= 300; ++n) {
    std::string text;
    for (int i = 0; i < n; ++i) text.push_back(static_cast<char>('!' + (i * 7 + n) % 90));
    ASSERT_EQ(text, decipherWithKey(encipherWithKey(text, kKey), kKey)) << n;
  }
  const std::string texts[] = {"值", "{\"name\":\"微信 支付\"}", "😀 emoji 🚀", "é\ttab\r\n",
                               std::string(5000, 'z')};
  for (const std::string& text : texts) {
    EXPECT_EQ(text, decipherWithKey(encipherWithKey(text, kKey), kKey));
  }
}

TEST(CipherHexInput, CaseAndStrayCharacters) {
  std::string hex = encipherWithKey("lower case", kKey);
  std::string lower = hex;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  EXPECT_EQ("lower case", decipherWithKey(lower, kKey));
  // An odd last digit is ignored.
  EXPECT_EQ("lower case", decipherWithKey(hex + "F", kKey));

  // Characters outside 0-9, a-f, A-F count as 0: "G" reads like "0".
  // (The cipher text is random: take one that holds a "0" digit.)
  std::string withZero = encipherWithKey("zeros", kKey);
  for (int tries = 0; tries < 100 && withZero.find('0') == std::string::npos; ++tries) {
    withZero = encipherWithKey("zeros", kKey);
  }
  std::size_t zeroAt = withZero.find('0');
  ASSERT_NE(std::string::npos, zeroAt);
  std::string stray = withZero;
  stray[zeroAt] = 'G';
  EXPECT_EQ("zeros", decipherWithKey(stray, kKey));
  EXPECT_EQ(0, cipher::char2Byte('g'));
  EXPECT_EQ(0, cipher::char2Byte(' '));
  EXPECT_EQ(15, cipher::char2Byte('f'));
  EXPECT_EQ(10, cipher::char2Byte('A'));
}

TEST(CipherMalformed, WrongLengthsAndKeysGiveNothingUseful) {
  // 15 bytes: below 16 and not a multiple of 8.
  EXPECT_EQ("", decipherWithKey(std::string(30, 'A'), kKey));
  EXPECT_EQ("", decipherWithKey("", kKey));
  EXPECT_EQ("", decipherWithKey("A", kKey));
  // 24 bytes with a bad length (20 hex digits short of a block).
  std::string hex = encipherWithKey("some plain text", kKey);
  EXPECT_EQ("", decipherWithKey(hex.substr(0, hex.size() - 4), kKey));

  // A wrong key: never the plain text; garbage that is not UTF-8 reads "".
  const std::string text = "{\"retcode\":0}";
  std::string other = decipherWithKey(encipherWithKey(text, kKey), "fedcba9876543210");
  EXPECT_NE(text, other);

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

TEST(CipherKeys, ShortKeysAndTheKeyLoader) {
  EXPECT_EQ("", encipherWithKey("text", "fifteen-chars!!"));
  EXPECT_FALSE(encipherWithKey("text", "sixteen-chars!!!").empty());
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

TEST(CipherKeys, KeyCharactersAreUtf16UnitsLow8Bits) {
  // "é" is U+00E9; "值" is U+503C; "😀" is the surrogate pair D83D DE00.
  EXPECT_EQ(std::string("\xE9", 1), cipher::keyUnits("é"));
  EXPECT_EQ(std::string("\x3C", 1), cipher::keyUnits("值"));
  EXPECT_EQ(std::string("\x3D\x00", 2), cipher::keyUnits("😀"));
  EXPECT_EQ(16u, cipher::keyUnits("😀😀😀😀😀😀😀😀").size());
  // Bytes that are not UTF-8 read as U+FFFD.
  EXPECT_EQ(std::string("a\xFD", 2), cipher::keyUnits("a\xFF"));
}

// The random header comes from the unseeded C library sequence: the same
// text differs within a process, yet every fresh process starts alike. The
// child half runs only when spawned by the parent below.
TEST(CipherRandomness, ChildWritesItsFirstTwoCipherTexts) {
  const char* out = std::getenv("QDX_CIPHER_CHILD_OUT");
  if (out == nullptr) GTEST_SKIP() << "runs only as the spawned child";
  std::ofstream file(out);
  file << encipherWithKey("same text", kKey) << "\n" << encipherWithKey("same text", kKey) << "\n";
}

std::vector<std::string> runChild(const std::string& outPath) {
  std::string filter = "--gtest_filter=CipherRandomness.ChildWritesItsFirstTwoCipherTexts";
  std::string envOut = "QDX_CIPHER_CHILD_OUT=" + outPath;
  std::vector<std::string> envStrings;
  for (char** e = environ; *e != nullptr; ++e) envStrings.emplace_back(*e);
  envStrings.push_back(envOut);
  std::vector<char*> envp;
  for (std::string& s : envStrings) envp.push_back(s.data());
  envp.push_back(nullptr);
  std::string self = "/proc/self/exe";
  char* argv[] = {self.data(), filter.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv, envp.data()) != 0) return {};
  int status = 0;
  waitpid(pid, &status, 0);
  std::ifstream file(outPath);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

TEST(CipherRandomness, FreshProcessesRepeatWhileOneProcessAdvances) {
  const std::string base = ::testing::TempDir() + "/qdx_cipher_child_" + std::to_string(getpid());
  std::vector<std::string> first = runChild(base + "_1");
  std::vector<std::string> second = runChild(base + "_2");
  ASSERT_EQ(2u, first.size());
  ASSERT_EQ(2u, second.size());
  EXPECT_NE(first[0], first[1]);
  EXPECT_EQ(first, second);
  std::remove((base + "_1").c_str());
  std::remove((base + "_2").c_str());
}

TEST(CipherConcurrency, OverlappingCallsStayCorrect) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const std::string key = std::string("thread-key-") + char('A' + t) + "-pad";
      for (int i = 0; i < 200; ++i) {
        std::string text = "body " + std::to_string(t) + "/" + std::to_string(i);
        if (decipherWithKey(encipherWithKey(text, key), key) != text) ++failures[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int f : failures) EXPECT_EQ(0, f);
}

}  // namespace
}  // namespace qdx

#include "transport/qdx_cipher.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/utf8.h"

namespace qdx::cipher {

std::uint8_t keyArr[18];
std::uint8_t plain[8];
std::uint8_t prePlain[8];
std::int32_t pos;
std::int32_t padding;
std::int32_t header;
std::int32_t cryptNo;
std::int32_t precryptNo;
std::int32_t contextStart;
std::int32_t decodeLen;
const char digits[17] = "0123456789ABCDEF";

namespace {

constexpr std::uint32_t kDelta = 0x9E3779B9u;
constexpr std::uint32_t kDecipherStartSum = 0xE3779B90u;  // 16 * kDelta mod 2^32
constexpr int kRounds = 16;
constexpr int kSaltLength = 2;
constexpr int kTrailerLength = 7;

std::mutex& stateMutex() {
  static std::mutex mutex;
  return mutex;
}

// A big-endian word; the hot path's form of getUnsignedint32_t(b, 0, 4).
inline std::uint32_t loadWord(const std::uint8_t* b) {
  return static_cast<std::uint32_t>(b[0]) << 24 | static_cast<std::uint32_t>(b[1]) << 16 |
         static_cast<std::uint32_t>(b[2]) << 8 | static_cast<std::uint32_t>(b[3]);
}

// a ^= b over 8 bytes, as one word.
inline void xorBlock(std::uint8_t* a, const std::uint8_t* b) {
  std::uint64_t x;
  std::uint64_t y;
  std::memcpy(&x, a, 8);
  std::memcpy(&y, b, 8);
  x ^= y;
  std::memcpy(a, &x, 8);
}

// The next random byte: the low 8 bits of the unseeded C library sequence.
std::uint8_t randomByte() { return static_cast<std::uint8_t>(std::rand() & 0xFF); }

// Appends one byte to the block being filled, enciphering it when full.
void pushPlainByte(std::uint8_t byte, std::uint8_t* output) {
  plain[pos++] = byte;
  if (pos == 8) encryptNo8Bytes(output);
}

}  // namespace

std::unique_lock<std::mutex> lockCipherState() { return std::unique_lock<std::mutex>(stateMutex()); }

void setkeyArray(const std::uint8_t* key, int length) {
  int copied = length < 0 ? 0 : (length > 16 ? 16 : length);
  if (copied > 0) std::memmove(keyArr, key, static_cast<std::size_t>(copied));
  // The zero goes one past the next byte; kept, since it changes the key
  // when a shorter key is loaded.
  int zeroAt = length + 1;
  if (zeroAt >= 0 && zeroAt < static_cast<int>(sizeof keyArr)) keyArr[zeroAt] = 0;
}

void encoder(const std::uint8_t* input, int length, const std::uint8_t* key, int keyLength,
             std::uint8_t* output) {
  setkeyArray(key, keyLength);
  encode1(input, output, 0, length);
}

void decoder(const std::uint8_t* input, int length, const std::uint8_t* key, int keyLength,
             std::uint8_t* output) {
  setkeyArray(key, keyLength);
  if (length > 0) std::memset(output, 0, static_cast<std::size_t>(length));
  decode1(input, 0, length, output);
}

int padLength(int n) {
  int p = (n + 10) % 8;
  return p == 0 ? 0 : 8 - p;
}

void encode1(const std::uint8_t* input, std::uint8_t* output, int offset, int length) {
  std::memset(plain, 0, sizeof plain);
  std::memset(prePlain, 0, sizeof prePlain);
  padding = 0;
  precryptNo = 0;
  cryptNo = 0;
  header = 1;
  pos = 0;

  int p = padLength(length);
  pushPlainByte(static_cast<std::uint8_t>((randomByte() & 0xF8) | p), output);
  for (padding = 0; padding < p; ++padding) pushPlainByte(randomByte(), output);
  for (padding = 0; padding < kSaltLength; ++padding) pushPlainByte(randomByte(), output);
  // The data in whole runs: as many bytes as the block still takes.
  for (int i = 0; i < length;) {
    int run = std::min(8 - pos, length - i);
    std::memcpy(plain + pos, input + offset + i, static_cast<std::size_t>(run));
    pos += run;
    i += run;
    if (pos == 8) encryptNo8Bytes(output);
  }
  for (padding = 0; padding < kTrailerLength; ++padding) pushPlainByte(0, output);
}

void encryptNo8Bytes(std::uint8_t* output) {
  // X(i) = P(i) XOR C(i-1); C(i) = E(X(i)) XOR X(i-1); C(-1) = X(-1) = 0.
  // Byte pointers may alias the state's integers, so read those once.
  const std::uint8_t* chainWith = header ? prePlain : output + precryptNo;
  std::uint8_t* block = output + cryptNo;
  xorBlock(plain, chainWith);
  encipher(plain, block);
  xorBlock(block, prePlain);
  std::memcpy(prePlain, plain, sizeof plain);
  precryptNo = cryptNo;
  cryptNo += 8;
  pos = 0;
  header = 0;
}

void decode1(const std::uint8_t* input, int offset, int length, std::uint8_t* output) {
  if (length < 16 || length % 8 != 0) return;
  decipher(input, offset, prePlain);
  pos = prePlain[0] & 7;
  int count = length - pos - 10;
  if (count < 0) return;

  static const std::uint8_t kNoPreviousBlock[8] = {};
  const std::uint8_t* previous = kNoPreviousBlock;  // C(i-1)
  precryptNo = 0;
  cryptNo = 8;
  contextStart = 8;
  ++pos;  // past the header byte; the pad is skipped by starting at p + 1
  // Moves to the next block when the current one is used up.
  auto ensureByte = [&]() {
    if (pos < 8) return true;
    precryptNo = cryptNo - 8;
    previous = input + offset + precryptNo;
    return decryptNo8Bytes(input, offset, length);
  };

  for (padding = 0; padding < kSaltLength; ++padding) {
    if (!ensureByte()) return;
    ++pos;
  }
  for (int i = 0; i < count;) {
    if (!ensureByte()) return;
    const int run = std::min(8 - pos, count - i);
    const int at = pos;
    for (int k = 0; k < run; ++k) output[i + k] = previous[at + k] ^ prePlain[at + k];
    pos = at + run;
    i += run;
  }
  // A non-zero trailer ends the check silently; the output stands.
  for (padding = 0; padding < kTrailerLength; ++padding) {
    if (!ensureByte()) return;
    if ((previous[pos] ^ prePlain[pos]) != 0) return;
    ++pos;
  }
}

bool decryptNo8Bytes(const std::uint8_t* input, int offset, int length) {
  if (contextStart + 8 > length) return false;
  // X(i) = D(C(i) XOR X(i-1)), deciphered in place.
  const std::uint8_t* block = input + offset + cryptNo;
  xorBlock(prePlain, block);
  decipher(prePlain, 0, prePlain);
  contextStart += 8;
  cryptNo += 8;
  pos = 0;
  return true;
}

void encipher(const std::uint8_t* input, std::uint8_t* output) {
  std::uint32_t y = loadWord(input);
  std::uint32_t z = loadWord(input + 4);
  const std::uint32_t k0 = loadWord(keyArr), k1 = loadWord(keyArr + 4);
  const std::uint32_t k2 = loadWord(keyArr + 8), k3 = loadWord(keyArr + 12);
  std::uint32_t sum = 0;
  for (int round = 0; round < kRounds; ++round) {
    sum += kDelta;
    y += ((z << 4) + k0) ^ (z + sum) ^ ((z >> 5) + k1);
    z += ((y << 4) + k2) ^ (y + sum) ^ ((y >> 5) + k3);
  }
  toOutput(y, z, output);
}

void decipher(const std::uint8_t* input, int offset, std::uint8_t* output) {
  std::uint32_t y = loadWord(input + offset);
  std::uint32_t z = loadWord(input + offset + 4);
  const std::uint32_t k0 = loadWord(keyArr), k1 = loadWord(keyArr + 4);
  const std::uint32_t k2 = loadWord(keyArr + 8), k3 = loadWord(keyArr + 12);
  std::uint32_t sum = kDecipherStartSum;
  for (int round = 0; round < kRounds; ++round) {
    z -= ((y << 4) + k2) ^ (y + sum) ^ ((y >> 5) + k3);
    y -= ((z << 4) + k0) ^ (z + sum) ^ ((z >> 5) + k1);
    sum -= kDelta;
  }
  toOutput(y, z, output);
}

std::uint32_t getUnsignedint32_t(const std::uint8_t* bytes, int offset, int length) {
  if (length <= 0) return 0;
  int end = length > 8 ? offset + 8 : offset + length;
  std::uint64_t value = 0;
  for (int i = offset; i < end; ++i) value = (value << 8) | bytes[i];
  return static_cast<std::uint32_t>(value);
}

void toOutput(std::uint32_t y, std::uint32_t z, std::uint8_t* output) {
  // One 8-byte store, so the next block's word loads are forwarded from it.
  std::uint8_t bytes[8] = {
      static_cast<std::uint8_t>(y >> 24), static_cast<std::uint8_t>(y >> 16),
      static_cast<std::uint8_t>(y >> 8),  static_cast<std::uint8_t>(y),
      static_cast<std::uint8_t>(z >> 24), static_cast<std::uint8_t>(z >> 16),
      static_cast<std::uint8_t>(z >> 8),  static_cast<std::uint8_t>(z)};
  std::memcpy(output, bytes, 8);
}

std::uint8_t char2Byte(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
  return 0;
}

std::string keyUnits(const std::string& key) {
  std::string units;
  units.reserve(key.size());
  std::size_t i = 0;
  bool valid = true;
  while (i < key.size()) {
    char32_t cp = utf8::nextCodePoint(key.data(), key.size(), i, &valid);
    if (cp > 0xFFFF) {
      char32_t v = cp - 0x10000;
      units.push_back(static_cast<char>((0xD800 + (v >> 10)) & 0xFF));
      units.push_back(static_cast<char>((0xDC00 + (v & 0x3FF)) & 0xFF));
    } else {
      units.push_back(static_cast<char>(cp & 0xFF));
    }
  }
  return units;
}

std::string encipherHex(const std::string& bytes, const std::string& keyUnits16) {
  if (keyUnits16.size() < 16) return "";
  // The cipher counts in 32-bit offsets.
  if (bytes.size() > static_cast<std::size_t>(INT32_MAX) / 2 - 32) return "";
  const int n = static_cast<int>(bytes.size());
  const int total = n + padLength(n) + 10;
  std::vector<std::uint8_t> cipherBytes(static_cast<std::size_t>(total));
  std::uint8_t key[16];
  std::memcpy(key, keyUnits16.data(), sizeof key);
  {
    auto lock = lockCipherState();
    encoder(reinterpret_cast<const std::uint8_t*>(bytes.data()), n, key, 16, cipherBytes.data());
  }
  static const auto kPairs = [] {
    std::array<char, 512> pairs{};
    for (int b = 0; b < 256; ++b) {
      pairs[2 * b] = digits[b >> 4];
      pairs[2 * b + 1] = digits[b & 0x0F];
    }
    return pairs;
  }();
  std::string hex(static_cast<std::size_t>(total) * 2, '0');
  for (int i = 0; i < total; ++i) std::memcpy(&hex[2 * i], &kPairs[2 * cipherBytes[i]], 2);
  return hex;
}

namespace {

// The hex text's digit values, one per character as the platform's strings
// count them (UTF-16 units): a character that is no hex digit, a multi-byte
// one included, is one 0 digit; a character beyond the basic plane is two
// units, so two 0 digits.
std::vector<std::uint8_t> hexDigitValues(const std::string& hex) {
  static const auto kNibbles = [] {
    std::array<std::uint8_t, 128> nibbles{};
    for (int c = 0; c < 128; ++c) nibbles[c] = char2Byte(static_cast<char>(c));
    return nibbles;
  }();
  std::vector<std::uint8_t> values;
  values.reserve(hex.size());
  bool valid = true;
  std::size_t i = 0;
  while (i < hex.size()) {
    const char32_t cp = utf8::nextCodePoint(hex.data(), hex.size(), i, &valid);
    if (cp < 0x80) {
      values.push_back(kNibbles[cp]);
    } else {
      values.push_back(0);
      if (cp > 0xFFFF) values.push_back(0);
    }
  }
  return values;
}

}  // namespace

std::string decipherHex(const std::string& hex, const std::string& keyUnits) {
  const std::vector<std::uint8_t> digitValues = hexDigitValues(hex);
  const std::size_t n = digitValues.size() / 2;  // an odd last digit is ignored
  if (n == 0 || n > static_cast<std::size_t>(INT32_MAX)) return "";
  std::vector<std::uint8_t> cipherBytes(n);
  for (std::size_t i = 0; i < n; ++i) {
    cipherBytes[i] = static_cast<std::uint8_t>(digitValues[2 * i] << 4 | digitValues[2 * i + 1]);
  }
  std::vector<std::uint8_t> output(n);
  {
    auto lock = lockCipherState();
    if (!keyUnits.empty()) {
      std::size_t copied = keyUnits.size() < 16 ? keyUnits.size() : 16;
      std::memcpy(keyArr, keyUnits.data(), copied);
    }
    decoder(cipherBytes.data(), static_cast<int>(n), keyArr, 16, output.data());
  }
  const char* text = reinterpret_cast<const char*>(output.data());
  std::size_t length = ::strnlen(text, n);
  // The platform reads the buffer as a UTF-8 C string and gets nothing for
  // bytes that are not UTF-8 (a wrong key); callers then see "".
  if (!utf8::isValid(text, length)) return "";
  return std::string(text, length);
}

}  // namespace qdx::cipher

#include "transport/qdx_cipher.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
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


// The key in keyArr as four big-endian words.
struct KeyWords {
  std::uint32_t k0, k1, k2, k3;
};
inline KeyWords keyWords() {
  return {loadWord(keyArr), loadWord(keyArr + 4), loadWord(keyArr + 8), loadWord(keyArr + 12)};
}

// An 8-byte block as two big-endian words y (bytes 0-3) and z (bytes 4-7).
struct Block {
  std::uint32_t y, z;
};
inline Block operator^(Block a, Block b) { return {a.y ^ b.y, a.z ^ b.z}; }
inline Block loadBlock(const std::uint8_t* bytes) { return {loadWord(bytes), loadWord(bytes + 4)}; }

inline Block teaEncipher(Block b, const KeyWords& k) {
  std::uint32_t y = b.y, z = b.z, sum = 0;
  for (int round = 0; round < kRounds; ++round) {
    sum += kDelta;
    y += ((z << 4) + k.k0) ^ (z + sum) ^ ((z >> 5) + k.k1);
    z += ((y << 4) + k.k2) ^ (y + sum) ^ ((y >> 5) + k.k3);
  }
  return {y, z};
}

inline Block teaDecipher(Block b, const KeyWords& k) {
  std::uint32_t y = b.y, z = b.z, sum = kDecipherStartSum;
  for (int round = 0; round < kRounds; ++round) {
    z -= ((y << 4) + k.k2) ^ (y + sum) ^ ((y >> 5) + k.k3);
    y -= ((z << 4) + k.k0) ^ (z + sum) ^ ((z >> 5) + k.k1);
    sum -= kDelta;
  }
  return {y, z};
}

// The chaining mode's encryption over the plain stream (header byte, p pad
// bytes, 2 salt bytes, the n data bytes, 7 zero bytes), its chain held in
// registers: X(i) = P(i) XOR C(i-1), C(i) = E(X(i)) XOR X(i-1). Each cipher
// block goes to emit(block index, C(i)); the last X is returned. The random
// bytes are drawn in stream order, as the byte-by-byte filling draws them.
// Blocks that lie wholly inside the data are read in place; only the first
// and last blocks are assembled.
template <class Emit>
Block encryptStream(const std::uint8_t* data, int n, const KeyWords& key, Emit&& emit) {
  const int p = padLength(n);
  std::uint8_t prefix[3 + 7];  // header byte, pad, salt
  const int prefixLength = 3 + p;
  prefix[0] = static_cast<std::uint8_t>((randomByte() & 0xF8) | p);
  for (int i = 1; i < prefixLength; ++i) prefix[i] = randomByte();
  const int blocks = (n + p + 10) / 8;
  // Byte s of the plain stream.
  auto streamByte = [&](int s) -> std::uint8_t {
    if (s < prefixLength) return prefix[s];
    if (s < prefixLength + n) return data[s - prefixLength];
    return 0;
  };
  Block previousX{0, 0}, previousC{0, 0};
  auto step = [&](int i, Block plainBlock) {
    const Block x = plainBlock ^ previousC;
    const Block c = teaEncipher(x, key) ^ previousX;
    emit(i, c);
    previousX = x;
    previousC = c;
  };
  auto assembled = [&](int i) {
    std::uint8_t bytes[8];
    for (int k = 0; k < 8; ++k) bytes[k] = streamByte(8 * i + k);
    step(i, loadBlock(bytes));
  };
  const int firstInside = (prefixLength + 7) / 8;       // first block past the prefix
  const int endInside = std::max(firstInside, (prefixLength + n) / 8);
  int i = 0;
  for (; i < firstInside; ++i) assembled(i);
  for (; i < endInside; ++i) step(i, loadBlock(data + 8 * i - prefixLength));
  for (; i < blocks; ++i) assembled(i);
  return previousX;
}

// The chaining mode's decryption of length cipher bytes (at least 16, a
// multiple of 8), block i read by load(i): X(i) = D(C(i) XOR X(i-1)), the
// plain stream's block is X(i) XOR C(i-1). Writes exactly the data bytes to
// output[0, count) and returns count (length - p - 10), or -1 when the
// header's pad leaves no data, writing nothing. The trailer's zero check has
// no effect on what is written, so it is not made.
template <class Load>
int decryptStream(int length, const KeyWords& key, Load&& load, std::uint8_t* output) {
  Block previousC = load(0);
  Block previousX = teaDecipher(previousC, key);
  const int p = static_cast<int>(previousX.y >> 24) & 7;
  const int count = length - p - 10;
  if (count < 0) return -1;
  const int skip = 3 + p;  // header byte, pad, salt
  // Writes the plain stream's bytes [s, s + 8) that fall inside the data.
  auto clipped = [&](int s, Block plainBlock) {
    std::uint8_t bytes[8];
    toOutput(plainBlock.y, plainBlock.z, bytes);
    for (int k = 0; k < 8; ++k) {
      const int at = s + k - skip;
      if (at >= 0 && at < count) output[at] = bytes[k];
    }
  };
  clipped(0, previousX);
  const int blocks = length / 8;
  auto step = [&](int i) {
    const Block c = load(i);
    const Block x = teaDecipher(c ^ previousX, key);
    const Block plainBlock = x ^ previousC;
    previousX = x;
    previousC = c;
    return plainBlock;
  };
  const int firstInside = std::max(1, (skip + 7) / 8);
  const int endInside = std::max(firstInside, (skip + count) / 8);
  int i = 1;
  for (; i < firstInside; ++i) clipped(8 * i, step(i));
  for (; i < endInside; ++i) {
    const Block plainBlock = step(i);
    toOutput(plainBlock.y, plainBlock.z, output + 8 * i - skip);
  }
  for (; i < blocks; ++i) clipped(8 * i, step(i));
  toOutput(previousX.y, previousX.z, prePlain);
  return count;
}

// Hex digit values of every byte: 0-9, a-f and A-F; 0 for anything else.
constexpr std::uint8_t hexDigitValue(unsigned char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
  return 0;
}
constexpr auto kHexDigitValues = [] {
  std::array<std::uint8_t, 256> values{};
  for (int c = 0; c < 256; ++c) values[c] = hexDigitValue(static_cast<unsigned char>(c));
  return values;
}();

// The two digits of every byte value, high nibble first (digits is
// constant-initialised, so it is ready before this table).
const auto kHexPairs = [] {
  std::array<char, 512> pairs{};
  for (int b = 0; b < 256; ++b) {
    pairs[2 * b] = digits[b >> 4];
    pairs[2 * b + 1] = digits[b & 0x0F];
  }
  return pairs;
}();

// The 8 hex digits of a word, most significant first.
inline void writeHexWord(std::uint32_t w, char* out) {
  std::memcpy(out, &kHexPairs[2 * (w >> 24)], 2);
  std::memcpy(out + 2, &kHexPairs[2 * ((w >> 16) & 0xFF)], 2);
  std::memcpy(out + 4, &kHexPairs[2 * ((w >> 8) & 0xFF)], 2);
  std::memcpy(out + 6, &kHexPairs[2 * (w & 0xFF)], 2);
}

// The word that 8 hex digits spell, most significant first.
inline std::uint32_t hexWord(const char* digitsAt) {
  std::uint32_t word = 0;
  for (int k = 0; k < 8; ++k) {
    word = word << 4 | kHexDigitValues[static_cast<unsigned char>(digitsAt[k])];
  }
  return word;
}

// The block that 16 hex digits spell; ORs the raw characters into seen, so
// that the caller learns whether any byte lay outside ASCII.
inline Block hexBlock(const char* digitsAt, std::uint64_t& seen) {
  std::uint64_t first;
  std::uint64_t second;
  std::memcpy(&first, digitsAt, 8);
  std::memcpy(&second, digitsAt + 8, 8);
  seen |= first | second;
  return {hexWord(digitsAt), hexWord(digitsAt + 8)};
}

// Copies the key units (at most 16; with fewer the other key bytes keep
// their earlier values; none at all leaves the key alone) into keyArr, then
// loads keyArr as a 16-byte key.
void loadKeyUnits(const std::string& units) {
  if (!units.empty()) std::memcpy(keyArr, units.data(), std::min<std::size_t>(units.size(), 16));
  setkeyArray(keyArr, 16);
}

// Leaves the working state as the byte-by-byte filling of n plain bytes
// leaves it, the last X block being lastX.
void endEncryptionState(Block lastX, int n) {
  toOutput(lastX.y, lastX.z, plain);
  std::memcpy(prePlain, plain, sizeof plain);
  cryptNo = n + padLength(n) + 10;
  precryptNo = cryptNo - 8;
  padding = kTrailerLength;
  pos = 0;
  header = 0;
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
  const Block lastX = encryptStream(input + offset, length, keyWords(), [output](int i, Block c) {
    toOutput(c.y, c.z, output + 8 * i);
  });
  endEncryptionState(lastX, length);
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
  const std::uint8_t* blocks = input + offset;
  decryptStream(length, keyWords(), [blocks](int i) { return loadBlock(blocks + 8 * i); }, output);
  cryptNo = contextStart = length;
  precryptNo = length - 8;
  pos = 8;
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

std::uint8_t char2Byte(char c) { return hexDigitValue(static_cast<unsigned char>(c)); }

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
  std::string hex(static_cast<std::size_t>(total) * 2, '\0');
  char* out = hex.data();
  auto lock = lockCipherState();
  setkeyArray(reinterpret_cast<const std::uint8_t*>(keyUnits16.data()), 16);
  // Each cipher block goes straight to its 16 hex digits: no byte buffer.
  const Block lastX = encryptStream(reinterpret_cast<const std::uint8_t*>(bytes.data()), n,
                                    keyWords(), [out](int i, Block c) {
                                      writeHexWord(c.y, out + 16 * i);
                                      writeHexWord(c.z, out + 16 * i + 8);
                                    });
  endEncryptionState(lastX, n);
  return hex;
}

namespace {

// The cipher bytes of a hex text, one digit per character as the platform's
// strings count them (UTF-16 units): a character that is no hex digit, a
// multi-byte one included, is one 0 digit; a character beyond the basic
// plane is two units, so two 0 digits. ASCII characters are read directly;
// only the others go through the UTF-8 walker. An odd last digit is dropped.
std::vector<std::uint8_t> cipherBytesOfText(const std::string& hex) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(hex.size() / 2);
  int highNibble = -1;
  auto digit = [&](std::uint8_t value) {
    if (highNibble < 0) {
      highNibble = value;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(highNibble << 4 | value));
      highNibble = -1;
    }
  };
  bool valid = true;
  std::size_t i = 0;
  while (i < hex.size()) {
    const auto c = static_cast<unsigned char>(hex[i]);
    if (c < 0x80) {
      digit(kHexDigitValues[c]);
      ++i;
      continue;
    }
    const char32_t cp = utf8::nextCodePoint(hex.data(), hex.size(), i, &valid);
    for (std::size_t unit = 0; unit < utf8::utf16Units(cp); ++unit) digit(0);
  }
  return bytes;
}

// The deciphered data read as the platform reads a UTF-8 C string: up to its
// first zero byte, and nothing at all when the bytes are not UTF-8 (a wrong
// key); callers then see "".
std::string plainTextOf(std::string data) {
  data.resize(::strnlen(data.data(), data.size()));
  if (!utf8::isValid(data.data(), data.size())) return "";
  return data;
}

// The all-ASCII hex text (the usual case) deciphered with each block's 16
// digits read inside the chaining loop, where they cost next to nothing
// beside the rounds. Returns nothing when the text holds a byte outside
// ASCII, whose digits only the character walk counts right, or when its
// length makes no cipher text (the walk decides what that gives).
std::optional<std::string> decipherAsciiHex(const std::string& hex, const std::string& keyUnits) {
  const std::size_t length = hex.size() / 2;
  if (length < 16 || length % 8 != 0 || length > static_cast<std::size_t>(INT32_MAX)) {
    return std::nullopt;
  }
  std::string data(length, '\0');
  std::uint64_t seen = hex.size() % 2 ? static_cast<unsigned char>(hex.back()) : 0;
  int count;
  {
    auto lock = lockCipherState();
    loadKeyUnits(keyUnits);
    const char* digitsAt = hex.data();
    count = decryptStream(static_cast<int>(length), keyWords(),
                          [digitsAt, &seen](int i) { return hexBlock(digitsAt + 16 * i, seen); },
                          reinterpret_cast<std::uint8_t*>(data.data()));
  }
  if (seen & 0x8080808080808080ull) return std::nullopt;
  data.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return plainTextOf(std::move(data));
}

}  // namespace

std::string decipherHex(const std::string& hex, const std::string& keyUnits) {
  if (auto text = decipherAsciiHex(hex, keyUnits)) return std::move(*text);
  const std::vector<std::uint8_t> cipherBytes = cipherBytesOfText(hex);
  const std::size_t n = cipherBytes.size();
  if (n == 0 || n > static_cast<std::size_t>(INT32_MAX)) return "";
  std::string data(n, '\0');
  {
    auto lock = lockCipherState();
    loadKeyUnits(keyUnits);
    decoder(cipherBytes.data(), static_cast<int>(n), keyArr, 16,
            reinterpret_cast<std::uint8_t*>(data.data()));
  }
  return plainTextOf(std::move(data));
}

}  // namespace qdx::cipher

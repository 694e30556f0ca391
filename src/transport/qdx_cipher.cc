#include "transport/qdx_cipher.h"

#include <cstdlib>
#include <cstring>
#include <vector>

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

// The next random byte: the low 8 bits of the unseeded C library sequence.
std::uint8_t randomByte() { return static_cast<std::uint8_t>(std::rand() & 0xFF); }

// Appends one byte to the block being filled, enciphering it when full.
void pushPlainByte(std::uint8_t byte, std::uint8_t* output) {
  plain[pos++] = byte;
  if (pos == 8) encryptNo8Bytes(output);
}

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one UTF-8 sequence at text[i, size); advances i. A bad sequence
// gives U+FFFD, consumes one byte and clears *valid.
char32_t nextCodePoint(const char* text, std::size_t size, std::size_t& i, bool* valid) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  const auto bad = [&]() {
    ++i;
    *valid = false;
    return kReplacement;
  };
  unsigned char lead = byte(i);
  if (lead < 0x80) {
    ++i;
    return lead;
  }
  int extra = 0;
  char32_t cp = 0;
  char32_t minimum = 0;
  if ((lead & 0xE0) == 0xC0) {
    extra = 1, cp = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, cp = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3, cp = lead & 0x07, minimum = 0x10000;
  } else {
    return bad();
  }
  if (i + extra >= size) return bad();
  for (int k = 1; k <= extra; ++k) {
    unsigned char next = byte(i + k);
    if ((next & 0xC0) != 0x80) return bad();
    cp = (cp << 6) | (next & 0x3F);
  }
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return bad();
  i += extra + 1;
  return cp;
}

bool isValidUtf8(const char* bytes, std::size_t length) {
  bool valid = true;
  std::size_t i = 0;
  while (i < length && valid) nextCodePoint(bytes, length, i, &valid);
  return valid;
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
  for (int i = 0; i < length; ++i) pushPlainByte(input[offset + i], output);
  for (padding = 0; padding < kTrailerLength; ++padding) pushPlainByte(0, output);
}

void encryptNo8Bytes(std::uint8_t* output) {
  // X(i) = P(i) XOR C(i-1); C(i) = E(X(i)) XOR X(i-1); C(-1) = X(-1) = 0.
  for (int i = 0; i < 8; ++i) plain[i] ^= header ? prePlain[i] : output[precryptNo + i];
  encipher(plain, output + cryptNo);
  for (int i = 0; i < 8; ++i) output[cryptNo + i] ^= prePlain[i];
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
  for (int i = 0; i < count; ++i) {
    if (!ensureByte()) return;
    output[i] = previous[pos] ^ prePlain[pos];
    ++pos;
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
  for (pos = 0; pos < 8; ++pos) prePlain[pos] ^= input[offset + cryptNo + pos];
  decipher(prePlain, 0, prePlain);
  contextStart += 8;
  cryptNo += 8;
  pos = 0;
  return true;
}

void encipher(const std::uint8_t* input, std::uint8_t* output) {
  std::uint32_t y = getUnsignedint32_t(input, 0, 4);
  std::uint32_t z = getUnsignedint32_t(input, 4, 4);
  const std::uint32_t k0 = getUnsignedint32_t(keyArr, 0, 4);
  const std::uint32_t k1 = getUnsignedint32_t(keyArr, 4, 4);
  const std::uint32_t k2 = getUnsignedint32_t(keyArr, 8, 4);
  const std::uint32_t k3 = getUnsignedint32_t(keyArr, 12, 4);
  std::uint32_t sum = 0;
  for (int round = 0; round < kRounds; ++round) {
    sum += kDelta;
    y += ((z << 4) + k0) ^ (z + sum) ^ ((z >> 5) + k1);
    z += ((y << 4) + k2) ^ (y + sum) ^ ((y >> 5) + k3);
  }
  toOutput(y, z, output);
}

void decipher(const std::uint8_t* input, int offset, std::uint8_t* output) {
  std::uint32_t y = getUnsignedint32_t(input, offset, 4);
  std::uint32_t z = getUnsignedint32_t(input, offset + 4, 4);
  const std::uint32_t k0 = getUnsignedint32_t(keyArr, 0, 4);
  const std::uint32_t k1 = getUnsignedint32_t(keyArr, 4, 4);
  const std::uint32_t k2 = getUnsignedint32_t(keyArr, 8, 4);
  const std::uint32_t k3 = getUnsignedint32_t(keyArr, 12, 4);
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
  output[0] = static_cast<std::uint8_t>(y >> 24);
  output[1] = static_cast<std::uint8_t>(y >> 16);
  output[2] = static_cast<std::uint8_t>(y >> 8);
  output[3] = static_cast<std::uint8_t>(y);
  output[4] = static_cast<std::uint8_t>(z >> 24);
  output[5] = static_cast<std::uint8_t>(z >> 16);
  output[6] = static_cast<std::uint8_t>(z >> 8);
  output[7] = static_cast<std::uint8_t>(z);
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
    char32_t cp = nextCodePoint(key.data(), key.size(), i, &valid);
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
  const int n = static_cast<int>(bytes.size());
  const int total = n + padLength(n) + 10;
  std::vector<std::uint8_t> cipherBytes(static_cast<std::size_t>(total));
  std::uint8_t key[16];
  std::memcpy(key, keyUnits16.data(), sizeof key);
  {
    auto lock = lockCipherState();
    encoder(reinterpret_cast<const std::uint8_t*>(bytes.data()), n, key, 16, cipherBytes.data());
  }
  std::string hex(static_cast<std::size_t>(total) * 2, '0');
  for (int i = 0; i < total; ++i) {
    hex[2 * i] = digits[cipherBytes[i] >> 4];
    hex[2 * i + 1] = digits[cipherBytes[i] & 0x0F];
  }
  return hex;
}

std::string decipherHex(const std::string& hex, const std::string& keyUnits) {
  const std::size_t n = hex.size() / 2;  // an odd last digit is ignored
  if (n == 0) return "";
  std::vector<std::uint8_t> cipherBytes(n);
  for (std::size_t i = 0; i < n; ++i) {
    cipherBytes[i] = static_cast<std::uint8_t>((char2Byte(hex[2 * i]) << 4) | char2Byte(hex[2 * i + 1]));
  }
  if (n > static_cast<std::size_t>(INT32_MAX)) return "";
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
  if (!isValidUtf8(text, length)) return "";
  return std::string(text, length);
}

}  // namespace qdx::cipher

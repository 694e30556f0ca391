#pragma once
// The payload cipher's plain functions: 16-round TEA in an interleaved
// chaining mode with a random header, over one process-wide working state.
//
// The plain functions below touch the shared state without locking; whoever
// calls them holds lockCipherState() for the whole operation. The whole-text
// helpers at the end (encipherHex, decipherHex) take the lock themselves and
// are what the rest of the SDK calls.
//
// Cipher text layout for n plain bytes: header byte ((random AND 0xF8) OR p),
// p random pad bytes, 2 random salt bytes, the n bytes, 7 zero bytes, where
// p = 8 - ((n + 10) mod 8) unless that remainder is 0. Random bytes are the
// low 8 bits of the C library's unseeded rand().
#include <cstdint>
#include <mutex>
#include <string>

namespace qdx::cipher {

// --- Working state (zero at start) ------------------------------------------
// The key: bytes 0-15, read as four big-endian words. Two spare bytes follow
// so that setkeyArray's zero at index length + 1 (17 for a 16-byte key)
// lands in our own storage.
extern std::uint8_t keyArr[18];
extern std::uint8_t plain[8];     // block being filled (encryption)
extern std::uint8_t prePlain[8];  // previous X block / current deciphered block
extern std::int32_t pos;          // position in the current block, 0-8
extern std::int32_t padding;      // counter of the salt and trailer loops
extern std::int32_t header;       // 1 while the first block is written
extern std::int32_t cryptNo;      // offset of the current cipher block
extern std::int32_t precryptNo;   // offset of the previous cipher block
extern std::int32_t contextStart; // offset of the next block to read
extern std::int32_t decodeLen;    // declared with the state; unused
extern const char digits[17];     // "0123456789ABCDEF"

// The one lock that serialises every use of the state above.
std::unique_lock<std::mutex> lockCipherState();

// --- Plain functions (caller holds the lock) --------------------------------
// Copies min(length, 16) key bytes into keyArr, then zeroes keyArr[length + 1]
// (one past the next byte, as the wire format's original key loader did)
// when that index lies inside keyArr's storage.
void setkeyArray(const std::uint8_t* key, int length);
// Loads the key like setkeyArray, then encrypts all length bytes of input
// into output, which must hold length + p + 10 bytes.
void encoder(const std::uint8_t* input, int length, const std::uint8_t* key, int keyLength,
             std::uint8_t* output);
// Loads the key like setkeyArray, zeroes output[0, length), then decrypts.
// output must hold length bytes; what was deciphered ends in a zero byte
// unless the whole buffer is plain text.
void decoder(const std::uint8_t* input, int length, const std::uint8_t* key, int keyLength,
             std::uint8_t* output);
// Encrypts input[offset, offset + length) into output (chaining mode).
void encode1(const std::uint8_t* input, std::uint8_t* output, int offset, int length);
// Decrypts input[offset, offset + length) into output. Does nothing when
// length is below 16, not a multiple of 8, or too short for its pad.
void decode1(const std::uint8_t* input, int offset, int length, std::uint8_t* output);
// One TEA block with the key in keyArr: 16 rounds.
void encipher(const std::uint8_t* input, std::uint8_t* output);
// Deciphers the 8 bytes at input + offset into output (may alias input).
void decipher(const std::uint8_t* input, int offset, std::uint8_t* output);
// Chains and enciphers the full `plain` block into output at cryptNo.
void encryptNo8Bytes(std::uint8_t* output);
// Chains and deciphers the next block of input into prePlain; returns false
// without touching prePlain when the cipher text holds no further block.
bool decryptNo8Bytes(const std::uint8_t* input, int offset, int length);
// min(length, 8) bytes from bytes + offset read big-endian, low 32 bits;
// 0 when length <= 0.
std::uint32_t getUnsignedint32_t(const std::uint8_t* bytes, int offset, int length);
// Writes y then z as 8 big-endian bytes.
void toOutput(std::uint32_t y, std::uint32_t z, std::uint8_t* output);
// Hex digit value: 0-9, a-f and A-F; any other character is 0.
std::uint8_t char2Byte(char c);

// --- Whole texts (take the lock) --------------------------------------------
// The pad length p for n plain bytes.
int padLength(int n);
// The low 8 bits of each UTF-16 code unit of the UTF-8 text key (invalid
// sequences read as U+FFFD), the way the platform's characterAtIndex: sees
// the key string.
std::string keyUnits(const std::string& key);
// Encrypts bytes (any length, even 0) with the first 16 key units (see
// keyUnits()) and returns the uppercase hex text of the n + p + 10 cipher
// bytes; "" when keyUnits16 holds fewer than 16 units.
std::string encipherHex(const std::string& bytes, const std::string& keyUnits16);
// Deciphers a hex text: when keyUnits is not empty its units are copied into
// keyArr from index 0 (at most 16; with fewer the other key bytes keep their
// earlier values), hex digits are paired (an odd last one is ignored) and
// the result is read up to its first zero byte.
std::string decipherHex(const std::string& hex, const std::string& keyUnits);

}  // namespace qdx::cipher

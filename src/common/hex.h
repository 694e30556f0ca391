#pragma once
// Hexadecimal text of bytes: the one encoder behind digests, escapes and
// identifiers.
#include <cstddef>
#include <string>

namespace qdx::hex {

// Appends the two hex digits of byte (high nibble first) to out,
// uppercase unless lowercase is set.
inline void appendByte(std::string& out, unsigned char byte, bool lowercase = false) {
  const char* digits = lowercase ? "0123456789abcdef" : "0123456789ABCDEF";
  out.push_back(digits[byte >> 4]);
  out.push_back(digits[byte & 0x0F]);
}

// The hex text of bytes[0, length), two digits a byte.
inline std::string encode(const unsigned char* bytes, std::size_t length, bool lowercase = false) {
  std::string text;
  text.reserve(2 * length);
  for (std::size_t i = 0; i < length; ++i) appendByte(text, bytes[i], lowercase);
  return text;
}

}  // namespace qdx::hex

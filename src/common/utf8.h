#pragma once
// Walking UTF-8 text by characters, the one walker every part of the SDK
// uses: the cipher reads keys and hex texts with it, the kit counts text in
// the platform's UTF-16 units with it.
#include <cstddef>

namespace qdx::utf8 {

// What a malformed sequence reads as.
inline constexpr char32_t kReplacement = 0xFFFD;

// Decodes the UTF-8 sequence at text[i, size) and advances i past it. A
// malformed sequence (a stray or truncated byte, an overlong form, a
// surrogate, a value past U+10FFFF) gives kReplacement, consumes one byte
// and clears *valid. Requires i < size.
char32_t nextCodePoint(const char* text, std::size_t size, std::size_t& i, bool* valid);

// True when bytes[0, length) is well-formed UTF-8.
bool isValid(const char* bytes, std::size_t length);

// The number of UTF-16 code units of a code point: 2 beyond the basic
// plane, else 1.
inline std::size_t utf16Units(char32_t cp) { return cp > 0xFFFF ? 2 : 1; }

}  // namespace qdx::utf8

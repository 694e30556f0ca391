#include "common/utf8.h"

#include <cstdint>
#include <cstring>

namespace qdx::utf8 {

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

bool isValid(const char* bytes, std::size_t length) {
  bool valid = true;
  std::size_t i = 0;
  while (i < length && valid) {
    // Runs of ASCII, the usual JSON text, eight bytes at a time.
    std::uint64_t chunk;
    while (i + 8 <= length && (std::memcpy(&chunk, bytes + i, 8), (chunk & 0x8080808080808080ull) == 0)) {
      i += 8;
    }
    if (i < length) nextCodePoint(bytes, length, i, &valid);
  }
  return valid;
}

}  // namespace qdx::utf8

#include "kit/utf16.h"

namespace qdx::kit {
namespace {

// The byte length of the UTF-8 sequence led by c and its UTF-16 units;
// a stray byte is one of each.
void sequenceAt(unsigned char c, std::size_t& bytes, std::size_t& units) {
  if (c >= 0xF0 && c < 0xF8) {
    bytes = 4;
    units = 2;
  } else if (c >= 0xE0 && c < 0xF0) {
    bytes = 3;
    units = 1;
  } else if (c >= 0xC0 && c < 0xE0) {
    bytes = 2;
    units = 1;
  } else {
    bytes = 1;
    units = 1;
  }
}

}  // namespace

std::size_t utf16Length(const std::string& utf8) {
  std::size_t total = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    std::size_t bytes, units;
    sequenceAt(static_cast<unsigned char>(utf8[i]), bytes, units);
    i += bytes;
    total += units;
  }
  return total;
}

std::size_t utf8OffsetOfUtf16Index(const std::string& utf8, std::size_t index) {
  std::size_t seen = 0;
  std::size_t i = 0;
  while (i < utf8.size()) {
    std::size_t bytes, units;
    sequenceAt(static_cast<unsigned char>(utf8[i]), bytes, units);
    if (seen + units > index) break;
    seen += units;
    i += bytes;
  }
  return i < utf8.size() ? i : utf8.size();
}

}  // namespace qdx::kit

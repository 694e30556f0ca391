#include "kit/utf16.h"

#include "common/utf8.h"

namespace qdx::kit {

std::size_t utf16Length(const std::string& utf8) {
  std::size_t total = 0;
  bool valid = true;
  for (std::size_t i = 0; i < utf8.size();) {
    total += utf8::utf16Units(utf8::nextCodePoint(utf8.data(), utf8.size(), i, &valid));
  }
  return total;
}

std::size_t utf8OffsetOfUtf16Index(const std::string& utf8, std::size_t index) {
  std::size_t seen = 0;
  std::size_t i = 0;
  bool valid = true;
  while (i < utf8.size()) {
    std::size_t next = i;
    const std::size_t units = utf8::utf16Units(utf8::nextCodePoint(utf8.data(), utf8.size(), next, &valid));
    if (seen + units > index) break;
    seen += units;
    i = next;
  }
  return i;
}

}  // namespace qdx::kit

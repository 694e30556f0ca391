#pragma once
// Counting text the way the platform's strings do: in UTF-16 code units.
#include <cstddef>
#include <string>

namespace qdx::kit {

// The UTF-16 length of UTF-8 text. Malformed bytes count one unit each.
std::size_t utf16Length(const std::string& utf8);
// The byte offset in utf8 where UTF-16 unit index `units` starts (the
// text's size when units reaches past the end). An index inside a
// surrogate pair maps to the start of that character.
std::size_t utf8OffsetOfUtf16Index(const std::string& utf8, std::size_t units);

}  // namespace qdx::kit

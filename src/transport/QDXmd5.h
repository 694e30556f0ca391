#pragma once
#include <string>

namespace qdx {

class QDXmd5 {
 public:
  // MD5 of the UTF-8 bytes of text (up to the first zero byte), as 32
  // uppercase hex digits.
  static std::string md5(const std::string& text);
};

}  // namespace qdx

#include "transport/QDXmd5.h"

#include <openssl/evp.h>

#include <cstring>

namespace qdx {

std::string QDXmd5::md5(const std::string& text) {
  // Like the C string the platform hands over: up to the first zero byte.
  const std::size_t length = ::strnlen(text.c_str(), text.size());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(text.data(), length, digest, &digestLength, EVP_md5(), nullptr) != 1 ||
      digestLength != 16) {
    return "";
  }
  static const char kHex[] = "0123456789ABCDEF";
  std::string hex(32, '0');
  for (int i = 0; i < 16; ++i) {
    hex[2 * i] = kHex[digest[i] >> 4];
    hex[2 * i + 1] = kHex[digest[i] & 0x0F];
  }
  return hex;
}

}  // namespace qdx

#include "transport/QDXmd5.h"

#include <openssl/evp.h>

#include <cstring>

#include "common/hex.h"

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
  return hex::encode(digest, 16);
}

}  // namespace qdx

#include "transport/QDXEncryptUtil.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "common/hex.h"
#include "common/json_access.h"

namespace qdx {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Bytes that stay as they are after both escaping steps: the URL-query set
// (letters, digits and - . _ ~ ! $ & ' ( ) * + , ; = : @ / ?) less the five
// marks that the second step escapes (+ & = : /). A table, as every byte of
// the string to sign is looked up.
constexpr std::array<bool, 256> kStaysUnescaped = [] {
  std::array<bool, 256> table{};
  for (int c = 'A'; c <= 'Z'; ++c) table[c] = true;
  for (int c = 'a'; c <= 'z'; ++c) table[c] = true;
  for (int c = '0'; c <= '9'; ++c) table[c] = true;
  for (char c : std::string_view("-._~!$'()*,;@?")) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

// Appends text to out with every byte outside the table as "%XX". Runs of
// bytes that stay are copied in one go: most of a signed envelope is hex.
void appendEscaped(std::string& out, std::string_view text) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = start;
    while (end < text.size() && kStaysUnescaped[static_cast<unsigned char>(text[end])]) ++end;
    out.append(text.data() + start, end - start);
    if (end == text.size()) break;
    out.push_back('%');
    hex::appendByte(out, static_cast<unsigned char>(text[end]));
    start = end + 1;
  }
}

// Orders two keys the way the platform's numeric, case-sensitive,
// locale-free comparison does: runs of digits by their value, any other
// character by code point (UTF-8 byte order is code point order).
int compareKeys(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (isDigit(a[i]) && isDigit(b[j])) {
      std::size_t aEnd = i;
      while (aEnd < a.size() && isDigit(a[aEnd])) ++aEnd;
      std::size_t bEnd = j;
      while (bEnd < b.size() && isDigit(b[bEnd])) ++bEnd;
      std::size_t aStart = i;
      while (aStart + 1 < aEnd && a[aStart] == '0') ++aStart;
      std::size_t bStart = j;
      while (bStart + 1 < bEnd && b[bStart] == '0') ++bStart;
      const std::size_t aLength = aEnd - aStart;
      const std::size_t bLength = bEnd - bStart;
      if (aLength != bLength) return aLength < bLength ? -1 : 1;
      int byValue = a.compare(aStart, aLength, b, bStart, bLength);
      if (byValue != 0) return byValue < 0 ? -1 : 1;
      i = aEnd;
      j = bEnd;
      continue;
    }
    const auto ca = static_cast<unsigned char>(a[i]);
    const auto cb = static_cast<unsigned char>(b[j]);
    if (ca != cb) return ca < cb ? -1 : 1;
    ++i;
    ++j;
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  // Equal up to leading zeros ("a01" and "a1"): fall back to plain bytes so
  // the order is still total.
  int plainOrder = a.compare(b);
  return plainOrder < 0 ? -1 : (plainOrder > 0 ? 1 : 0);
}

std::string upperCaseAscii(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

}  // namespace

std::string QDXEncryptUtil::encodeToPercentEscapeString(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size() * 3);
  appendEscaped(escaped, text);
  return escaped;
}

std::string QDXEncryptUtil::makeSig(const std::string& method, const std::string& url,
                                    const Json& params, const std::string& key) {
  // The members, sorted once by key; each keeps its value beside it.
  std::vector<std::pair<std::string_view, const Json*>> members;
  if (params.is_object()) {
    members.reserve(params.size());
    for (auto it = params.begin(); it != params.end(); ++it) members.emplace_back(it.key(), &*it);
  }
  std::stable_sort(members.begin(), members.end(), [](const auto& a, const auto& b) {
    return compareKeys(a.first, b.first) < 0;
  });

  // METHOD&escaped(url)&escaped(k1=v1&k2=v2...), escaped in one pass: the
  // joining "=" and "&" are written in their escaped forms directly.
  std::string toSign = upperCaseAscii(method);
  toSign.reserve(toSign.size() + 3 * url.size() + 3 * 64 * members.size() + 2);
  toSign += '&';
  appendEscaped(toSign, url);
  toSign += '&';
  bool first = true;
  for (const auto& [name, value] : members) {
    if (!first) toSign += "%26";
    first = false;
    appendEscaped(toSign, name);
    toSign += "%3D";
    // A string is its own description; the others are formatted first.
    if (value->is_string()) {
      appendEscaped(toSign, value->get_ref<const std::string&>());
    } else {
      appendEscaped(toSign, json::describe(*value));
    }
  }
  return HmacSha1(key, toSign);
}

std::string QDXEncryptUtil::HmacSha1(const std::string& key, const std::string& data) {
  // Both sides are taken as C strings: up to their first zero byte.
  const std::size_t keyLength = ::strnlen(key.c_str(), key.size());
  const std::size_t dataLength = ::strnlen(data.c_str(), data.size());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (HMAC(EVP_sha1(), key.data(), static_cast<int>(keyLength),
           reinterpret_cast<const unsigned char*>(data.data()), dataLength, digest,
           &digestLength) == nullptr) {
    return "";
  }
  unsigned char base64[4 * ((EVP_MAX_MD_SIZE + 2) / 3) + 1];
  int written = EVP_EncodeBlock(base64, digest, static_cast<int>(digestLength));
  return std::string(reinterpret_cast<const char*>(base64), static_cast<std::size_t>(written));
}

}  // namespace qdx

#include "transport/QDXEncryptUtil.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "common/hex.h"
#include "common/json_access.h"

namespace qdx {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// For each byte, 1 when it stays as it is after both escaping steps: the
// URL-query set (letters, digits and - . _ ~ ! $ & ' ( ) * + , ; = : @ / ?)
// less the five marks that the second step escapes (+ & = : /). One table
// look-up per byte, so escaping is a single pass.
constexpr std::array<unsigned char, 256> kStaysUnescaped = [] {
  std::array<unsigned char, 256> table{};
  for (int c = 'A'; c <= 'Z'; ++c) table[c] = 1;
  for (int c = 'a'; c <= 'z'; ++c) table[c] = 1;
  for (int c = '0'; c <= '9'; ++c) table[c] = 1;
  for (char mark : std::string_view("-._~!$'()*,;@?")) table[static_cast<unsigned char>(mark)] = 1;
  return table;
}();

// Appends the escaped form of text to out: runs of bytes that stay are
// copied whole, every other byte becomes %XX. Runs are scanned eight bytes
// a step (one branch per step): signed values are mostly long runs of hex
// digits.
void appendEscaped(std::string& out, std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = p + text.size();
  const auto& stays = kStaysUnescaped;
  while (p != end) {
    const auto* const run = p;
    while (end - p >= 8 && (stays[p[0]] & stays[p[1]] & stays[p[2]] & stays[p[3]] & stays[p[4]] &
                            stays[p[5]] & stays[p[6]] & stays[p[7]])) {
      p += 8;
    }
    while (p != end && stays[*p]) ++p;
    out.append(reinterpret_cast<const char*>(run), static_cast<std::size_t>(p - run));
    if (p == end) break;
    out.push_back('%');
    hex::appendByte(out, *p);
    ++p;
  }
}

// The most bytes escaping text can give: three per byte.
std::size_t escapedSizeBound(std::size_t textSize) { return 3 * textSize; }

// Orders two keys the way the platform's numeric, case-sensitive,
// locale-free comparison does: runs of digits by their value, any other
// character by code point (UTF-8 byte order is code point order).
int compareKeys(const std::string& a, const std::string& b) {
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

void appendUpperCaseAscii(std::string& out, const std::string& text) {
  for (char c : text) out.push_back(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
}

}  // namespace

std::string QDXEncryptUtil::encodeToPercentEscapeString(const std::string& text) {
  std::string escaped;
  escaped.reserve(escapedSizeBound(text.size()));
  appendEscaped(escaped, text);
  return escaped;
}

std::string QDXEncryptUtil::makeSig(const std::string& method, const std::string& url,
                                    const Json& params, const std::string& key) {
  // The members themselves, sorted once by key; values are read in place.
  using Member = Json::object_t::value_type;
  std::vector<const Member*> members;
  if (params.is_object()) {
    const auto& object = params.get_ref<const Json::object_t&>();
    members.reserve(object.size());
    for (const Member& member : object) members.push_back(&member);
  }
  std::sort(members.begin(), members.end(), [](const Member* a, const Member* b) {
    return compareKeys(a->first, b->first) < 0;
  });

  // Escaping works byte by byte, so escaping each key, value and separator
  // as it is appended gives the same bytes as joining first and escaping the
  // joined text. "=" and "&" escape to "%3D" and "%26".
  // A number's or boolean's description fits the guess below; a longer
  // one (a nested value) only makes the string grow once more.
  constexpr std::size_t kDescriptionGuess = 24;
  std::size_t bound = method.size() + 1 + escapedSizeBound(url.size()) + 1;
  for (const Member* member : members) {
    const std::size_t valueSize = member->second.is_string()
                                      ? member->second.get_ref<const std::string&>().size()
                                      : kDescriptionGuess;
    bound += escapedSizeBound(member->first.size() + valueSize) + 6;
  }
  std::string toSign;
  toSign.reserve(bound);
  appendUpperCaseAscii(toSign, method);
  toSign.push_back('&');
  appendEscaped(toSign, url);
  toSign.push_back('&');
  bool first = true;
  for (const Member* member : members) {
    if (!first) toSign.append("%26");
    first = false;
    appendEscaped(toSign, member->first);
    toSign.append("%3D");
    const Json& value = member->second;
    if (value.is_string()) {
      appendEscaped(toSign, value.get_ref<const std::string&>());
    } else {
      appendEscaped(toSign, json::describe(value));
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

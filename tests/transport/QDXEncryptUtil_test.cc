// Percent escaping, the string to sign and HMAC-SHA1.
#include "transport/QDXEncryptUtil.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

namespace qdx {
namespace {

using Util = QDXEncryptUtil;

TEST(PercentEscaping, EveryMarkAndByte) {
  // Kept by both steps.
  EXPECT_EQ("AZaz09-._~!$'()*,;@?", Util::encodeToPercentEscapeString("AZaz09-._~!$'()*,;@?"));
  // Kept by the URL-query set, escaped by the second step.
  EXPECT_EQ("%2B%26%3D%3A%2F", Util::encodeToPercentEscapeString("+&=:/"));
  // Outside the set: uppercase hex of the UTF-8 bytes.
  EXPECT_EQ("%20%22%23%3C%3E%5B%5C%5D%5E%60%7B%7C%7D%0A",
            Util::encodeToPercentEscapeString(" \"#<>[\\]^`{|}\n"));
  EXPECT_EQ("%C3%A9%E5%80%BC", Util::encodeToPercentEscapeString("é值"));
  // "%" once, and the %XX of the first step is not escaped again.
  EXPECT_EQ("100%25%2B", Util::encodeToPercentEscapeString("100%+"));
  EXPECT_EQ("%2525", Util::encodeToPercentEscapeString("%25"));
  EXPECT_EQ("https%3A%2F%2Fh%2Fqdx%2Freg_dev",
            Util::encodeToPercentEscapeString("https://h/qdx/reg_dev"));
}

// The escaping written as its two steps: first the URL-query set (bytes
// outside it become %XX), then "+", "&", "=", ":" and "/" replaced in turn.
std::string escapedInTwoSteps(const std::string& text) {
  const std::string querySet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/?";
  std::string step1;
  for (unsigned char byte : text) {
    if (byte != 0 && querySet.find(static_cast<char>(byte)) != std::string::npos) {
      step1.push_back(static_cast<char>(byte));
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", byte);
      step1 += escape;
    }
  }
  for (const auto& [mark, escape] : {std::pair{'+', "%2B"}, {'&', "%26"}, {'=', "%3D"},
                                     {':', "%3A"}, {'/', "%2F"}}) {
    std::string replaced;
    for (char c : step1) {
      if (c == mark) {
        replaced += escape;
      } else {
        replaced.push_back(c);
      }
    }
    step1 = replaced;
  }
  return step1;
}

TEST(PercentEscaping, AgreesWithTheTwoStepsForEveryByteAndPosition) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    EXPECT_EQ(escapedInTwoSteps(one), Util::encodeToPercentEscapeString(one)) << byte;
    everyByte.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(escapedInTwoSteps(everyByte), Util::encodeToPercentEscapeString(everyByte));
  // One byte to escape at each place in and around long runs that stay,
  // which are scanned several bytes at a time.
  for (std::size_t at = 0; at <= 20; ++at) {
    std::string text(20, 'a');
    text.insert(at, 1, '/');
    EXPECT_EQ(escapedInTwoSteps(text), Util::encodeToPercentEscapeString(text)) << at;
  }
}

TEST(Signature, EnvelopeStringToSign) {
  const std::string key = "0123456789abcdef";
  // app_ver before appid ("_" is below "i"); sign between sdk_ver and
  // timestamp, present with its empty value.
  const std::string toSign =
      "POST&https%3A%2F%2Fh%2Fqdx%2Freg_dev&app_ver%3D1.0%26appid%3D42%26channel%3DAppStore"
      "%26data%3DAB12%26devid%3DD1%26os_type%3D2%26sdk_ver%3D1.0.2%26sign%3D"
      "%26timestamp%3D1700000000500";
  const Json envelope = {{"devid", "D1"},      {"appid", "42"},   {"sdk_ver", "1.0.2"},
                         {"app_ver", "1.0"},    {"channel", "AppStore"}, {"os_type", "2"},
                         {"timestamp", "1700000000500"}, {"sign", ""}, {"data", "AB12"}};
  const std::string sig = Util::makeSig("POST", "https://h/qdx/reg_dev", envelope, key);
  EXPECT_EQ(Util::HmacSha1(key, toSign), sig);
  // The same value from an independent HMAC implementation.
  EXPECT_EQ("IJ/MbM3GOH9iFD9TcDFUl0Gy1kk=", sig);
  EXPECT_EQ(28u, sig.size());
  EXPECT_EQ('=', sig.back());
}

TEST(Signature, WhatEachParameterSetSigns) {
  Json ordered = Json::object();
  for (const char* name : {"a10", "a2", "B", "a", "_", "a1b"}) ordered[name] = "";
  const std::pair<Json, const char*> cases[] = {
      // Values enter escaped only once.
      {Json{{"v", "a&b=c+d:e/f%g"}}, "POST&u&v%3Da%26b%3Dc%2Bd%3Ae%2Ff%25g"},
      // Numbers and booleans by their description.
      {Json{{"n", 42}, {"f", 1.5}, {"b", true}}, "POST&u&b%3D1%26f%3D1.5%26n%3D42"},
      // Upper case before "_" before lower case (code points); digit runs by value.
      {ordered, "POST&u&B%3D%26_%3D%26a%3D%26a1b%3D%26a2%3D%26a10%3D"},
      // No members, or not a dictionary at all: the prefix alone.
      {Json::object(), "POST&u&"},
      {nullptr, "POST&u&"},
  };
  for (const auto& [params, toSign] : cases) {
    EXPECT_EQ(Util::HmacSha1("k", toSign), Util::makeSig("POST", "u", params, "k")) << toSign;
  }
  // The method is signed in upper case.
  EXPECT_EQ(Util::makeSig("POST", "u", Json{{"a", "1"}}, "k"),
            Util::makeSig("post", "u", Json{{"a", "1"}}, "k"));
}

// RFC 2202 test cases, digests in base-64; key and data end at their first
// zero byte.
TEST(HmacSha1, Rfc2202VectorsUpToTheFirstZeroByte) {
  EXPECT_EQ("thcxhlUFcmTii8C2+zeMjvFGvgA=",  // b617318655057264e28bc0b6fb378c8ef146be00
            Util::HmacSha1(std::string(20, '\x0b'), "Hi There"));
  EXPECT_EQ("7/zfauXrL6LSdBbV8YTfnCWafHk=",  // effcdf6ae5eb2fa2d27416d5f184df9c259a7c79
            Util::HmacSha1(std::string("Jefe\0tail", 9),
                           std::string("what do ya want for nothing?\0x", 30)));
  EXPECT_EQ("El1zQrmsEc2Ro5r0iqF7T2PxddM=",  // 125d7342b9ac11cd91a39af48aa17b4f63f175d3
            Util::HmacSha1(std::string(20, '\xaa'), std::string(50, '\xdd')));
  EXPECT_EQ("qkrl4VJy0A6VcFY3zoo7Ve1AIRI=",  // aa4ae5e15272d00e95705637ce8a3b55ed402112
            Util::HmacSha1(std::string(80, '\xaa'),
                           "Test Using Larger Than Block-Size Key - Hash Key First"));
  EXPECT_EQ(Util::HmacSha1("", ""), Util::HmacSha1(std::string("\0k", 2), std::string("\0d", 2)));
}

}  // namespace
}  // namespace qdx

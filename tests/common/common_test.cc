// The shared helpers: checked JSON reads, time stamps, UTF-8 walking and
// hex text. Everything the SDK reads from the server or a store goes
// through the first, so a wrong kind must read as absent, never throw.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "common/hex.h"
#include "common/json_access.h"
#include "common/time_format.h"
#include "common/utf8.h"

namespace qdx {
namespace {

TEST(JsonAccess, ReadsEachKindTheWayThePlatformsAccessorsDo) {
  struct Case {
    Json value;
    std::optional<std::int64_t> integer;
    std::optional<double> real;
    std::optional<std::string> text;
    const char* description;
  };
  const Case cases[] = {
      {Json(12), 12, 12.0, std::nullopt, "12"},
      {Json(-7), -7, -7.0, std::nullopt, "-7"},
      {Json(12.9), 12, 12.9, std::nullopt, "12.9"},
      {Json(-12.9), -12, -12.9, std::nullopt, "-12.9"},
      {Json(123.0), 123, 123.0, std::nullopt, "123"},
      {Json(true), 1, 1.0, std::nullopt, "1"},
      {Json(false), 0, 0.0, std::nullopt, "0"},
      {Json("12abc"), 12, 12.0, "12abc", "12abc"},
      {Json("abc"), 0, 0.0, "abc", "abc"},
      {Json(" 42"), 42, 42.0, " 42", " 42"},
      {Json("2.5"), 2, 2.5, "2.5", "2.5"},
      {Json(""), 0, 0.0, "", ""},
      {Json(nullptr), std::nullopt, std::nullopt, std::nullopt, "(null)"},
      {Json::array({1}), std::nullopt, std::nullopt, std::nullopt, "[1]"},
      {Json{{"a", 1}}, std::nullopt, std::nullopt, std::nullopt, "{\"a\":1}"},
      {Json(1e300), std::numeric_limits<std::int64_t>::max(), 1e300, std::nullopt, "1e+300"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value.dump());
    EXPECT_EQ(json::asInteger(c.value), c.integer);
    EXPECT_EQ(json::asDouble(c.value), c.real);
    EXPECT_EQ(json::asString(c.value), c.text);
    EXPECT_EQ(json::describe(c.value), c.description);
  }
  EXPECT_EQ(json::asInteger(Json(std::nan(""))), 0);
}

TEST(JsonAccess, MissingMembersAndWrongContainersReadAsAbsent) {
  const Json answer = {{"retcode", "0"}, {"list", Json::array({"x", 2})}, {"data", 5}};
  EXPECT_EQ(json::integerMember(answer, "retcode"), 0);
  EXPECT_EQ(json::stringMember(answer, "data"), std::nullopt) << "a number is no string";
  EXPECT_TRUE(json::member(answer, "missing").is_null());
  EXPECT_TRUE(json::member(Json::array({1}), "list").is_null()) << "not an object";
  EXPECT_TRUE(json::member(Json("text"), "list").is_null());
  EXPECT_EQ(json::element(answer["list"], 1), 2);
  EXPECT_TRUE(json::element(answer["list"], 2).is_null()) << "past the end";
  EXPECT_TRUE(json::element(answer, 0).is_null()) << "not an array";
  EXPECT_EQ(json::count(answer["list"]), 2u);
  for (const Json& notArray : {Json(), Json(3), Json("abc"), Json::object()}) {
    EXPECT_EQ(json::count(notArray), 0u) << notArray.dump();
  }
  EXPECT_EQ(json::integerMember(Json(), "retcode"), std::nullopt);
}

TEST(TimeFormat, MillisecondsRoundAndSecondsTruncate) {
  struct Case {
    double seconds;
    const char* millis;
    std::int64_t whole;
  };
  const Case cases[] = {
      {1700000000.4996, "1700000000500", 1700000000},
      {1700000000.0, "1700000000000", 1700000000},
      {1700000000.9999, "1700000001000", 1700000000},
      {0.0004, "0", 0},
      {0.0, "0", 0},
      {1.2345, "1234", 1},  // 1234.5 rounds half to even in printf's "%.f"
  };
  for (const Case& c : cases) {
    EXPECT_EQ(millisString(c.seconds), c.millis) << c.seconds;
    EXPECT_EQ(wholeSeconds(c.seconds), c.whole) << c.seconds;
  }
}

TEST(Utf8, WalksCharactersAndReplacesWhatIsMalformed) {
  struct Case {
    std::string text;
    std::u32string points;
    bool valid;
  };
  const Case cases[] = {
      {"aé中😀", U"aé中😀", true},
      {"", U"", true},
      {"\xC3", U"\uFFFD", false},              // truncated
      {"\xC0\xAF", U"\uFFFD\uFFFD", false},    // overlong: each byte replaced
      {"\xED\xA0\x80", U"\uFFFD\uFFFD\uFFFD", false},  // a surrogate
      {"a\x80" "b", U"a\uFFFDb", false},        // a stray continuation byte
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    std::u32string points;
    bool valid = true;
    for (std::size_t i = 0; i < c.text.size();) {
      points.push_back(utf8::nextCodePoint(c.text.data(), c.text.size(), i, &valid));
    }
    EXPECT_EQ(points, c.points);
    EXPECT_EQ(valid, c.valid);
    EXPECT_EQ(utf8::isValid(c.text.data(), c.text.size()), c.valid);
  }
  EXPECT_EQ(utf8::utf16Units(U'中'), 1u);
  EXPECT_EQ(utf8::utf16Units(U'😀'), 2u);
}

TEST(Hex, EncodesHighNibbleFirstInEitherCase) {
  const unsigned char bytes[] = {0x00, 0x0F, 0xA5, 0xFF};
  EXPECT_EQ(hex::encode(bytes, 4), "000FA5FF");
  EXPECT_EQ(hex::encode(bytes, 4, /*lowercase=*/true), "000fa5ff");
  EXPECT_EQ(hex::encode(bytes, 0), "");
}

}  // namespace
}  // namespace qdx

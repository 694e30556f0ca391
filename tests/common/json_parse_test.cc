// The linear JSON parser builds exactly what Json's own parser builds:
// member order, repeated keys, number kinds and failures alike.
#include "common/json_parse.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdx {
namespace {

// The value and its text must both match: Json compares objects in member
// order, and the dump shows number kinds.
void expectSameAsJsonParse(const std::string& text) {
  SCOPED_TRACE(text);
  const Json expected = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  const Json actual = parseJson(text);
  ASSERT_EQ(actual.is_discarded(), expected.is_discarded());
  if (expected.is_discarded()) return;
  EXPECT_EQ(actual, expected);
  EXPECT_EQ(actual.dump(), expected.dump());
}

TEST(ParseJson, BuildsWhatJsonParseBuildsMemberOrderAndKindsIncluded) {
  const std::vector<std::string> texts = {
      R"({"zeta":1,"alpha":2,"mid":{"b":[1,2.5,-3,true,null],"a":"x"}})",
      R"([{"k":1},[],{},[[["deep"]]],"\u4e2d\u6587",18446744073709551615,-9223372036854775808])",
      R"({"retcode":0,"data":"4A6F"})",
      R"("fragment")",
      "12.0",
      R"({"a":1,"b":2,"a":3})",                           // repeated: first place, last value
      R"({"a":{"x":1},"b":0,"a":[2]})",                   // a repeated key changes kind
      R"({"k0":0,"k1":1,"k2":2,"k3":3,"k4":4,"k5":5,"k6":6,"k7":7,"k8":8,"k9":9,)"
      R"("k10":10,"k11":11,"k12":12,"k13":13,"k14":14,"k15":15,"k16":16,"k17":17,)"
      R"("k3":"again","k17":"again","k18":18,"k0":{"last":true}})",  // past the indexed size
      R"({"":1,"":2})",
  };
  for (const std::string& text : texts) expectSameAsJsonParse(text);
}

TEST(ParseJson, RefusesWhatJsonParseRefusesWithTheParsersMessage) {
  const std::vector<std::string> texts = {"", "{", R"({"a":1,})", R"({"a":1} x)", "[1,2",
                                          "nul", R"({"a":1e400})", "\"\xff\""};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    expectSameAsJsonParse(text);
    std::string error;
    EXPECT_TRUE(parseJson(text, &error).is_discarded());
    EXPECT_NE(error, "");
  }
}

// One object with many members, a third of them repeated: the result is
// the same as the quadratic parser's.
TEST(ParseJson, ALargeObjectWithRepeatedKeysMatchesJsonParse) {
  std::string text = "{";
  for (int i = 0; i < 1200; ++i) {
    if (i > 0) text += ",";
    text += "\"key" + std::to_string(i % 800) + "\":" + std::to_string(i);
  }
  text += "}";
  expectSameAsJsonParse(text);
  EXPECT_EQ(parseJson(text).size(), 800u);
  EXPECT_EQ(parseJson(text)["key5"], 805);
}

}  // namespace
}  // namespace qdx

// The JSON codec: nil rules, the two always-logged failures, and the checks
// made before parsing. Whatever text parses or not without a fault: the
// json_codec fuzz target and its corpus.
#include "transport/QDXDictionaryAndJSON.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "sdk/QDXLog.h"
#include "support/test_env.h"

namespace qdx {
namespace {

using Codec = QDXDictionaryAndJSON;

TEST(JsonWriting, NilRoundTripAndUnwritableValues) {
  TestEnv env;
  QDXLog::setDebug(false);
  EXPECT_FALSE(Codec::jsonDataFromObjectDic(nullptr).has_value());
  EXPECT_EQ("", Codec::jsonStringFromObjectDic(nullptr));
  EXPECT_TRUE(env.logLines().empty());

  Json dic = {{"name", "值 é"}, {"f", 0.25}, {"list", {1, "a", true}}, {"inner", {{"k", nullptr}}}};
  std::optional<std::string> text = Codec::jsonStringFromObjectDic(dic);
  EXPECT_EQ(text, Codec::jsonDataFromObjectDic(dic));
  EXPECT_NE(std::string::npos, text.value_or("").find("\n  \"name\"")) << "pretty-printed";
  EXPECT_NE(std::string::npos, text.value_or("").find("值 é")) << "UTF-8, not escaped";
  EXPECT_EQ(dic, Codec::dictionaryFromJsonString(text));

  // Text that is not UTF-8, NaN and a bare string cannot be written; the
  // failure is logged whatever the debug switch says.
  for (const Json& bad : {Json{{"name", std::string("\xFF\xFE")}}, Json{{"x", {1.0, std::nan("")}}},
                          Json("just a string")}) {
    EXPECT_FALSE(Codec::jsonStringFromObjectDic(bad).has_value()) << bad.dump(-1, ' ', true);
  }
  EXPECT_EQ(3u, env.logCount("字典转JSON失败："));
  for (const std::string& line : env.logLines()) EXPECT_EQ(0u, line.find("字典转JSON失败："));
}

TEST(JsonReading, NilEmptyFailuresAndDepth) {
  TestEnv env;
  QDXLog::setDebug(false);
  EXPECT_TRUE(Codec::dictionaryFromJsonString(std::nullopt).is_null());
  EXPECT_TRUE(Codec::dictionaryFromJsonString("").is_null());
  EXPECT_TRUE(Codec::objectFromJsonData("{", true).is_null());
  EXPECT_EQ(12, Codec::objectFromJsonData("12", true));
  EXPECT_TRUE(env.logLines().empty()) << "nil, empty and the silent parse say nothing";

  // A top-level scalar is refused without fragments; too deep a text is
  // refused rather than overflowing the stack.
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  for (const std::string& bad : {std::string("{\"a\":"), std::string("12"), deep}) {
    EXPECT_TRUE(Codec::dictionaryFromJsonString(bad).is_null()) << bad.substr(0, 8);
  }
  EXPECT_EQ(3u, env.logCount("QDXDictionaryAndJSON：JSON解析失败："));
  EXPECT_GT(env.logLines()[0].size(), std::string("QDXDictionaryAndJSON：JSON解析失败：").size())
      << "the parser's message follows";
  EXPECT_TRUE(Codec::dictionaryFromJsonString(std::string(500, '[') + std::string(500, ']')).is_array());
  // Brackets inside strings do not count.
  EXPECT_TRUE(Codec::dictionaryFromJsonString("[\"" + std::string(2000, '[') + "\\\"\"]").is_array());
}

// Every n_ file of a public conformance corpus is refused and every y_ file
// that holds an array or an object parses: the checks made before parsing
// (zero bytes, depth) neither let bad texts through nor refuse good ones.
TEST(JsonConformance, ParsingCorpus) {
  TestEnv env;
  const std::filesystem::path dir =
      std::filesystem::path(QDX_SHARED_TESTDATA) / "JSONTestSuite" / "test_parsing";
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << dir;
  int checked = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    const bool structured = first != std::string::npos && (text[first] == '[' || text[first] == '{');
    if (name.rfind("n_", 0) == 0) {
      EXPECT_TRUE(Codec::dictionaryFromJsonString(text).is_null()) << name;
    }
    if (name.rfind("y_", 0) == 0 && structured) {
      EXPECT_FALSE(Codec::dictionaryFromJsonString(text).is_null()) << name;
    }
    ++checked;
  }
  EXPECT_GT(checked, 300);
}

}  // namespace
}  // namespace qdx

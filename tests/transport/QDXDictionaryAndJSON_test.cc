// The JSON codec: nil rules, the two always-logged failures, and a public
// conformance corpus.
#include "transport/QDXDictionaryAndJSON.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sdk/QDXLog.h"
#include "support/test_env.h"

namespace qdx {
namespace {

using Codec = QDXDictionaryAndJSON;

TEST(JsonWriting, NilAndRoundTrip) {
  TestEnv env;
  EXPECT_FALSE(Codec::jsonDataFromObjectDic(nullptr).has_value());
  EXPECT_EQ("", Codec::jsonStringFromObjectDic(nullptr));
  EXPECT_TRUE(env.logLines().empty());

  Json dic = {{"name", "值 é"}, {"n", 12}, {"f", 0.25}, {"ok", true}, {"list", {1, "a"}},
              {"inner", {{"k", nullptr}}}};
  std::optional<std::string> text = Codec::jsonStringFromObjectDic(dic);
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text, Codec::jsonDataFromObjectDic(dic));
  EXPECT_NE(std::string::npos, text->find("\n  \"name\"")) << "pretty-printed, one member per line";
  EXPECT_NE(std::string::npos, text->find("值 é")) << "UTF-8, not escaped";
  EXPECT_EQ(dic, Codec::dictionaryFromJsonString(text));
  EXPECT_EQ("[]", Codec::jsonStringFromObjectDic(Json::array()));
}

TEST(JsonWriting, UnwritableValuesLogAlways) {
  TestEnv env;
  QDXLog::setDebug(false);
  Json badText = {{"name", std::string("\xFF\xFE")}};
  EXPECT_FALSE(Codec::jsonStringFromObjectDic(badText).has_value());
  EXPECT_FALSE(Codec::jsonDataFromObjectDic(badText).has_value());
  Json notANumber = {{"x", {1.0, std::nan("")}}};
  EXPECT_FALSE(Codec::jsonDataFromObjectDic(notANumber).has_value());
  EXPECT_FALSE(Codec::jsonDataFromObjectDic("just a string").has_value());
  EXPECT_EQ(4u, env.logCount("字典转JSON失败："));
  for (const std::string& line : env.logLines()) EXPECT_EQ(0u, line.find("字典转JSON失败："));
}

TEST(JsonReading, NilEmptyAndFailures) {
  TestEnv env;
  QDXLog::setDebug(false);
  EXPECT_TRUE(Codec::dictionaryFromJsonString(std::nullopt).is_null());
  EXPECT_TRUE(Codec::dictionaryFromJsonString("").is_null());
  EXPECT_TRUE(env.logLines().empty()) << "nil and empty are silent";

  EXPECT_TRUE(Codec::dictionaryFromJsonString("{\"a\":").is_null());
  EXPECT_TRUE(Codec::dictionaryFromJsonString("garbage").is_null());
  // Without fragments a top-level scalar is refused.
  EXPECT_TRUE(Codec::dictionaryFromJsonString("12").is_null());
  EXPECT_EQ(3u, env.logCount("QDXDictionaryAndJSON：JSON解析失败："));
  ASSERT_FALSE(env.logLines().empty());
  EXPECT_GT(env.logLines()[0].size(), std::string("QDXDictionaryAndJSON：JSON解析失败：").size())
      << "the parser's message follows";

  Json object = Codec::dictionaryFromJsonString(" {\"a\":[1,{\"b\":null}]} ");
  EXPECT_EQ(1, object["a"][0]);
}

TEST(JsonReading, SilentParseAndFragments) {
  TestEnv env;
  EXPECT_EQ(12, Codec::objectFromJsonData("12", true));
  EXPECT_EQ("s", Codec::objectFromJsonData("\"s\"", true));
  EXPECT_TRUE(Codec::objectFromJsonData("12", false).is_null());
  EXPECT_TRUE(Codec::objectFromJsonData("{", true).is_null());
  EXPECT_TRUE(Codec::objectFromJsonData(std::nullopt).is_null());
  EXPECT_EQ(Json::array({1}), Codec::objectFromJsonData("[1]"));
  EXPECT_TRUE(env.logLines().empty());
}

TEST(JsonReading, DeepNestingIsRefusedNotOverflowed) {
  TestEnv env;
  std::string deep = std::string(100000, '[') + std::string(100000, ']');
  EXPECT_TRUE(Codec::dictionaryFromJsonString(deep).is_null());
  EXPECT_TRUE(Codec::objectFromJsonData(deep, true).is_null());
  std::string fine = std::string(500, '[') + std::string(500, ']');
  EXPECT_TRUE(Codec::dictionaryFromJsonString(fine).is_array());
  // Brackets inside strings do not count.
  std::string quoted = "[\"" + std::string(2000, '[') + "\\\"\"]";
  EXPECT_TRUE(Codec::dictionaryFromJsonString(quoted).is_array());
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// y_ files parse, n_ files are refused, i_ files may go either way; none
// may crash or hang.
TEST(JsonConformance, ParsingCorpus) {
  TestEnv env;
  const std::filesystem::path dir =
      std::filesystem::path(QDX_SHARED_TESTDATA) / "JSONTestSuite" / "test_parsing";
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << dir;
  int accepted = 0;
  int refused = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    const std::string text = readFile(entry.path());
    Json fragment = Codec::objectFromJsonData(text, true);
    Json dictionary = Codec::dictionaryFromJsonString(text);
    const bool isNullLiteral = text.find("null") != std::string::npos && text.size() <= 8;
    if (name.rfind("y_", 0) == 0) {
      EXPECT_TRUE(!fragment.is_null() || isNullLiteral) << name;
      if (fragment.is_structured()) {
        EXPECT_EQ(fragment, dictionary) << name;
      }
      ++accepted;
    } else if (name.rfind("n_", 0) == 0) {
      EXPECT_TRUE(fragment.is_null()) << name;
      EXPECT_TRUE(dictionary.is_null()) << name;
      ++refused;
    }
  }
  EXPECT_GT(accepted, 90);
  EXPECT_GT(refused, 180);
}

}  // namespace
}  // namespace qdx

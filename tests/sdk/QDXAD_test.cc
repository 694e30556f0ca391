#include "qdx/QDXAD.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "qdx/RunLoop.h"
#include "qdx/QDXADRequest.h"
#include "sdk/QDXUserDefaults.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

constexpr const char* kKey = "0123456789abcdef0123";

Json stored(const std::string& key) { return QDXUserDefaults::getObjectFromLocal(key); }

// Starts offline unless a test says otherwise: start-up steps up to the
// network test are what this file looks at.
class QDXADStartTest : public ::testing::Test {
 protected:
  QDXADStartTest() {
    env.setDataNetworkCode(0);
    env.setNow(1700000000.4996);
    env.setBundleInfo("CFBundleShortVersionString", "3.1");
  }
  TestEnv env;
};

// --- What start-up stores ----------------------------------------------------

// A first start stores what it is given and the times. A later start
// replaces a stored value that differs (for the app id: whose integer value
// differs), and an empty channel always stores "AppStore". The run stamp is
// keyed by the description of the app id then stored. Offline, the start
// says so only while debugging.
TEST_F(QDXADStartTest, StartUpStoresIdentityAndTimesReplacingWhatDiffers) {
  QDXAD::initWithChannel("Xiaomi", 123, kKey);
  ASSERT_TRUE(stored("QDX_S_TIME").is_number_integer());
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000000);    // whole seconds, truncated
  EXPECT_EQ(stored("1230000"), "1700000000500");  // milliseconds, rounded
  EXPECT_TRUE(env.logLines().empty());

  struct Case {
    const char* key;
    Json before;
    const char* channel;
    std::int64_t appId;
    const char* appKey;
    Json after;
    const char* runStampKey;
  };
  const Case cases[] = {
      {"QDX_CHANNEL", nullptr, "Xiaomi", 123, kKey, "Xiaomi", "1230000"},
      {"QDX_APP_KEY", nullptr, "c", 123, kKey, kKey, "1230000"},
      {"QDX_APP_VERSION", nullptr, "c", 123, kKey, "3.1", "1230000"},
      {"QDX_CHANNEL", "Huawei", "", 123, kKey, "AppStore", "1230000"},
      {"QDX_CHANNEL", "Huawei", "Xiaomi", 123, kKey, "Xiaomi", "1230000"},
      {"QDX_APP_KEY", "old-key", "c", 123, kKey, kKey, "1230000"},
      {"QDX_APP_KEY", 42, "c", 123, "42", "42", "1230000"},  // a number is not the string
      {"QDX_APP_VERSION", "3.0", "c", 123, kKey, "3.1", "1230000"},
      {"QDX_APP_ID", "0123", "c", 123, kKey, "0123", "01230000"},  // reads as 123: kept
      {"QDX_APP_ID", 123.0, "c", 123, kKey, 123.0, "1230000"},     // describes as "123"
      {"QDX_APP_ID", Json::array({123}), "c", 123, kKey, 123, "1230000"},
      {"QDX_APP_ID", 123, "c", 456, kKey, 456, "4560000"},
      {"QDX_APP_ID", nullptr, "c", -7, kKey, -7, "-70000"},
      {"QDX_APP_ID", nullptr, "c", 9007199254740993, kKey, 9007199254740993,
       "90071992547409930000"},
  };
  for (const Case& c : cases) {
    for (const std::string& key : env.localStore().keys()) env.localStore().remove(key);
    QDXUserDefaults::saveToLocal(c.before, c.key);
    QDXAD::initWithChannel(c.channel, c.appId, c.appKey);
    const Json after = stored(c.key);
    EXPECT_EQ(after, c.after) << c.key << " " << c.before.dump();
    EXPECT_EQ(after.is_number_float(), c.after.is_number_float()) << c.before.dump();
    EXPECT_EQ(stored(c.runStampKey), "1700000000500") << c.key << " " << c.before.dump();
  }
  env.removeBundleInfo("CFBundleShortVersionString");
  QDXAD::setDebug(true);
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_EQ(stored("QDX_APP_VERSION"), "") << "a bundle without a version stores \"\"";
  EXPECT_EQ(env.logLines(), std::vector<std::string>{"SDK初始化没有网络连接"});
}

// --- Use-time periods: sdkTerminate and the timer ------------------------------

// sdkTerminate raises the flag as a boolean; a tick lowers it and restarts
// the use time only while the app is active. The flag is read as an integer
// (any non-zero value counts), also after the host dropped the facade: the
// timer holds it.
TEST_F(QDXADStartTest, OnlyATickWhileActiveLowersTheFlagAndRestartsTheUseTime) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  QDXAD::sdkTerminate();
  ASSERT_TRUE(stored("QDXBACKGROUND").is_boolean());
  env.setNow(1700000600.9);
  for (int state : {1, 2}) {  // inactive, background
    env.setApplicationState(state);
    RunLoop::main().runFor(1.2);  // at least two ticks
    EXPECT_EQ(stored("QDXBACKGROUND"), true) << "state " << state;
  }
  env.setApplicationState(0);
  for (const Json& flag : {Json(false), Json(0), Json("0"), Json::object()}) {
    QDXUserDefaults::saveToLocal(flag, "QDXBACKGROUND");
    RunLoop::main().runFor(0.7);
    EXPECT_EQ(stored("QDX_S_TIME"), 1700000000) << flag.dump();
  }
  QDXUserDefaults::saveToLocal(Json("2"), "QDXBACKGROUND");
  EXPECT_TRUE(RunLoop::main().runUntil([] { return stored("QDXBACKGROUND").is_null(); }, 3));
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000600);

  facade.reset();
  QDXAD::sdkTerminate();
  env.setNow(1700000900);
  EXPECT_TRUE(RunLoop::main().runUntil([] { return stored("QDXBACKGROUND").is_null(); }, 3))
      << "the timer keeps ticking without the host's pointer";
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000900);
}

// With the debug switch off, an online start against a server that answers
// garbage, with a key too short to encipher, writes nothing but the JSON
// codec's own failure lines.
TEST_F(QDXADStartTest, WithDebugOffOnlyTheCodecsFailuresAreLogged) {
  ReferenceServer::Options options;
  options.faults = {"*:garbage"};
  ReferenceServer server(options);
  ASSERT_TRUE(server.running());
  server.configure(env);
  env.setDataNetworkCode(5);
  QDXAD::initWithChannel("c", 10001, "short");
  QDXAD::initWithChannel("c", 10001, ReferenceServer::kAppKey);
  RunLoop::main().runFor(1.5);
  for (const std::string& line : env.logLines()) {
    EXPECT_TRUE(line.rfind("QDXDictionaryAndJSON：JSON解析失败：", 0) == 0 ||
                line.rfind("字典转JSON失败：", 0) == 0)
        << line;
  }
}

// --- Ad requests -----------------------------------------------------------------

// A screen that is not taller than wide refuses with a line (while
// debugging); in portrait, types other than banner and wall do nothing.
TEST_F(QDXADStartTest, OnlyPortraitBannerAndWallRequestsGoAnywhere) {
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  server.configure(env);
  env.setDataNetworkCode(5);
  env.setMainScreen({667, 375, 2});
  QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(1));
  EXPECT_TRUE(env.logLines().empty()) << "silent unless debugging";
  QDXAD::setDebug(true);
  for (ScreenMetrics screen : {ScreenMetrics{667, 375, 2}, ScreenMetrics{500, 500, 1}}) {
    env.setMainScreen(screen);
    env.clearLog();
    QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(1));
    EXPECT_EQ(env.logLines(), std::vector<std::string>{"广告位不支持横屏展示！"});
  }
  env.clearLog();
  env.setMainScreen({375, 667, 2});
  for (std::int32_t type : {0, 2, 3, 5, 6, 7, 8, 9, -1}) {
    QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(type));
  }
  QDXAD::requestADWithADRequest(nullptr);
  RunLoop::main().runFor(1.0);
  EXPECT_TRUE(env.logLines().empty());
  EXPECT_TRUE(server.journal().empty());
}

}  // namespace
}  // namespace qdx

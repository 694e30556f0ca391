#include "qdx/QDXAD.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "ads/QDXADManager.h"
#include "platform/run_loop.h"
#include "qdx/QDXADRequest.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

constexpr const char* kKey = "0123456789abcdef0123";

Json stored(const std::string& key) { return QDXUserDefaults::getObjectFromLocal(key); }

bool logged(TestEnv& env, const std::string& line) {
  const auto lines = env.logLines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// Starts offline unless a test says otherwise: start-up steps up to the
// network test are what this file looks at.
class QDXADStartTest : public ::testing::Test {
 protected:
  QDXADStartTest() {
    QDXAD::setDebug(false);
    env.setDataNetworkCode(0);
    env.setNow(1700000000.4996);
    env.setBundleInfo("CFBundleShortVersionString", "3.1");
  }
  ~QDXADStartTest() override { QDXAD::setDebug(false); }
  TestEnv env;
};

// --- What start-up stores ----------------------------------------------------

TEST_F(QDXADStartTest, FirstStartStoresIdentityUseTimeAndRunStamp) {
  auto facade = QDXAD::initWithChannel("Xiaomi", 123, kKey);
  ASSERT_NE(facade, nullptr);
  ASSERT_TRUE(stored("QDX_APP_ID").is_number_integer());
  EXPECT_EQ(stored("QDX_APP_ID"), 123);
  EXPECT_EQ(stored("QDX_APP_KEY"), kKey);
  EXPECT_EQ(stored("QDX_CHANNEL"), "Xiaomi");
  EXPECT_EQ(stored("QDX_APP_VERSION"), "3.1");
  ASSERT_TRUE(stored("QDX_S_TIME").is_number_integer());
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000000);  // truncated
  EXPECT_EQ(stored("1230000"), "1700000000500");  // milliseconds, rounded
}

TEST_F(QDXADStartTest, EmptyChannelStoresAppStoreOverAnyStoredChannel) {
  QDXUserDefaults::saveToLocal(Json("Huawei"), "QDX_CHANNEL");
  QDXAD::initWithChannel("", 123, kKey);
  EXPECT_EQ(stored("QDX_CHANNEL"), "AppStore");
}

TEST_F(QDXADStartTest, ChangedChannelKeyAndVersionReplaceTheStoredOnes) {
  QDXAD::initWithChannel("Huawei", 123, "old-key-0123456789");
  env.setBundleInfo("CFBundleShortVersionString", "3.2");
  QDXAD::initWithChannel("Xiaomi", 123, kKey);
  EXPECT_EQ(stored("QDX_CHANNEL"), "Xiaomi");
  EXPECT_EQ(stored("QDX_APP_KEY"), kKey);
  EXPECT_EQ(stored("QDX_APP_VERSION"), "3.2");
}

TEST_F(QDXADStartTest, AppKeyOfAnotherKindIsReplacedByTheString) {
  QDXUserDefaults::saveToLocal(Json(42), "QDX_APP_KEY");
  QDXAD::initWithChannel("c", 123, "42");
  EXPECT_EQ(stored("QDX_APP_KEY"), "42");
}

TEST_F(QDXADStartTest, MissingBundleVersionIsStoredAsEmptyText) {
  env.removeBundleInfo("CFBundleShortVersionString");
  QDXUserDefaults::saveToLocal(Json("3.0"), "QDX_APP_VERSION");
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_EQ(stored("QDX_APP_VERSION"), "");
}

// --- The app id and the run stamp that follows it ------------------------------

TEST_F(QDXADStartTest, SameAppIdIsNotRewrittenAndKeysTheRunStamp) {
  // A stored "0123" reads as the integer 123, so it is left as it is, and
  // the run stamp is keyed by the stored text.
  QDXUserDefaults::saveToLocal(Json("0123"), "QDX_APP_ID");
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_EQ(stored("QDX_APP_ID"), "0123");
  EXPECT_EQ(stored("01230000"), "1700000000500");
  EXPECT_TRUE(stored("1230000").is_null());
}

TEST_F(QDXADStartTest, ChangedAppIdIsRewrittenAndTheRunStampFollows) {
  QDXAD::initWithChannel("c", 123, kKey);
  env.setNow(1700000100);
  QDXAD::initWithChannel("c", 456, kKey);
  EXPECT_EQ(stored("QDX_APP_ID"), 456);
  EXPECT_EQ(stored("4560000"), "1700000100000");
  EXPECT_EQ(stored("1230000"), "1700000000500");  // the old stamp is left alone
}

TEST_F(QDXADStartTest, AppIdOfAnUnreadableKindIsRewritten) {
  QDXUserDefaults::saveToLocal(Json::array({123}), "QDX_APP_ID");
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_EQ(stored("QDX_APP_ID"), 123);
}

TEST_F(QDXADStartTest, NegativeAndLargeAppIdsKeepTheirDigits) {
  QDXAD::initWithChannel("c", -7, kKey);
  EXPECT_EQ(stored("-70000"), "1700000000500");
  QDXAD::initWithChannel("c", 9007199254740993, kKey);  // beyond a double's precision
  EXPECT_EQ(stored("QDX_APP_ID"), 9007199254740993);
  EXPECT_EQ(stored("90071992547409930000"), "1700000000500");
}

// --- No network ----------------------------------------------------------------

TEST_F(QDXADStartTest, OfflineStartLogsOnlyWhileDebugging) {
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_TRUE(env.logLines().empty());
  QDXAD::setDebug(true);
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_TRUE(logged(env, "SDK初始化没有网络连接"));
  QDXAD::setDebug(false);
  EXPECT_FALSE(mydebug.load());
}

TEST_F(QDXADStartTest, OfflineStartStillStoresTheTimes) {
  QDXAD::setDebug(true);
  QDXAD::initWithChannel("c", 123, kKey);
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000000);
  EXPECT_EQ(stored("1230000"), "1700000000500");
  EXPECT_EQ(env.logLines().size(), 1u) << "an offline start does nothing else worth a line";
}

TEST_F(QDXADStartTest, OfflineStartSendsNothingWhereAnOnlineStartWould) {
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  server.configure(env);
  auto offline = QDXAD::initWithChannel("c", 10001, ReferenceServer::kAppKey);
  RunLoop::main().runFor(1.0);
  EXPECT_TRUE(server.journal().empty());

  env.setDataNetworkCode(5);  // the same start online reaches the server
  auto online = QDXAD::initWithChannel("c", 10001, ReferenceServer::kAppKey);
  EXPECT_TRUE(server.waitForEntries("reg_dev", 1));
}

// --- Use-time periods: sdkTerminate and the timer ------------------------------

TEST_F(QDXADStartTest, TerminateRaisesTheBackgroundFlagAsABoolean) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  QDXAD::sdkTerminate();
  ASSERT_TRUE(stored("QDXBACKGROUND").is_boolean());
  EXPECT_EQ(stored("QDXBACKGROUND"), true);
}

TEST_F(QDXADStartTest, TickWhileActiveLowersTheFlagAndRestartsTheUseTime) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  QDXAD::sdkTerminate();
  env.setNow(1700000600.9);
  env.setApplicationState(0);
  EXPECT_TRUE(RunLoop::main().runUntil([] { return stored("QDXBACKGROUND").is_null(); }, 3));
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000600);
}

TEST_F(QDXADStartTest, TickWhileInactiveOrInBackgroundKeepsTheFlag) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  QDXAD::sdkTerminate();
  env.setNow(1700000600);
  for (int state : {1, 2}) {
    env.setApplicationState(state);
    RunLoop::main().runFor(1.2);  // at least two ticks
    EXPECT_EQ(stored("QDXBACKGROUND"), true) << "state " << state;
    EXPECT_EQ(stored("QDX_S_TIME"), 1700000000) << "state " << state;
  }
  env.setApplicationState(0);
  EXPECT_TRUE(RunLoop::main().runUntil([] { return stored("QDXBACKGROUND").is_null(); }, 3));
}

TEST_F(QDXADStartTest, TickWithoutTheFlagLeavesTheUseTimeAlone) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  for (const Json& flag : {Json(false), Json(0), Json("0"), Json::object()}) {
    QDXUserDefaults::saveToLocal(flag, "QDXBACKGROUND");
    env.setNow(1700000600);
    RunLoop::main().runFor(0.7);
    EXPECT_EQ(stored("QDX_S_TIME"), 1700000000) << flag.dump();
  }
}

TEST_F(QDXADStartTest, FlagStoredAsAnyNonZeroIntegerCountsAsRaised) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  QDXUserDefaults::saveToLocal(Json("2"), "QDXBACKGROUND");
  env.setNow(1700000600);
  EXPECT_TRUE(RunLoop::main().runUntil([] { return stored("QDXBACKGROUND").is_null(); }, 3));
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000600);
}

TEST_F(QDXADStartTest, TimerIdlesOnceTheHostReleasesTheFacade) {
  auto facade = QDXAD::initWithChannel("c", 123, kKey);
  facade.reset();
  QDXAD::sdkTerminate();
  env.setNow(1700000600);
  RunLoop::main().runFor(1.2);
  EXPECT_EQ(stored("QDXBACKGROUND"), true);
  EXPECT_EQ(stored("QDX_S_TIME"), 1700000000);
}

// --- Ad requests -----------------------------------------------------------------

TEST_F(QDXADStartTest, LandscapeOrSquareScreenRefusesWithALineOnlyWhileDebugging) {
  for (ScreenMetrics screen : {ScreenMetrics{667, 375, 2}, ScreenMetrics{500, 500, 1}}) {
    env.setMainScreen(screen);
    env.clearLog();
    QDXAD::requestADWithADRequest(nullptr);
    EXPECT_TRUE(env.logLines().empty());
    QDXAD::setDebug(true);
    QDXAD::requestADWithADRequest(nullptr);
    EXPECT_TRUE(logged(env, "广告位不支持横屏展示！"));
    QDXAD::setDebug(false);
  }
}

TEST_F(QDXADStartTest, TypesOtherThanBannerAndWallDoNothingAtAll) {
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  server.configure(env);
  env.setDataNetworkCode(5);
  QDXAD::setDebug(true);
  for (std::int32_t type : {0, 2, 3, 5, 6, 7, 8, 9, -1}) {
    QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(type));
  }
  QDXAD::requestADWithADRequest(nullptr);
  RunLoop::main().runFor(1.0);
  EXPECT_TRUE(env.logLines().empty());
  EXPECT_TRUE(server.journal().empty());
}

// --- The host's delegate ----------------------------------------------------------

TEST(QDXADDelegateTest, DelegateIsHeldWeakly) {
  TestEnv env;
  auto delegate = std::make_shared<QDXADDelegate>();
  QDXAD::setADDelegate(delegate);
  EXPECT_EQ(QDXADManager::defaultADManager().delegate(), delegate);
  EXPECT_EQ(delegate.use_count(), 1);
  delegate.reset();
  EXPECT_EQ(QDXADManager::defaultADManager().delegate(), nullptr);
}

}  // namespace
}  // namespace qdx

// The custom-slot view against the reference server: what a load reports,
// the once-a-day click, the no-network alert, and answers gone wrong.
#include "ui/QDXADView.h"

#include <memory>
#include <thread>

#include <unicode/timezone.h>

#include "common/day_stamp.h"
#include "custom_slot_fixture.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Application.h"
#include "sdk/store_keys.h"
#include "transport/QDXHttpClient.h"

namespace qdx::testing {
namespace {

// The day stamps below are of noon UTC: on a machine far enough east of
// Greenwich they would fall on the next day, so the tests read the clock in
// UTC.
void useUtc() { icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("Etc/UTC")); }

class ADViewTest : public CustomSlotTest {
 protected:
  void SetUp() override {
    CustomSlotTest::SetUp();
    env_.setNow(1766923200);  // 2025-12-28 12:00 UTC
    useUtc();
  }
  std::shared_ptr<QDXADView> load(std::int64_t type, std::uint64_t count) {
    auto view = QDXADView::initWithADType(type);
    view->setDelegate(host_);
    view->loadADWithCount(count);
    env_.advance(1);  // each load its own request sessions
    return view;
  }
  std::shared_ptr<RecordingDelegate> host_ = std::make_shared<RecordingDelegate>();
};

TEST_F(ADViewTest, LoadReportsOneRequestPerWantedAppAndKeepsTheirLinks) {
  struct Case {
    std::uint64_t count;
    std::size_t reports;
  };
  for (const Case& c : {Case{3, 3}, Case{10, 5}, Case{0, 1}}) {
    const std::size_t before = events(kRequestEvent).size();
    auto view = load(8, c.count);
    const auto reports = events(kRequestEvent);
    ASSERT_EQ(reports.size() - before, c.reports) << "count " << c.count;
    EXPECT_EQ(reports.back()["ubit"], "自定义U位-文案形式");
    EXPECT_EQ(view->adDownUrlArr().size(), c.count == 0 ? 0u : c.reports);
  }
  // The request sessions are linked under (app id, ad id, type); the empty
  // load links the absent ids.
  EXPECT_FALSE(QDXUserDefaults::getObjectFromLocal("20001500018").is_null());
  EXPECT_FALSE(QDXUserDefaults::getObjectFromLocal("20003500038").is_null());
  EXPECT_FALSE(QDXUserDefaults::getObjectFromLocal("(null)(null)8").is_null());
  EXPECT_EQ(host_->calls, (std::vector<std::string>{"onADLoaded", "onADLoaded", "onADLoaded"}));
}

TEST_F(ADViewTest, UsageReportIsSkippedOnlyWithTheFlagAndTheSameAppVersion) {
  // The usage report is asynchronous: wait for it and for its answer, which
  // stores the flag, before the next load looks.
  const auto reportsAfter = [this](std::size_t count) {
    return server_.waitForEntries("report_u_type", count) &&
           RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15);
  };
  load(7, 1);
  ASSERT_TRUE(reportsAfter(1)) << "no flag yet";
  QDXUserDefaults::saveToLocal(1, keys::kUtypeSuccessCustom);
  QDXUserDefaults::saveToLocal("1.0", keys::kAppVersion);
  load(9, 1);
  EXPECT_EQ(server_.entriesFor("report_u_type").size(), 1u) << "flag and version match";
  env_.setBundleInfo("CFBundleShortVersionString", "2.0");
  load(9, 1);
  ASSERT_TRUE(reportsAfter(2)) << "the app was updated";
  EXPECT_EQ(server_.entriesFor("report_u_type").size(), 2u);
  // Only the custom-slot kinds share the flag: any other kind reports on
  // every load.
  QDXUserDefaults::saveToLocal("2.0", keys::kAppVersion);
  load(5, 1);
  load(5, 1);
  ASSERT_TRUE(reportsAfter(4));
  EXPECT_EQ(QDXADView::initWithADType(5)->ubit(), std::nullopt);
}

// A bundle without a version matches no stored version, not even "":
// the usage report is attempted on every load. (Without a version no
// envelope can be built, so the attempt shows only in the log.)
TEST_F(ADViewTest, WithoutABundleVersionTheUsageReportAlwaysGoesOut) {
  const std::string attempt = "no envelope for https://api.qdx.example/qdx/report_u_type";
  env_.removeBundleInfo("CFBundleShortVersionString");
  QDXUserDefaults::saveToLocal(1, keys::kUtypeSuccessCustom);
  QDXUserDefaults::saveToLocal("", keys::kAppVersion);
  load(8, 1);
  EXPECT_EQ(env_.logCount(attempt), 1u);
  QDXUserDefaults::removeObjectFromLocal(keys::kAppVersion);
  load(8, 1);
  EXPECT_EQ(env_.logCount(attempt), 2u);
}

TEST_F(ADViewTest, TwoTapsOnOneDaySendOneClickAndOpenTheStoreTwice) {
  auto view = load(9, 2);
  view->tapAD(1);
  view->tapAD(1);
  EXPECT_EQ(events(kClickEvent).size(), 1u);
  EXPECT_EQ(events(kClickEvent)[0]["to_appid"], "20002");
  EXPECT_EQ(env_.openedURLs(), (std::vector<std::string>{"https://apps.qdx.invalid/app/id1000002",
                                                         "https://apps.qdx.invalid/app/id1000002"}));
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal(keys::dailyClickKey("20002", 9)), "2026-12-28")
      << "en_US counts 28 December 2025 in the week-based year 2026";
  EXPECT_EQ(env_.logCount("点击跳转到AppStore"), 2u);

  env_.advance(24 * 3600);
  view->tapAD(1);
  EXPECT_EQ(events(kClickEvent).size(), 2u) << "a new day";
  view->tapAD(7);
  EXPECT_EQ(events(kClickEvent).size(), 3u) << "no entry: absent ids, never stamped";
  EXPECT_TRUE(env_.logContains("跳转链接不存在"));
  EXPECT_EQ(host_->calls.size(), 1u + 4u);
}

// A custom-slot load calls the host on the loading thread; a tap, on the
// main thread.
TEST_F(ADViewTest, CallbacksArriveOnTheLoadingThreadAndTapsOnTheMainThread) {
  auto view = QDXADView::initWithADType(8);
  view->setDelegate(host_);
  std::thread::id loader;
  std::thread worker([&] {
    loader = std::this_thread::get_id();
    view->loadADWithCount(1);
  });
  worker.join();
  view->tapAD(0);
  ASSERT_EQ(host_->calls, (std::vector<std::string>{"onADLoaded", "onADClicked"}));
  EXPECT_EQ(host_->threads[0], loader);
  EXPECT_EQ(host_->threads[1], std::this_thread::get_id());
}

// A numeric app id keys the day by its text ("%@" of 20002 is "20002")
// and travels as a number, as does the ad id.
TEST_F(ADViewTest, ANumericAppIdKeysTheDayByItsTextAndTravelsAsANumber) {
  ASSERT_TRUE(server_.setFault(
      R"(get_recommend_list:payload:{"applist":[{"appid":20002,"adlist":[{"ad_id":9001,"ad_down_url":"https://apps.qdx.invalid/app/id2"}]}]})"));
  auto view = load(8, 1);
  view->tapAD(0);
  view->tapAD(0);
  ASSERT_EQ(events(kClickEvent).size(), 1u);
  EXPECT_TRUE(events(kClickEvent)[0]["to_appid"].is_number_integer());
  EXPECT_EQ(events(kClickEvent)[0]["to_appid"], 20002);
  EXPECT_EQ(events(kClickEvent)[0]["adid"], 9001);
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("200028"), "2026-12-28");
  EXPECT_FALSE(QDXUserDefaults::getObjectFromLocal("2000290018").is_null()) << "the request's session link";
}

// An entry without a store link opens nothing, but the day is counted:
// the second tap sends no click report.
TEST_F(ADViewTest, AnEntryWithoutALinkOpensNothingButCountsItsDay) {
  ASSERT_TRUE(server_.setFault(R"(get_recommend_list:payload:{"applist":[{"appid":"20009","adlist":[{"ad_id":"50009"}]}]})"));
  auto view = load(8, 1);
  view->tapAD(0);
  view->tapAD(0);
  EXPECT_TRUE(env_.openedURLs().empty());
  EXPECT_EQ(env_.logCount("点击跳转到AppStore"), 2u);
  EXPECT_EQ(events(kClickEvent).size(), 1u);
}

TEST_F(ADViewTest, WithoutANetworkATapShowsTheAlertAfterTheClickAndStampsNothing) {
  auto view = load(8, 1);
  env_.setDataNetworkCode(0);
  view->tapAD(0);
  const auto alerts = kit::Application::sharedApplication().visibleAlertViews();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0]->title(), "请先连接网络");
  EXPECT_EQ(alerts[0]->message(), std::nullopt);
  EXPECT_EQ(alerts[0]->buttonTitles(), (std::vector<std::string>{"取消", "确定"}));
  EXPECT_EQ(alerts[0]->delegate(), std::static_pointer_cast<kit::AlertViewDelegate>(view));
  EXPECT_EQ(host_->calls.back(), "onADClicked");
  EXPECT_TRUE(env_.openedURLs().empty());
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal(keys::dailyClickKey("20001", 8)).is_null());

  // The day counts from the last opening: back online, the next tap still
  // reports its click, and only the one after it is quiet.
  env_.setDataNetworkCode(2);
  view->tapAD(0);
  view->tapAD(0);
  EXPECT_EQ(events(kClickEvent).size(), 1u);
  EXPECT_EQ(env_.openedURLs().size(), 2u);
}

TEST_F(ADViewTest, BadAnswersLeaveAnEmptyListAndOneEmptyRequestReport) {
  for (const char* fault : {"get_recommend_list:retcode:5", "get_recommend_list:garbage",
                            "get_recommend_list:http:500", "get_recommend_list:drop"}) {
    ASSERT_TRUE(server_.setFault(fault));
    const std::size_t before = events(kRequestEvent).size();
    auto view = load(8, 3);
    EXPECT_EQ(view->appDict(), Json::object()) << fault;
    EXPECT_TRUE(view->adDownUrlArr().empty()) << fault;
    EXPECT_EQ(events(kRequestEvent).size(), before + 1) << fault;
    view->tapAD(0);  // nothing to open, nothing thrown
  }
  EXPECT_TRUE(env_.openedURLs().empty());
  // A refusal or no answer tells the host nothing; an answer without a
  // readable "retcode" reads as 0 with nothing deciphered.
  EXPECT_EQ(host_->calls,
            (std::vector<std::string>{"onADClicked", "onNoAD -4102", "onADLoaded", "onADClicked",
                                      "onNoAD -4102", "onADLoaded", "onADClicked", "onADClicked"}));
  host_->calls.clear();
  ASSERT_TRUE(server_.setFault("get_recommend_list:no-data"));
  load(8, 3);
  EXPECT_EQ(host_->calls, (std::vector<std::string>{"onNoAD -4102", "onADLoaded"}));
}

// The week-based year around New Year: en_US weeks start on Sunday and the
// first week holds 1 January; de_DE follows ISO 8601.
TEST(DayStampTest, WritesTheWeekBasedYearOfTheLocale) {
  struct Case {
    double seconds;  // noon UTC
    const char* locale;
    const char* stamp;
  };
  const Case cases[] = {
      {1766923200, "en_US", "2026-12-28"}, {1766923200, "de_DE", "2025-12-28"},
      {1767009600, "en_US", "2026-12-29"}, {1767009600, "de_DE", "2026-12-29"},
      {1798804800, "en_US", "2027-01-01"}, {1798804800, "de_DE", "2026-01-01"},
      {1781870400, "en_US", "2026-06-19"},
  };
  useUtc();
  for (const Case& c : cases) EXPECT_EQ(dayStamp(c.seconds, c.locale), c.stamp) << c.locale << " " << c.seconds;
  TestEnv env;
  env.setNow(1766923200);
  env.setLocale("de_DE");
  EXPECT_EQ(todayStamp(), "2025-12-28");
}

}  // namespace
}  // namespace qdx::testing

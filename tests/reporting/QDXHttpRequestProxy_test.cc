// The event reporter against the reference server: event ids, sessions,
// acknowledgements and what stays stored when the server refuses.
#include "reporting/QDXHttpRequestProxy.h"

#include "reporting_fixture.h"
#include "support/fault_env.h"

namespace qdx::testing {
namespace {

QDXHttpRequestProxy& reporter() { return QDXHttpRequestProxy::shareInstance(); }

using SessionTest = ServerReportingTest;

TEST_F(SessionTest, ShowAndClickReuseTheLinkedSessionWhoseGroupTheirAcknowledgementDeletes) {
  reporter().reportShowEventWithUbit("BANNER", "ad-7", "app-9", 1);
  ASSERT_TRUE(serveMainUntil([&] { return env_.logContains("展示成功"); }));
  EXPECT_TRUE(bodiesFor("report_event")[0]["id"].is_null()) << "no request before it";
  EXPECT_EQ(pendingGroups().size(), 1u) << "a nil session deletes nothing: its group stays";

  env_.setNow(1700000100);
  reporter().reportRequestEventWithUbit("BANNER", "ad-7", "app-9", 1);
  reporter().reportClickEventWithUbit("BANNER", "ad-7", "app-9", 1);
  QDXUserDefaults::removeObjectFromLocal("QDX_REPORT_EVENT_LIST");
  reporter().reportShowEventWithUbit("BANNER", "ad-7", "app-9", 1);
  ASSERT_EQ(pendingGroups().size(), 1u) << "filed until the answer is handled on the main loop";
  ASSERT_TRUE(serveMainUntil([] { return pendingGroups().empty(); }));
  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 4u);
  const Json& click = bodies[2]["event_list"].back();
  EXPECT_EQ(bodies[2]["id"], "1700000100000");
  EXPECT_EQ(bodies[3]["id"], "1700000100000");
  EXPECT_EQ(click["adid"], "ad-7");
  EXPECT_EQ(click["to_appid"], "app-9");
  // Event ids: the first builder (a show) takes its own first value, 2;
  // every later one counts on from there.
  EXPECT_EQ(bodies[0]["event_list"][0]["event_id"], 2);
  EXPECT_EQ(bodies[1]["event_list"][0]["event_id"], 3);
  EXPECT_EQ(click["event_id"], 4);
}

TEST_F(SessionTest, ARequestStartsASessionThatUseTimeTakesOverFromTheRunStamp) {
  QDXUserDefaults::saveToLocal("1699999999000", "100010000");
  reporter().reportUseTime();
  EXPECT_EQ(bodiesFor("report_event").back()["id"], "1699999999000");
  EXPECT_TRUE(env_.logContains("self.session_id 无效，没有请求事件"));

  env_.setNow(1700000000.4996);
  reporter().reportRequestEventWithUbit("BANNER", "ad-7", "app-9", 4);
  EXPECT_EQ(stored("app-9ad-74"), "1700000000500") << "linked to app, ad and type";
  EXPECT_EQ(bodiesFor("report_event").back()["id"], "1700000000500");
  EXPECT_EQ(bodiesFor("report_event").back()["event_list"][0]["adtype"], 4);
  reporter().reportUseTime();
  EXPECT_EQ(bodiesFor("report_event").back()["id"], "1700000000500");

  reporter().reportRequestEventWithUbit("CUSTOM", Json(), Json(), 8);
  EXPECT_TRUE(stored("(null)(null)8").is_string()) << "nil ids: the formatter's null text";
}

// A click as the process's first event takes its own first value, 3; the
// request after it counts on from there.
TEST_F(SessionTest, AClickFirstTakesThreeAndARequestAfterItFour) {
  reporter().reportClickEventWithUbit("BANNER", "ad-7", "app-9", 1);
  reporter().reportRequestEventWithUbit("BANNER", "ad-7", "app-9", 1);
  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 2u);
  EXPECT_EQ(bodies[0]["event_list"].back()["event_id"], 3);
  EXPECT_EQ(bodies[1]["event_list"].back()["event_id"], 4);
}

using AcknowledgementTest = ServerReportingTest;

TEST_F(AcknowledgementTest, AnActivationTakesZeroAndOnlyAnAcknowledgedRequestLeavesNothingPending) {
  reporter().reportActiveEvent();  // never filed
  for (const char* fault : {"report_event:none", "report_event:retcode:1", "report_event:garbage",
                            "report_event:http:500", "report_event:drop"}) {
    SCOPED_TRACE(fault);
    QDXUserDefaults::removeObjectFromLocal("QDX_REPORT_EVENT_LIST");
    ASSERT_TRUE(server_.setFault(fault));
    reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
    EXPECT_EQ(pendingGroups().size(), std::string(fault).ends_with("none") ? 0u : 1u);
  }
  EXPECT_EQ(bodiesFor("report_event").at(0)["event_list"][0]["event_id"], 0);
  EXPECT_EQ(bodiesFor("report_event").at(1)["event_list"][0]["event_id"], 1) << "counter left at 0";
}

TEST_F(AcknowledgementTest, ARefusedBaseInfoOrAnUnansweredCrashRecordLeavesNothingStored) {
  server_.setFault("report_base_info:retcode:3");
  reporter().reportBaseInfo();
  ASSERT_TRUE(serveMainUntil([&] { return env_.logContains("基本信息上报"); }));
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION").is_null());
  EXPECT_EQ(bodiesFor("report_base_info")[0], Json::object()) << "the envelope carries it all";

  server_.setFault("error_log_report:drop");
  reporter().reportCrashWithDictionary({{"ex_st", "s"}, {"ex_msg", "m"}, {"timestamp", 5}});
  EXPECT_TRUE(env_.logContains("异常信息 return nil"));
  EXPECT_FALSE(std::filesystem::exists(QDXHttpRequestProxy::crashLogDirectory()));
}

// A refused crash record whose file cannot be written costs one log line
// and that record only: earlier crash logs and pending events stay.
TEST_F(AcknowledgementTest, ARefusedCrashRecordThatCannotBeWrittenLosesNothingElse) {
  const std::string directory = QDXHttpRequestProxy::crashLogDirectory();
  fs::create_directories(directory);
  const Json earlier = {{"ex_st", "old"}, {"ex_msg", "kept"}, {"timestamp", 4}};
  ASSERT_TRUE(writePropertyListDictionary(earlier, directory + "/4.log"));
  const Json pending = Json::array({R"({"id":"A","event_list":[]})"});
  QDXUserDefaults::saveToLocal(pending, "QDX_REPORT_EVENT_LIST");
  FaultEnv faults;
  faults.failWritesTo("/5.log");

  ASSERT_TRUE(server_.setFault("error_log_report:retcode:1"));
  reporter().reportCrashWithDictionary({{"ex_st", "s"}, {"ex_msg", "m"}, {"timestamp", 5}});
  EXPECT_TRUE(env_.logContains("异常信息已写入本地"));
  EXPECT_EQ(env_.logCount("could not be written"), 1u);
  EXPECT_GE(faults.refusedWrites(), 1);
  EXPECT_FALSE(fs::exists(directory + "/5.log"));
  EXPECT_EQ(readPropertyListDictionary(directory + "/4.log"), earlier);
  EXPECT_EQ(stored("QDX_REPORT_EVENT_LIST"), pending);
  EXPECT_EQ(bodiesFor("error_log_report").size(), 1u);
}

// A refused use-time report stays stored; the next call in the same
// process re-sends that group as it is and reports no new period.
TEST_F(AcknowledgementTest, ASecondUseTimeReportResendsTheRefusedGroupAndNothingNew) {
  QDXUserDefaults::saveToLocal(Json(1699999000), "QDX_S_TIME");
  server_.setFault("report_event:retcode:1");
  reporter().reportUseTime();
  const Json kept = stored("QDX_USE_TIME_EVENT_LIST");
  ASSERT_FALSE(kept.is_null()) << "refused: the group stays";
  server_.clearFaults();
  env_.setNow(1700000500);
  reporter().reportUseTime();
  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 2u) << "one post per call, nothing new besides";
  EXPECT_EQ(bodies[1], bodies[0]) << "the stored group, unchanged";
  EXPECT_TRUE(stored("QDX_USE_TIME_EVENT_LIST").is_null()) << "acknowledged: removed";
}

TEST_F(AcknowledgementTest, ResendPostsEveryGroupAndTheFirstAcknowledgementClearsAll) {
  QDXUserDefaults::saveToLocal(
      Json::array({R"({"id":"A","event_list":[{"event_id":1}]})",
                   R"({"id":"B","event_list":[{"event_id":2}]})", "not json"}),
      "QDX_REPORT_EVENT_LIST");
  server_.setFault("report_event:retcode:2");
  reporter().reportEvent();
  ASSERT_TRUE(server_.waitForEntries("report_event", 3));
  settle();
  EXPECT_EQ(pendingGroups().size(), 3u) << "refused: everything stays";
  std::set<Json> posted;
  for (const Json& body : bodiesFor("report_event")) posted.insert(json::member(body, "id"));
  EXPECT_EQ(posted, (std::set<Json>{"A", "B", nullptr}));

  server_.clearFaults();
  reporter().reportEvent();
  ASSERT_TRUE(serveMainUntil([] { return stored("QDX_REPORT_EVENT_LIST").is_null(); }));
}

}  // namespace
}  // namespace qdx::testing

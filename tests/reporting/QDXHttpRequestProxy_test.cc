// The event reporter against the reference server: event ids, sessions,
// acknowledgements and what stays stored when the server refuses.
#include "reporting/QDXHttpRequestProxy.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "identity/QDXKeyChain.h"
#include "reporting/property_list_file.h"
#include "reporting_fixture.h"
#include "sdk/QDXLog.h"

namespace qdx {
namespace {

using testing::pendingGroups;
using testing::serveMainUntil;

QDXHttpRequestProxy& reporter() { return QDXHttpRequestProxy::shareInstance(); }

class ReporterTest : public testing::ServerReportingTest {
 protected:
  // The events of every group posted to report_event, in order.
  std::vector<Json> postedEvents() const {
    std::vector<Json> events;
    for (const Json& body : bodiesFor("report_event")) {
      for (const Json& event : body["event_list"]) events.push_back(event);
    }
    return events;
  }
  // Lets asynchronous completions of answers already journaled run.
  void settle() { RunLoop::main().runFor(0.3); }
};

using EventIdTest = ReporterTest;

TEST_F(EventIdTest, ABuilderUsesItsOwnFirstValueOnlyWhileTheCounterIsZero) {
  reporter().reportClickEventWithUbit("BANNER", "ad", "app", 1);
  reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
  reporter().reportUseTime();
  const auto events = postedEvents();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0]["event_id"], 3) << "a click first takes 3";
  EXPECT_EQ(events[1]["event_id"], 4);
  EXPECT_EQ(events[2]["event_id"], 5);
}

TEST_F(EventIdTest, AnActivationFirstTakesZeroAndLeavesTheCounterAtZero) {
  reporter().reportActiveEvent();
  reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
  const auto events = postedEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0]["event_id"], 0);
  EXPECT_EQ(events[1]["event_id"], 1) << "the request's own first value";
  EXPECT_EQ(reporter().nextEventId(4), 2);
}

using SessionTest = ReporterTest;

TEST_F(SessionTest, ARequestStartsASessionLinkedToAppAdAndType) {
  env_.setNow(1700000000.4996);
  reporter().reportRequestEventWithUbit("BANNER", "ad-7", "app-9", 4);
  EXPECT_EQ(reporter().session_id(), "1700000000500");
  EXPECT_EQ(reporter().session_key(), "app-9ad-74");
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("app-9ad-74"), "1700000000500");

  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 1u);
  EXPECT_EQ(bodies[0]["id"], "1700000000500");
  EXPECT_EQ(bodies[0]["event_list"][0]["ubit"], "BANNER");
  EXPECT_EQ(bodies[0]["event_list"][0]["adtype"], 4);
}

TEST_F(SessionTest, NilIdsEnterTheLinkKeyAsTheFormattersNullText) {
  reporter().reportRequestEventWithUbit("CUSTOM", std::nullopt, std::nullopt, 8);
  EXPECT_EQ(reporter().session_key(), "(null)(null)8");
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("(null)(null)8").is_string());
}

TEST_F(SessionTest, ShowAndClickReuseTheLinkedSessionOrCarryNilWithoutOne) {
  reporter().reportShowEventWithUbit("BANNER", "ad-7", "app-9", 1);
  ASSERT_TRUE(server_.waitForEntries("report_event", 1));
  EXPECT_TRUE(bodiesFor("report_event")[0]["id"].is_null()) << "no request before it";
  EXPECT_EQ(bodiesFor("report_event")[0]["event_list"][0]["event_id"], 2) << "a show first: 2";

  env_.setNow(1700000100);
  reporter().reportRequestEventWithUbit("BANNER", "ad-7", "app-9", 1);
  env_.setNow(1700000200);
  reporter().reportClickEventWithUbit("BANNER", "ad-7", "app-9", 1);
  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 3u);
  EXPECT_EQ(bodies[2]["id"], "1700000100000");
  EXPECT_EQ(bodies[2]["event_list"].back()["adid"], "ad-7");
  EXPECT_EQ(bodies[2]["event_list"].back()["to_appid"], "app-9");
}

TEST_F(SessionTest, UseTimeTakesTheLastRequestsSessionElseTheRunStamp) {
  QDXLog::setDebug(true);
  QDXUserDefaults::saveToLocal("1699999999000", "100010000");
  reporter().reportUseTime();
  EXPECT_EQ(bodiesFor("report_event").back()["id"], "1699999999000");
  EXPECT_TRUE(env_.logContains("self.session_id 无效，没有请求事件"));

  env_.setNow(1700000300);
  reporter().reportRequestEventWithUbit("BANNER", "ad-1", "app-1", 1);
  env_.clearLog();
  reporter().reportUseTime();
  EXPECT_EQ(bodiesFor("report_event").back()["id"], "1700000300000");
  EXPECT_FALSE(env_.logContains("self.session_id 无效"));
}

using AcknowledgementTest = ReporterTest;

TEST_F(AcknowledgementTest, AnAcknowledgedRequestLeavesNothingPending) {
  QDXLog::setDebug(true);
  reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
  EXPECT_TRUE(pendingGroups().empty());
  EXPECT_TRUE(env_.logContains("请求事件"));
}

TEST_F(AcknowledgementTest, RefusedGarbledOrLostAnswersKeepTheEventPending) {
  for (const char* fault : {"report_event:retcode:1", "report_event:garbage",
                            "report_event:http:500", "report_event:drop"}) {
    SCOPED_TRACE(fault);
    QDXUserDefaults::removeObjectFromLocal("QDX_REPORT_EVENT_LIST");
    ASSERT_TRUE(server_.setFault(fault));
    reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
    EXPECT_EQ(pendingGroups().size(), 1u);
  }
}

TEST_F(AcknowledgementTest, AShowIsDroppedFromPendingWhenItsAnswerArrivesOnTheMainLoop) {
  QDXLog::setDebug(true);
  reporter().reportShowEventWithUbit("BANNER", "ad", "app", 1);
  ASSERT_TRUE(serveMainUntil([&] { return env_.logContains("展示成功"); }));
  ASSERT_EQ(pendingGroups().size(), 1u) << "a nil session deletes nothing: its group stays";
  EXPECT_TRUE(pendingGroups()[0]["id"].is_null());
}

TEST_F(AcknowledgementTest, AShowOfALinkedSessionIsDeletedOnAcknowledgement) {
  server_.setFault("report_event:retcode:1");
  reporter().reportRequestEventWithUbit("BANNER", "ad", "app", 1);
  ASSERT_EQ(pendingGroups().size(), 1u);
  server_.clearFaults();
  QDXUserDefaults::removeObjectFromLocal("QDX_REPORT_EVENT_LIST");
  reporter().reportShowEventWithUbit("BANNER", "ad", "app", 1);
  ASSERT_EQ(pendingGroups().size(), 1u);
  ASSERT_TRUE(serveMainUntil([] { return pendingGroups().empty(); }));
}

TEST_F(AcknowledgementTest, RefusedUseTimeIsKeptAndResentOnceWithoutANewReport) {
  server_.setFault("report_event:retcode:7");
  reporter().reportUseTime();
  const Json stored = QDXUserDefaults::getObjectFromLocal(kUseTimeEventListKey);
  ASSERT_TRUE(stored.is_object());
  EXPECT_EQ(stored["event_list"][0]["event_id"], 4) << "use time first: 4";

  server_.clearFaults();
  env_.advance(60);
  reporter().reportUseTime();
  const auto bodies = bodiesFor("report_event");
  ASSERT_EQ(bodies.size(), 2u);
  EXPECT_EQ(bodies[1], stored) << "the stored group itself, nothing new";
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal(kUseTimeEventListKey).is_null());

  reporter().reportUseTime();
  EXPECT_EQ(bodiesFor("report_event").size(), 3u);
  EXPECT_EQ(bodiesFor("report_event")[2]["event_list"][0]["type"], 2);
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal(kUseTimeEventListKey).is_null());
}

TEST_F(AcknowledgementTest, ActivationIsRememberedInTheKeychainOnlyWhenAcknowledged) {
  server_.setFault("report_event:garbage");
  reporter().reportActiveEvent();
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_REPORT_ACTIVE").is_null());
  server_.clearFaults();
  reporter().reportActiveEvent();
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_REPORT_ACTIVE"), true);
  EXPECT_TRUE(pendingGroups().empty()) << "activations are never filed";
}

TEST_F(AcknowledgementTest, BaseInfoStoresTheReportedVersionOnlyWhenAcknowledged) {
  QDXLog::setDebug(true);
  server_.setFault("report_base_info:retcode:3");
  reporter().reportBaseInfo();
  ASSERT_TRUE(serveMainUntil([&] { return env_.logContains("基本信息上报"); }));
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION").is_null());

  server_.clearFaults();
  reporter().reportBaseInfo();
  ASSERT_TRUE(serveMainUntil(
      [] { return !QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION").is_null(); }));
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION"), "1.0");
  EXPECT_EQ(bodiesFor("report_base_info")[1], Json::object());
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

  server_.clearFaults();
  reporter().reportEvent();
  ASSERT_TRUE(serveMainUntil(
      [] { return QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST").is_null(); }));
  ASSERT_TRUE(server_.waitForEntries("report_event", 6));
  std::multiset<std::string> resent;
  for (const Json& body : bodiesFor("report_event")) {
    resent.insert(json::describe(json::member(body, "id")));
  }
  EXPECT_EQ(resent, (std::multiset<std::string>{"A", "A", "B", "B", "(null)", "(null)"}));
}

TEST(AnswerReadingTest, OnlyARetcodeThatReadsAsZeroAcknowledges) {
  TestEnv env;
  EXPECT_TRUE(answerAcknowledged(R"({"retcode":0,"errmsg":""})"));
  EXPECT_TRUE(answerAcknowledged(R"({"retcode":"0"})")) << "read as integerValue reads it";
  EXPECT_TRUE(answerAcknowledged(R"({"retcode":0.7})"));
  for (const char* refused : {R"({"retcode":1})", R"({"retcode":[0]})", R"({"retcode":{}})",
                              R"({"retcode":null})", R"({"errmsg":"no retcode"})", "[0]", "0",
                              "<html>busy</html>", ""}) {
    EXPECT_FALSE(answerAcknowledged(std::string(refused))) << refused;
  }
  EXPECT_FALSE(answerAcknowledged(std::nullopt));
}

using CrashRecordTest = ReporterTest;

TEST_F(CrashRecordTest, ARefusedRecordIsKeptAsAPropertyListNamedByItsTimestamp) {
  const Json record = {{"ex_st", Json::array({"frame-0", "frame-1"})},
                       {"ex_msg", "boom"},
                       {"timestamp", 1700000000123}};
  server_.setFault("error_log_report:retcode:500");
  reporter().reportCrashWithDictionary(record);
  const std::string path = QDXHttpRequestProxy::crashLogDirectory() + "/1700000000123.log";
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(readPropertyListDictionary(path), record);
  EXPECT_EQ(bodiesFor("error_log_report")[0], record);
}

TEST_F(CrashRecordTest, AnAcknowledgedOrUnansweredRecordLeavesNoFile) {
  QDXLog::setDebug(true);
  const Json record = {{"ex_st", Json::array()}, {"ex_msg", "x"}, {"timestamp", 5}};
  reporter().reportCrashWithDictionary(record);
  server_.setFault("error_log_report:drop");
  reporter().reportCrashWithDictionary(record);
  EXPECT_TRUE(env_.logContains("异常信息 return nil"));
  EXPECT_FALSE(std::filesystem::exists(QDXHttpRequestProxy::crashLogDirectory() + "/5.log"));
}

}  // namespace
}  // namespace qdx

// The event forms and the pending list's filing and delete rules.
#include "reporting/QDXEvent.h"

#include <gtest/gtest.h>

#include <set>

#include "reporting_fixture.h"

namespace qdx {
namespace {

using testing::LocalReportingTest;
using testing::pendingGroups;

std::set<std::string> keysOf(const Json& object) {
  std::set<std::string> keys;
  for (auto it = object.begin(); it != object.end(); ++it) keys.insert(it.key());
  return keys;
}

QDXEvent adEvent(std::int32_t subType, std::int64_t eventId) {
  QDXEvent event;
  event.event_id = eventId;
  event.type = 1;
  event.sub_type = subType;
  event.ubit = "BANNER";
  event.adid = "ad-7";
  event.to_appid = "app-9";
  event.adtype = 1;
  return event;
}

// Files event eventId of session and returns the group handed back.
Json file(const std::string& session, std::int64_t eventId, std::int32_t subType = 1) {
  QDXEvent event = adEvent(subType, eventId);
  return event.getEventListDictionary(session, event.getEventDictinary(), eventId);
}

std::size_t eventsIn(const Json& group) { return group["event_list"].size(); }

using EventFormsTest = LocalReportingTest;

TEST_F(EventFormsTest, EachFormHasExactlyItsKeysAndWholeSecondTimes) {
  env_.setNow(1700000000.9);
  QDXUserDefaults::saveToLocal(1699990000, "QDX_S_TIME");

  const Json request = adEvent(0, 1).getEventDictinary();
  EXPECT_EQ(keysOf(request), (std::set<std::string>{"event_id", "type", "sub_type", "ubit",
                                                    "from_appid", "s_time", "e_time", "adtype"}));
  EXPECT_EQ(request["s_time"], 1700000000);
  EXPECT_EQ(request["e_time"], 1700000000);
  EXPECT_EQ(request["from_appid"], testing::kTestAppId);

  for (std::int32_t subType : {1, 2}) {
    const Json shown = adEvent(subType, 2).getEventDictinary();
    EXPECT_EQ(shown.size(), 10u) << subType;
    EXPECT_EQ(shown["adid"], "ad-7");
    EXPECT_EQ(shown["to_appid"], "app-9");
    EXPECT_EQ(shown["sub_type"], subType);
  }

  QDXEvent activation;
  activation.sub_type = 6;
  activation.event_id = 0;
  const Json active = activation.getEventDictinary();
  EXPECT_EQ(keysOf(active), (std::set<std::string>{"event_id", "type", "sub_type", "to_appid",
                                                   "s_time", "e_time"}));
  EXPECT_EQ(active["type"], 1) << "the activation form says 1 whatever the property holds";
  EXPECT_EQ(active["to_appid"], testing::kTestAppId) << "the host app id";

  QDXEvent useTime;
  useTime.event_id = 4;
  const Json period = useTime.getUseTimeDictinary();
  EXPECT_EQ(keysOf(period),
            (std::set<std::string>{"event_id", "type", "from_appid", "s_time", "e_time"}));
  EXPECT_EQ(period["type"], 2);
  EXPECT_EQ(period["s_time"], 1699990000);
  EXPECT_EQ(period["e_time"], 1700000000);
}

TEST_F(EventFormsTest, NilStringsAreWrittenAsNullSoEveryKeyStaysPresent) {
  QDXEvent event = adEvent(1, 5);
  event.adid.reset();
  event.to_appid.reset();
  const Json dic = event.getEventDictinary();
  EXPECT_EQ(dic.size(), 10u);
  EXPECT_TRUE(dic["adid"].is_null());
  EXPECT_TRUE(dic["to_appid"].is_null());
}

using PendingFilingTest = LocalReportingTest;

TEST_F(PendingFilingTest, FirstEventMakesOneGroupAndReturnsIt) {
  const Json group = file("S1", 1);
  ASSERT_EQ(pendingGroups().size(), 1u);
  EXPECT_EQ(pendingGroups()[0], group);
  EXPECT_EQ(group["id"], "S1");
  EXPECT_EQ(eventsIn(group), 1u);
}

TEST_F(PendingFilingTest, SameSessionJoinsOncePerOtherEventAlreadyInTheGroup) {
  file("S1", 1);
  Json group = file("S1", 2);
  EXPECT_EQ(eventsIn(group), 2u) << "one other event: appended once";
  group = file("S1", 3);
  EXPECT_EQ(eventsIn(group), 4u) << "two other events: appended twice";
  ASSERT_EQ(pendingGroups().size(), 1u);
  EXPECT_EQ(pendingGroups()[0], group);
}

TEST_F(PendingFilingTest, SameEventIdInTheGroupAddsNothing) {
  file("S1", 1);
  const Json group = file("S1", 1);
  EXPECT_TRUE(group.empty()) << "nothing touched: the empty dictionary";
  ASSERT_EQ(pendingGroups().size(), 1u);
  EXPECT_EQ(eventsIn(pendingGroups()[0]), 1u);
}

TEST_F(PendingFilingTest, NewSessionAmongOthersMakesExactlyOneNewGroup) {
  file("S1", 1);
  file("S2", 2);
  file("S3", 3);
  const Json group = file("S4", 4);
  const auto groups = pendingGroups();
  ASSERT_EQ(groups.size(), 4u);
  EXPECT_EQ(groups[3], group);
  EXPECT_EQ(groups[3]["id"], "S4");
  EXPECT_EQ(eventsIn(groups[3]), 1u);
}

TEST_F(PendingFilingTest, UseTimeAndActivationAreWrappedButNeverFiled) {
  QDXEvent useTime;
  useTime.event_id = 4;
  const Json period = useTime.getUseTimeDictinary();
  EXPECT_EQ(useTime.getEventListDictionary("S1", period, 4)["event_list"][0], period);

  QDXEvent activation;
  activation.sub_type = 6;
  activation.event_id = 0;
  const Json active = activation.getEventDictinary();
  EXPECT_EQ(activation.getEventListDictionary("S2", active, 0)["id"], "S2");
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST").is_null());
}

TEST_F(PendingFilingTest, NilSessionNeverMatchesAStoredGroup) {
  QDXEvent event = adEvent(1, 2);
  const Json dic = event.getEventDictinary();
  const Json first = event.getEventListDictionary(Json(), dic, 2);
  EXPECT_TRUE(first["id"].is_null());
  QDXEvent other = adEvent(2, 3);
  other.getEventListDictionary(Json(), other.getEventDictinary(), 3);
  EXPECT_EQ(pendingGroups().size(), 2u) << "a second nil-session event starts its own group";
}

TEST_F(PendingFilingTest, HaveThisStringMatchesStoredEventTextExactly) {
  QDXEvent event = adEvent(1, 2);
  const Json dic = event.getEventDictinary();
  event.getEventListDictionary("S1", dic, 2);
  EXPECT_TRUE(event.haveThisString(QDXDictionaryAndJSON::jsonStringFromObjectDic(dic).value()));
  Json changed = dic;
  changed["adid"] = "ad-8";
  EXPECT_FALSE(
      event.haveThisString(QDXDictionaryAndJSON::jsonStringFromObjectDic(changed).value()));
}

TEST_F(PendingFilingTest, UnreadableStoredGroupsAreKeptAndMatchNothing) {
  QDXUserDefaults::saveToLocal(Json::array({"not json", 42, "{\"id\":7}"}),
                               "QDX_REPORT_EVENT_LIST");
  file("S1", 1);
  const Json list = QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST");
  ASSERT_EQ(list.size(), 4u);
  EXPECT_EQ(list[0], "not json");
  EXPECT_EQ(list[1], 42);
  QDXEvent().deleteEventOfSuccessReport("S1", Json(), 1);
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST").size(), 3u);
}

using PendingDeleteTest = LocalReportingTest;

Json storedGroup(const std::string& session, std::initializer_list<int> eventIds) {
  Json events = Json::array();
  for (int id : eventIds) events.push_back(Json{{"event_id", id}});
  return Json{{"id", session}, {"event_list", events}};
}

TEST_F(PendingDeleteTest, OneEventGroupIsRemovedThreeEventGroupIsLeftAsItWas) {
  const Json three = storedGroup("THREE", {1, 2, 3});
  const Json one = storedGroup("ONE", {4});
  QDXUserDefaults::saveToLocal(Json::array({three.dump(), one.dump()}), "QDX_REPORT_EVENT_LIST");
  const Json before = QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST");

  QDXEvent().deleteEventOfSuccessReport("THREE", Json(), 3);
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST"), before);

  QDXEvent().deleteEventOfSuccessReport("ONE", Json(), 4);
  const auto groups = pendingGroups();
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0], three);
}

TEST_F(PendingFilingTest, ADifferentSessionAheadOfTheMatchingGroupAlsoFilesANewGroup) {
  QDXUserDefaults::saveToLocal(
      Json::array({storedGroup("OTHER", {1}).dump(), storedGroup("S", {2}).dump()}),
      "QDX_REPORT_EVENT_LIST");
  file("S", 3);
  const auto groups = pendingGroups();
  ASSERT_EQ(groups.size(), 3u) << "the walk meets OTHER first and files the event anew";
  EXPECT_EQ(eventsIn(groups[1]), 2u);
  EXPECT_EQ(groups[2]["id"], "S");
  EXPECT_EQ(eventsIn(groups[2]), 1u);
}

TEST_F(PendingDeleteTest, AdjacentOneEventGroupsOfOneSessionLoseOnlyTheFirst) {
  const Json a = storedGroup("S", {1});
  const Json b = storedGroup("S", {2});
  const Json c = storedGroup("S", {3});
  QDXUserDefaults::saveToLocal(Json::array({a.dump(), b.dump(), c.dump()}),
                               "QDX_REPORT_EVENT_LIST");
  QDXEvent().deleteEventOfSuccessReport("S", Json(), 1);
  const auto groups = pendingGroups();
  ASSERT_EQ(groups.size(), 1u) << "first removed, second skipped, third removed";
  EXPECT_EQ(groups[0], b);
}

TEST_F(PendingDeleteTest, EmptyOrMissingListIsLeftAlone) {
  QDXEvent().deleteEventOfSuccessReport("S", Json(), 1);
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST").is_null());
  QDXUserDefaults::saveToLocal("a string, not a list", "QDX_REPORT_EVENT_LIST");
  QDXEvent().deleteEventOfSuccessReport("S", Json(), 1);
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST"), "a string, not a list");
}

}  // namespace
}  // namespace qdx

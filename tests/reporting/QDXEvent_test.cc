// The event forms and the pending list's filing and delete rules.
#include "reporting/QDXEvent.h"

#include "reporting_fixture.h"

namespace qdx::testing {
namespace {

std::set<std::string> keysOf(const Json& object) {
  std::set<std::string> keys;
  for (auto it = object.begin(); it != object.end(); ++it) keys.insert(it.key());
  return keys;
}

QDXEvent adEvent(std::int32_t subType, std::int64_t eventId) {
  return QDXEvent{.event_id = eventId, .type = 1, .sub_type = subType, .adid = "ad-7",
                  .ubit = "BANNER", .to_appid = "app-9", .s_time = {}, .e_time = {}, .adtype = 1};
}

// Files show event eventId under session and returns the group handed back.
Json file(const Json& session, std::int64_t eventId) {
  QDXEvent event = adEvent(1, eventId);
  return event.getEventListDictionary(session, event.getEventDictinary(), eventId);
}

// A group as "id:event count" ("null:1" for a nil session; "" for none).
std::string summary(const Json& group) {
  return group.empty() ? "" : group["id"].dump() + ":" + std::to_string(group["event_list"].size());
}

std::vector<std::string> storedGroups() {
  std::vector<std::string> groups;
  for (const Json& group : pendingGroups()) groups.push_back(summary(group));
  return groups;
}

using EventFormsTest = LocalReportingTest;

TEST_F(EventFormsTest, EachFormHasExactlyItsKeysAndOnlyAdEventsAreFiled) {
  env_.setNow(1700000000.9);
  QDXUserDefaults::saveToLocal(1699990000, "QDX_S_TIME");
  const std::set<std::string> adKeys = {"event_id", "type",     "sub_type", "adid",   "ubit",
                                        "from_appid", "to_appid", "s_time",   "e_time", "adtype"};
  QDXEvent shown = adEvent(1, 2);
  shown.adid = nullptr;  // a nil id is written as null: the key stays
  QDXEvent activation;
  activation.sub_type = 6;
  const std::vector<std::pair<Json, std::set<std::string>>> forms = {
      {adEvent(0, 1).getEventDictinary(),
       {"event_id", "type", "sub_type", "ubit", "from_appid", "s_time", "e_time", "adtype"}},
      {shown.getEventDictinary(), adKeys},
      {adEvent(2, 3).getEventDictinary(), adKeys},
      {activation.getEventDictinary(),
       {"event_id", "type", "sub_type", "to_appid", "s_time", "e_time"}},
      {QDXEvent().getUseTimeDictinary(), {"event_id", "type", "from_appid", "s_time", "e_time"}}};
  for (const auto& [form, keys] : forms) {
    EXPECT_EQ(keysOf(form), keys) << form.dump();
    EXPECT_EQ(form["e_time"], 1700000000);
  }
  EXPECT_EQ(forms[0].first["s_time"], 1700000000);
  EXPECT_EQ(forms[0].first["from_appid"], kTestAppId);
  EXPECT_TRUE(forms[1].first["adid"].is_null());
  EXPECT_EQ(forms[3].first["type"], 1) << "the activation form says 1 whatever the property holds";
  EXPECT_EQ(forms[3].first["to_appid"], kTestAppId) << "the host app id";
  EXPECT_EQ(forms[4].first["type"], 2);
  EXPECT_EQ(forms[4].first["s_time"], 1699990000) << "the period's start as stored";

  // Activation and use time (told by its five keys) are wrapped, never filed.
  for (const Json& form : {forms[3].first, forms[4].first}) {
    EXPECT_EQ(QDXEvent().getEventListDictionary("S", form, 0),
              (Json{{"id", "S"}, {"event_list", Json::array({form})}}));
  }
  EXPECT_TRUE(stored("QDX_REPORT_EVENT_LIST").is_null());
}

using PendingListTest = LocalReportingTest;

TEST_F(PendingListTest, FilingFollowsTheGroupRules) {
  struct Case {
    const char* what;
    std::vector<std::pair<Json, int>> filings;  // (session, event id), in order
    std::vector<std::string> groups;            // stored afterwards
    std::string returned;                       // the group handed back by the last filing
  };
  const std::vector<Case> cases = {
      {"first event ever: one group of one", {{"S1", 1}}, {R"("S1":1)"}, R"("S1":1)"},
      {"same session: appended once per other event already there, so twice for two",
       {{"S1", 1}, {"S1", 2}, {"S1", 3}}, {R"("S1":4)"}, R"("S1":4)"},
      {"the same event again adds nothing", {{"S1", 1}, {"S1", 1}}, {R"("S1":1)"}, ""},
      {"a new session among others makes exactly one new group",
       {{"S1", 1}, {"S2", 2}, {"S3", 3}}, {R"("S1":1)", R"("S2":1)", R"("S3":1)"}, R"("S3":1)"},
      {"another session ahead of the matching group also files the event anew",
       {{"OTHER", 1}, {"S", 2}, {"S", 3}}, {R"("OTHER":1)", R"("S":2)", R"("S":1)"}, R"("S":2)"},
      {"a nil session matches no stored group", {{nullptr, 2}, {nullptr, 3}},
       {"null:1", "null:1"}, "null:1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    QDXUserDefaults::removeObjectFromLocal("QDX_REPORT_EVENT_LIST");
    Json returned;
    for (const auto& [session, id] : c.filings) returned = file(session, id);
    EXPECT_EQ(storedGroups(), c.groups);
    EXPECT_EQ(summary(returned), c.returned);
  }
}

TEST_F(PendingListTest, DeletingRemovesOnlyOneEventGroupsAndSkipsTheOneAfterARemoval) {
  struct Case {
    const char* what;
    std::vector<std::pair<std::string, std::size_t>> groups;  // (id, event count), in order
    std::string session;
    std::vector<std::size_t> left;  // indexes of the groups that stay
  };
  const std::vector<Case> cases = {
      {"a group of three is left as it was", {{"THREE", 3}, {"ONE", 1}}, "THREE", {0, 1}},
      {"a group of one is removed", {{"THREE", 3}, {"ONE", 1}}, "ONE", {0}},
      {"adjacent groups of one: first removed, second skipped, third removed",
       {{"S", 1}, {"S", 1}, {"S", 1}}, "S", {1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Json list = Json::array();
    for (const auto& [id, count] : c.groups) {  // event ids are not consulted
      list.push_back(Json{{"id", id}, {"event_list", Json(count, Json{{"event_id", 1}})}}.dump());
    }
    QDXUserDefaults::saveToLocal(list, "QDX_REPORT_EVENT_LIST");
    QDXEvent().deleteEventOfSuccessReport(c.session, Json(), 1);
    Json expected = Json::array();
    for (std::size_t index : c.left) expected.push_back(list[index]);
    EXPECT_EQ(stored("QDX_REPORT_EVENT_LIST"), expected) << "kept byte for byte";
  }
}

TEST_F(PendingListTest, AMissingOrUnreadableListIsNeitherLostNorMatched) {
  QDXEvent().deleteEventOfSuccessReport("S", Json(), 1);
  EXPECT_TRUE(stored("QDX_REPORT_EVENT_LIST").is_null());
  const Json unreadable = Json::array({"not json", 42, "{\"id\":7}"});
  QDXUserDefaults::saveToLocal(unreadable, "QDX_REPORT_EVENT_LIST");
  file("S1", 1);
  ASSERT_EQ(stored("QDX_REPORT_EVENT_LIST").size(), 4u) << "no stored group matched: a new one";
  QDXEvent().deleteEventOfSuccessReport("S1", Json(), 1);
  EXPECT_EQ(stored("QDX_REPORT_EVENT_LIST"), unreadable);
}

}  // namespace
}  // namespace qdx::testing

#include "reporting/QDXEvent.h"

#include "common/json_access.h"
#include "common/time_format.h"
#include "platform/env.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "sdk/store_keys.h"

namespace qdx {

namespace {

Json optionalString(const std::optional<std::string>& value) {
  return value ? Json(*value) : Json();
}

std::int64_t nowWholeSeconds() { return wholeSeconds(Env::Default()->now()); }

Json hostAppId() { return QDXUserDefaults::getObjectFromLocal(keys::kAppId); }

// The stored pending list; anything but an array reads as empty.
Json readPendingList() {
  Json stored = QDXUserDefaults::getObjectFromLocal(keys::kReportEventList);
  return stored.is_array() ? stored : Json::array();
}

void savePendingList(const Json& list) {
  QDXUserDefaults::saveToLocal(list, keys::kReportEventList);
}

std::string textOf(const Json& value) {
  return QDXDictionaryAndJSON::jsonStringFromObjectDic(value).value_or("");
}

// One stored group, parsed; a string that does not parse (or an element
// that is not a string) gives an empty group, which matches no session.
Json parseGroup(const Json& stored) {
  std::optional<std::string> text = json::asString(stored);
  Json group = text ? QDXDictionaryAndJSON::dictionaryFromJsonString(*text) : Json();
  return group.is_object() ? group : Json::object();
}

// Session ids match only as equal strings: a nil session matches nothing.
bool sameSession(const Json& group, const Json& sessionId) {
  std::optional<std::string> stored = json::stringMember(group, "id");
  std::optional<std::string> wanted = json::asString(sessionId);
  return stored && wanted && *stored == *wanted;
}

// True when some event of some group of list has exactly eventText as its
// JSON text.
bool containsEventText(const Json& list, const std::string& eventText) {
  for (const Json& stored : list) {
    const Json group = parseGroup(stored);
    const Json& events = json::member(group, "event_list");
    if (!events.is_array()) continue;
    for (const Json& element : events) {
      if (textOf(element) == eventText) return true;
    }
  }
  return false;
}

Json newGroup(const Json& sessionId, const Json& event) {
  Json group = Json::object();
  group["id"] = sessionId;
  group["event_list"] = Json::array({event});
  return group;
}

}  // namespace

Json QDXEvent::getEventDictinary() const {
  const std::int64_t now = nowWholeSeconds();
  Json dic = Json::object();
  if (sub_type == 0) {
    dic["event_id"] = event_id;
    dic["type"] = type;
    dic["sub_type"] = sub_type;
    dic["ubit"] = optionalString(ubit);
    dic["from_appid"] = hostAppId();
    dic["s_time"] = now;
    dic["e_time"] = now;
    dic["adtype"] = adtype;
  } else if (sub_type == 6) {
    dic["event_id"] = event_id;
    dic["type"] = 1;
    dic["sub_type"] = sub_type;
    dic["to_appid"] = hostAppId();
    dic["s_time"] = now;
    dic["e_time"] = now;
  } else {
    dic["event_id"] = event_id;
    dic["type"] = type;
    dic["sub_type"] = sub_type;
    dic["adid"] = adid;
    dic["ubit"] = optionalString(ubit);
    dic["from_appid"] = hostAppId();
    dic["to_appid"] = to_appid;
    dic["s_time"] = now;
    dic["e_time"] = now;
    dic["adtype"] = adtype;
  }
  return dic;
}

Json QDXEvent::getUseTimeDictinary() const {
  Json dic = Json::object();
  dic["event_id"] = event_id;
  dic["type"] = 2;
  dic["from_appid"] = hostAppId();
  dic["s_time"] = QDXUserDefaults::getObjectFromLocal(keys::kUseTimeStart);
  dic["e_time"] = nowWholeSeconds();
  return dic;
}

Json QDXEvent::getEventListDictionary(const Json& sessionId, const Json& event,
                                      const Json& eventId) const {
  // The use-time form is told by its five keys; activation by its kind.
  if (event.is_object() && event.size() == 5) return newGroup(sessionId, event);
  if (json::integerMember(event, "sub_type") == 6) return newGroup(sessionId, event);

  Json list = readPendingList();
  Json result = Json::object();
  if (list.empty()) {
    result = newGroup(sessionId, event);
    list.push_back(textOf(result));
    savePendingList(list);
    return result;
  }

  const std::optional<std::int64_t> wantedId = json::asInteger(eventId);
  const std::string eventText = textOf(event);
  // Whether haveThisString() would find the event in the stored list. The
  // list changes below only by gaining this very event, so the answer is
  // computed once and then follows those changes: the same results as
  // asking the store each time, with one parse of the list per filing.
  bool eventStored = containsEventText(list, eventText);
  const std::size_t countAtStart = list.size();
  for (std::size_t i = 0; i < countAtStart; ++i) {
    Json group = parseGroup(list[i]);
    if (sameSession(group, sessionId)) {
      const Json& stored = json::member(group, "event_list");
      Json events = stored.is_array() ? stored : Json::array();
      const Json snapshot = events;
      for (const Json& element : snapshot) {
        if (json::integerMember(element, "event_id") == wantedId) continue;
        // Appended once per differing element: deliberate duplication.
        events.push_back(event);
        group["event_list"] = events;
        list[i] = textOf(group);
        savePendingList(list);
        eventStored = true;
        result = group;
      }
    } else if (!eventStored) {
      Json fresh = newGroup(sessionId, event);
      list.push_back(textOf(fresh));
      savePendingList(list);
      eventStored = true;
      result = fresh;
    }
  }
  return result;
}

bool QDXEvent::haveThisString(const std::string& eventText) const {
  return containsEventText(readPendingList(), eventText);
}

void QDXEvent::deleteEventOfSuccessReport(const Json& sessionId, const Json& /*event*/,
                                          const Json& /*eventId*/) const {
  Json list = readPendingList();
  if (list.empty()) return;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const Json group = parseGroup(list[i]);
    if (!sameSession(group, sessionId)) continue;
    const Json& stored = json::member(group, "event_list");
    Json events = stored.is_array() ? stored : Json::array();
    // The last element goes, whatever its id; the shortened copy is never
    // written back, so only a group of one event disappears.
    if (!events.empty()) events.erase(events.end() - 1);
    if (events.empty()) list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
    savePendingList(list);
  }
}

}  // namespace qdx

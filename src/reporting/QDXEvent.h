#pragma once
// One statistics event and the keeper of the pending-event list.
//
// An event turns into one of four JSON forms (request, show/click,
// activation, use time). Ad events are filed, wrapped in an event group
// {"id": session id, "event_list": [...]}, under "QDX_REPORT_EVENT_LIST"
// in the local store (an array of group JSON texts, in insertion order)
// until the server acknowledges them.
//
// Every filing and every delete reads, parses and saves the whole list;
// these read-modify-write sequences are not atomic across threads.
#include <cstdint>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

// Local-store key of the pending list.

class QDXEvent {
 public:
  // Fields, named as their JSON keys. A nil string is nullopt and is
  // written as JSON null; a nil number is a null Json. The two ids are
  // written unchanged, whatever kind of value the server sent (a number
  // stays a number); null when absent.
  Json event_id;                    // integer number from the reporter's counter
  std::int32_t type = 0;            // 1 ad event, 2 use time, 0 unset
  std::int32_t sub_type = 0;        // 0 request, 1 show, 2 click, 6 activation
  Json adid;                        // the ad's id
  std::optional<std::string> ubit;
  Json to_appid;                    // the advertised app's id as the server gave it
  Json s_time;                      // declared for completeness; no form reads it
  Json e_time;                      // declared for completeness; no form reads it
  std::int64_t adtype = 0;

  // The event's JSON in the form chosen by sub_type: 0 -> request form
  // (8 keys), 6 -> activation form (6 keys, "type" always 1, "to_appid"
  // the host app id), anything else -> show/click form (10 keys). Times
  // are now in whole seconds; "from_appid" is the value under "QDX_APP_ID".
  Json getEventDictinary() const;

  // The use-time form (5 keys): "event_id", "type" 2, "from_appid",
  // "s_time" = the value under "QDX_S_TIME", "e_time" = now.
  Json getUseTimeDictinary() const;

  // The event group {"id": sessionId, "event_list": [...]} to send for
  // event. Use-time (5-key) and activation events are only wrapped. Other
  // events are filed in the pending list: as a first group when it is
  // empty; appended to the group of the same session once per element
  // whose "event_id" differs from eventId (a group of two other events
  // gains the event twice; kept deliberately); or as one new group when the
  // session differs and the event's text is not stored yet. Returns the
  // group last touched, or an empty object when nothing was touched.
  Json getEventListDictionary(const Json& sessionId, const Json& event, const Json& eventId) const;

  // True when some event of some stored group has exactly eventText as its
  // JSON text.
  bool haveThisString(const std::string& eventText) const;

  // After an acknowledgement: removes every stored group of sessionId that
  // holds exactly one event (the group after a removed one is skipped).
  // Groups of two or more events stay as they are (they are cleared by the
  // start-up resend). event and eventId are not consulted.
  void deleteEventOfSuccessReport(const Json& sessionId, const Json& event,
                                  const Json& eventId) const;
};

}  // namespace qdx

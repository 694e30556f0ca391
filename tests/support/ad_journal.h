#pragma once
// What the ad tests share: the host identity every envelope needs, and
// the event reports the reference server journaled, by kind.
#include <string>
#include <vector>

#include "common/json.h"
#include "common/json_access.h"
#include "sdk/QDXUserDefaults.h"
#include "support/reference_server.h"

namespace qdx::testing {

// The event kinds ("sub_type") of the reporter's event records.
inline constexpr int kRequestEvent = 0;
inline constexpr int kShowEvent = 1;
inline constexpr int kClickEvent = 2;

// Stores the app id, key and channel of the reference server's test app.
inline void storeHostIdentity() {
  QDXUserDefaults::saveToLocal(10001, "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(ReferenceServer::kAppKey, "QDX_APP_KEY");
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
}

// The newest event of every journaled event report of kind subType, oldest
// report first.
inline std::vector<Json> journaledEvents(const ReferenceServer& server, int subType) {
  std::vector<Json> found;
  for (const Json& entry : server.entriesFor("report_event")) {
    const Json& list = json::member(json::member(entry, "body"), "event_list");
    if (list.is_array() && !list.empty() && json::member(list.back(), "sub_type") == subType) {
      found.push_back(list.back());
    }
  }
  return found;
}

// True when the journal holds an event report of kind subType for ad type
// adType and, when toAppId is not empty, for that app.
inline bool journalHolds(const ReferenceServer& server, int subType, int adType,
                         const std::string& toAppId = "") {
  for (const Json& event : journaledEvents(server, subType)) {
    if (json::member(event, "adtype") != adType) continue;
    if (toAppId.empty() || json::member(event, "to_appid") == toAppId) return true;
  }
  return false;
}

}  // namespace qdx::testing

#pragma once
// The ad list: the deciphered "get_recommend_list" payload, and the one
// request step that fetches it. The ad manager (banner and wall) and the
// custom-slot view both request through requestAdList(), and read what came
// back only through the accessors below, so a malformed answer (an
// "applist" that is no array, an entry without "adlist", numbers where
// strings belong) reads as absent values and never throws.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qdx/QDXADDelegate.h"
#include "common/json.h"

namespace qdx {

// Keys of the payload, its app entries and their ad entries.
namespace adkeys {
inline constexpr const char kAppList[] = "applist";
inline constexpr const char kAppId[] = "appid";
inline constexpr const char kAppName[] = "appname";
inline constexpr const char kIcon[] = "icon";
inline constexpr const char kUseCount[] = "use_count";
inline constexpr const char kAdList[] = "adlist";
inline constexpr const char kAdId[] = "ad_id";
inline constexpr const char kAdUrl[] = "ad_url";
inline constexpr const char kAdDownUrl[] = "ad_down_url";
inline constexpr const char kAdDesc[] = "ad_desc";
inline constexpr const char kExpand[] = "expand";
}  // namespace adkeys

// The body of an ad-list request, in key order: "timestamp" (now in
// milliseconds, "%.f"), "screen" (the main screen in pixels, "%.0f*%.0f")
// and "ad_type" (a number).
Json adListRequestBody(std::int32_t adType);

// Posts the ad-list request for adType synchronously (blocking the calling
// thread up to the 10-second time-out) and reads the answer:
// - no answer: returns an empty object; the delegate hears nothing;
// - "retcode" other than 0: an empty object; when logRefusal is set,
//   "请求失败：%@" (the "retcode") and "message：%@" (the "errmsg") are
//   logged while debugging; the delegate hears nothing;
// - "retcode" 0, or none readable (an answer that is not JSON, an error
//   page): the deciphered "data" parsed as the payload, or, when nothing
//   deciphers, an empty object after the delegate's onNoAD(-4102); in both
//   cases the delegate's onADLoaded follows.
// The host's delegate is asked for at each call (hostDelegate may return
// null, or be empty): a delegate replaced or released while the post runs
// is not called. The result is always a JSON object.
using HostDelegateSource = std::function<std::shared_ptr<QDXADDelegate>()>;
Json requestAdList(std::int32_t adType, const HostDelegateSource& hostDelegate, bool logRefusal);

// --- Reading a payload ------------------------------------------------------

// The number of app entries in payload's "applist" (0 when it is missing
// or not an array).
std::size_t appCount(const Json& payload);
// App entry index of payload's "applist"; null when there is none.
const Json& appAt(const Json& payload, std::size_t index);
// The first ad entry (adlist[0]) of an app entry; null when there is none.
const Json& firstAdOf(const Json& app);

// The ids an ad's reports carry, as the server gave them: the "ad_id" of
// the app's first ad entry and the app's "appid". Nothing is validated: a
// number stays a number, an object an object; null stands for absent.
struct AdIds {
  Json adid;
  Json app_id;
  // Both ids are there (not null), whatever their kind.
  bool bothPresent() const { return !adid.is_null() && !app_id.is_null(); }
};
// The ids of an app entry (both null for a missing entry).
AdIds idsOfApp(const Json& app);

// A text member of an entry: a string as it is, a number or boolean in the
// platform's "%@" description (20001 -> "20001"); absent for anything else.
std::optional<std::string> textMember(const Json& entry, const char* key);
// textMember of an app entry, and of its first ad entry.
std::optional<std::string> appText(const Json& app, const char* key);
std::optional<std::string> adText(const Json& app, const char* key);

}  // namespace qdx

#pragma once
// Every key the SDK keeps between launches, in the local store and in the
// keychain: this header is their one home. The store is shared with the
// host app, so every key carries the "QDX_" prefix or another fixed form.
#include <cstdint>
#include <string>

#include "common/json.h"

namespace qdx::keys {

// --- Local store ----------------------------------------------------------
// The host's identity at the last start (number, string, string, string).
inline constexpr const char kAppId[] = "QDX_APP_ID";
inline constexpr const char kAppKey[] = "QDX_APP_KEY";
inline constexpr const char kChannel[] = "QDX_CHANNEL";
inline constexpr const char kAppVersion[] = "QDX_APP_VERSION";
// Whole seconds since 1970: the start of the current use-time period.
inline constexpr const char kUseTimeStart[] = "QDX_S_TIME";
// Boolean, raised by sdkTerminate, lowered by the timer tick.
inline constexpr const char kBackground[] = "QDXBACKGROUND";
// The last global configuration, kept as received.
inline constexpr const char kGlobalConfig[] = "QDX_Global_Config";
// The pending list: event groups awaiting acknowledgement, as JSON texts.
inline constexpr const char kReportEventList[] = "QDX_REPORT_EVENT_LIST";
// The use-time group awaiting acknowledgement.
inline constexpr const char kUseTimeEventList[] = "QDX_USE_TIME_EVENT_LIST";
// The ad type whose utype report last failed (0 or absent: none).
inline constexpr const char kUbitAdType[] = "QDX_UBIT_ADTYPE";
// Once-only flags of the utype report, per kind of ad.
inline constexpr const char kUtypeSuccessBanner[] = "REPORT_UTYPE_SUCCESS_BANNER";
inline constexpr const char kUtypeSuccessRecommend[] = "REPORT_UTYPE_SUCCESS_RECOMMEND";
inline constexpr const char kUtypeSuccessCustom[] = "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit";
// The once-only flag of adType's utype report: the banner's (1), the
// wall's (4) or the custom slots' shared one (7, 8, 9); nullptr for any
// other kind, which has none.
const char* utypeSuccessFlagFor(std::int64_t adType);

// The run stamp's key: "%@0000" of the stored app id's description
// (app id 123 gives "1230000").
std::string runStampKey(const std::string& appIdDescription);
// The session-link key "%@%@%ld" of (app id, ad id, ad type). The ids are
// the server's values, described as text by json::describe: a string as it
// is, a number in its shortest form (9001 -> "9001"), an absent (null) id
// "(null)".
std::string sessionLinkKey(const Json& appId, const Json& adId, std::int64_t adType);
// The once-a-day click key of a custom slot: "%@%ld" of (app id, ad type),
// the app id described as for sessionLinkKey.
std::string dailyClickKey(const Json& appId, std::int64_t adType);

// --- Keychain ---------------------------------------------------------------
// The server-assigned device id.
inline constexpr const char kDeviceId[] = "QDX_Dev_ID";
// Activation acknowledged (boolean).
inline constexpr const char kReportActive[] = "QDX_REPORT_ACTIVE";
// The app version last reported as base information. The same name as the
// local store's kAppVersion, with another meaning: both are kept.
inline constexpr const char kReportedAppVersion[] = "QDX_APP_VERSION";

}  // namespace qdx::keys

#pragma once
// The daily click stamp: a date written "YYYY-MM-dd", whose "YYYY" is the
// week-based year of the locale's calendar. Around New Year it can differ
// from the calendar year (in en_US, 28 December 2025 is "2026-12-28");
// the once-a-day click key compares these stamps, so the quirk is kept.
#include <string>

namespace qdx {

// The stamp of the instant secondsSince1970 in the given locale identifier
// ("en_US", "de_DE") and the process's time zone (the device's). Empty
// when the formatter cannot be made.
std::string dayStamp(double secondsSince1970, const std::string& locale);

// The stamp of now, in the device's locale and time zone (through Env).
std::string todayStamp();

}  // namespace qdx

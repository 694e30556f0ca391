#pragma once
// The usage ("utype") report gate of an ad-list request: whether a request
// sends its kind's usage report or skips it as already sent for this app
// version. The ad manager (banner and wall) and the custom-slot view share
// it; what they differ in is given as parameters.
#include <cstdint>

namespace qdx {

// The kinds of ad whose once-only success flag a caller consults; a kind
// outside them sends its report on every request.
enum class UsageReportKinds {
  kBannerAndWall,  // the ad manager: types 1 and 4, each with its own flag
  kCustomSlots,    // the custom-slot view: types 7, 8 and 9, one shared flag
};

// True when the usage report of adType is skipped, which needs all of:
// - adType is one of kinds and its success flag (keys::utypeSuccessFlagFor)
//   reads as a non-zero integer;
// - the bundle's "CFBundleShortVersionString" is present and equals the
//   string stored under "QDX_APP_VERSION" (a bundle without a version
//   matches nothing, not even a stored "");
// - sameKindAsLastReport, the caller's own condition: for the ad manager,
//   the kind of its last usage report in this run is adType; the
//   custom-slot view passes true.
bool usageReportSkipped(std::int64_t adType, UsageReportKinds kinds, bool sameKindAsLastReport);

// Sends the usage report of adType (asynchronously, through
// QDXStatisticManager::reportUType_active) unless usageReportSkipped says
// otherwise. Returns true when it was sent.
bool reportUsageUnlessSkipped(std::int64_t adType, UsageReportKinds kinds,
                              bool sameKindAsLastReport);

}  // namespace qdx

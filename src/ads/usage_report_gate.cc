#include "ads/usage_report_gate.h"

#include <optional>
#include <string>

#include "common/json_access.h"
#include "platform/env.h"
#include "reporting/QDXStatisticManager.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {
namespace {

bool inKinds(std::int64_t adType, UsageReportKinds kinds) {
  switch (kinds) {
    case UsageReportKinds::kBannerAndWall:
      return adType == 1 || adType == 4;
    case UsageReportKinds::kCustomSlots:
      return adType == 7 || adType == 8 || adType == 9;
  }
  return false;
}

}  // namespace

bool usageReportSkipped(std::int64_t adType, UsageReportKinds kinds, bool sameKindAsLastReport) {
  if (!sameKindAsLastReport || !inKinds(adType, kinds)) return false;
  const char* flag = keys::utypeSuccessFlagFor(adType);
  if (!flag || json::asInteger(QDXUserDefaults::getObjectFromLocal(flag)).value_or(0) == 0) {
    return false;
  }
  // Compared as the platform compares strings: an absent version equals
  // nothing.
  const std::optional<std::string> bundleVersion =
      Env::Default()->bundleInfo("CFBundleShortVersionString");
  const std::optional<std::string> storedVersion =
      json::asString(QDXUserDefaults::getObjectFromLocal(keys::kAppVersion));
  return bundleVersion.has_value() && storedVersion == bundleVersion;
}

bool reportUsageUnlessSkipped(std::int64_t adType, UsageReportKinds kinds,
                              bool sameKindAsLastReport) {
  if (usageReportSkipped(adType, kinds, sameKindAsLastReport)) return false;
  QDXStatisticManager::reportUType_active(adType);
  return true;
}

}  // namespace qdx

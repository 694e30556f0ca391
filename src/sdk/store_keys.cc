#include "sdk/store_keys.h"

namespace qdx::keys {
namespace {

std::string describeId(const std::optional<std::string>& id) { return id ? *id : "(null)"; }

}  // namespace

std::string runStampKey(const std::string& appIdDescription) { return appIdDescription + "0000"; }

std::string sessionLinkKey(const std::optional<std::string>& appId,
                           const std::optional<std::string>& adId, std::int64_t adType) {
  return describeId(appId) + describeId(adId) + std::to_string(adType);
}

std::string dailyClickKey(const std::optional<std::string>& appId, std::int64_t adType) {
  return describeId(appId) + std::to_string(adType);
}

}  // namespace qdx::keys

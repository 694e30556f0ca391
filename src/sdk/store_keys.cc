#include "sdk/store_keys.h"

#include "common/json_access.h"

namespace qdx::keys {

const char* utypeSuccessFlagFor(std::int64_t adType) {
  switch (adType) {
    case 1:
      return kUtypeSuccessBanner;
    case 4:
      return kUtypeSuccessRecommend;
    case 7:
    case 8:
    case 9:
      return kUtypeSuccessCustom;
    default:
      return nullptr;
  }
}

std::string runStampKey(const std::string& appIdDescription) { return appIdDescription + "0000"; }

std::string sessionLinkKey(const Json& appId, const Json& adId, std::int64_t adType) {
  return json::describe(appId) + json::describe(adId) + std::to_string(adType);
}

std::string dailyClickKey(const Json& appId, std::int64_t adType) {
  return json::describe(appId) + std::to_string(adType);
}

}  // namespace qdx::keys

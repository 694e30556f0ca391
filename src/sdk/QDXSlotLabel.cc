#include "sdk/QDXSlotLabel.h"

namespace qdx {

std::optional<std::string> presentationSlotLabel(std::int32_t adType, std::int32_t bannerType) {
  switch (adType) {
    case 1:
      switch (bannerType) {
        case 1: return "banner上部展示";
        case 2: return "banner中部展示";
        case 3: return "banner下部展示";
        default: return std::nullopt;
      }
    case 2: return "半屏插屏展示";
    case 3: return "通知展示";
    case 4: return "推荐墙展示";
    case 5: return "全屏插屏展示";
    default: return std::nullopt;
  }
}

std::optional<std::string> customSlotLabel(std::int32_t adType) {
  switch (adType) {
    case 7: return "自定义U位-原生banner";
    case 8: return "自定义U位-文案形式";
    case 9: return "自定义U位-图文形式";
    default: return std::nullopt;
  }
}

std::optional<std::string> slotLabel(std::int32_t adType, std::int32_t bannerType) {
  if (auto label = presentationSlotLabel(adType, bannerType)) return label;
  return customSlotLabel(adType);
}

}  // namespace qdx

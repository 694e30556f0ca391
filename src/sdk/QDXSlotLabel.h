#pragma once
// The slot label ("ubit") reported with events, by ad type and, for
// banners, banner type.
#include <cstdint>
#include <optional>
#include <string>

namespace qdx {

// The label of the presented kinds: 1 by banner type ("banner上部展示",
// "banner中部展示", "banner下部展示"), 2 "半屏插屏展示", 3 "通知展示",
// 4 "推荐墙展示", 5 "全屏插屏展示". Absent for a banner whose banner type
// is outside 1 to 3 and for every other ad type (custom slots included).
std::optional<std::string> presentationSlotLabel(std::int32_t adType, std::int32_t bannerType);

// The label of the custom slots: 7 "自定义U位-原生banner", 8 "自定义U位-文案形式",
// 9 "自定义U位-图文形式"; absent for every other type.
std::optional<std::string> customSlotLabel(std::int32_t adType);

// Either of the above: the full table of ad types.
std::optional<std::string> slotLabel(std::int32_t adType, std::int32_t bannerType);

}  // namespace qdx

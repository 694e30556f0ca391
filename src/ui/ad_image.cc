#include "ui/ad_image.h"

#include "kit/image_decode.h"
#include "transport/QDXImageCache.h"

namespace qdx {

std::optional<std::string> adImageData(const std::optional<std::string>& url) {
  if (!url) return std::nullopt;
  std::optional<std::string> data = QDXImageCache::shareInstance().getImageFromString(*url);
  // The bytes stay cached: only the size of what they decode to is refused.
  if (data && kit::exceedsPixelBudget(*data)) return std::nullopt;
  return data;
}

}  // namespace qdx

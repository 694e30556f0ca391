// Any bytes must decode or be refused without a fault; a decoded image
// must be consistent: pixels for its whole area, colour never above alpha.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qdx/kit/Image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  auto image = qdx::kit::Image::imageWithData(bytes);
  if (!image) return 0;
  if (image->pixelWidth() <= 0 || image->pixelHeight() <= 0) std::abort();
  if (image->pixels().size() !=
      static_cast<std::size_t>(image->pixelWidth()) * static_cast<std::size_t>(image->pixelHeight())) {
    std::abort();
  }
  for (std::uint32_t p : image->pixels()) {
    std::uint32_t a = p >> 24;
    if (((p >> 16) & 0xFF) > a || ((p >> 8) & 0xFF) > a || (p & 0xFF) > a) std::abort();
  }
  return 0;
}

#pragma once
// PNG and JPEG decoding into premultiplied 0xAARRGGBB pixels.
#include <cstdint>
#include <string>
#include <vector>

namespace qdx::kit {

struct DecodedPixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;
};

// Images above this many pixels are refused rather than allocated.
inline constexpr std::uint64_t kMaxDecodedPixels = 64ull * 1024 * 1024;

// Decodes bytes by their signature. False for anything else, for damaged
// data and for images over kMaxDecodedPixels.
bool decodeImage(const std::string& bytes, DecodedPixels& out);

}  // namespace qdx::kit

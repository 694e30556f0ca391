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

// Images wider or taller than this many pixels are refused rather than
// decoded: one such image would take 64 MiB of pixels, and a view that keeps
// a blurred copy as much again.
inline constexpr int kMaxImageSide = 4096;

// Decodes bytes by their signature. False for anything else, for damaged
// data and for images over kMaxImageSide either way (logged while
// debugging).
bool decodeImage(const std::string& bytes, DecodedPixels& out);

// True when bytes are a PNG or JPEG whose header gives a side over
// kMaxImageSide (logged while debugging, as decodeImage does). Reads the
// header only, so callers can treat such an image as missing before they
// decide anything on its bytes.
bool exceedsPixelBudget(const std::string& bytes);

}  // namespace qdx::kit

#pragma once
// Decoded bitmaps. An Image is immutable once made and may be shared across
// threads.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Geometry.h"

namespace qdx::kit {

class QDX_EXPORT Image {
 public:
  // Decodes PNG or JPEG bytes. Returns nullptr for absent, empty or
  // undecodable data (never throws). The image's scale is 1, so its size in
  // points equals its size in pixels.
  static std::shared_ptr<Image> imageWithData(const std::optional<std::string>& data);

  // Wraps pixels of width x height, row after row, each a 32-bit
  // 0xAARRGGBB value with premultiplied colour. Returns nullptr when the
  // dimensions are not positive or pixels has the wrong count.
  static std::shared_ptr<Image> imageWithPixels(int width, int height,
                                                std::vector<std::uint32_t> pixels,
                                                double scale = 1);

  // Size in points (pixels divided by scale).
  Size size() const;
  double scale() const { return scale_; }
  int pixelWidth() const { return width_; }
  int pixelHeight() const { return height_; }
  // Premultiplied 0xAARRGGBB pixels, row-major, pixelWidth() per row.
  const std::vector<std::uint32_t>& pixels() const { return pixels_; }
  // The colour of one pixel, un-premultiplied; clear outside the image.
  Color colorAt(int x, int y) const;

  Image(int width, int height, std::vector<std::uint32_t> pixels, double scale);

 private:
  int width_;
  int height_;
  std::vector<std::uint32_t> pixels_;
  double scale_;
};

}  // namespace qdx::kit

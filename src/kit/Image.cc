#include "qdx/kit/Image.h"

#include <exception>

#include "kit/decoded_image_memo.h"
#include "kit/image_decode.h"

namespace qdx::kit {

Image::Image(int width, int height, std::vector<std::uint32_t> pixels, double scale)
    : width_(width), height_(height), pixels_(std::move(pixels)), scale_(scale > 0 ? scale : 1) {}

std::shared_ptr<Image> Image::imageWithData(const std::optional<std::string>& data) {
  if (!data || data->empty()) return nullptr;
  try {
    DecodedImageMemo& memo = DecodedImageMemo::shared();
    if (std::shared_ptr<Image> known = memo.find(*data)) return known;
    DecodedPixels decoded;
    if (!decodeImage(*data, decoded)) return nullptr;
    auto image = std::make_shared<Image>(decoded.width, decoded.height, std::move(decoded.pixels), 1);
    memo.keep(*data, image);
    return image;
  } catch (const std::exception&) {
    return nullptr;  // e.g. an allocation failure on absurd dimensions
  }
}

std::shared_ptr<Image> Image::imageWithPixels(int width, int height,
                                              std::vector<std::uint32_t> pixels, double scale) {
  if (width <= 0 || height <= 0) return nullptr;
  if (pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
    return nullptr;
  }
  return std::make_shared<Image>(width, height, std::move(pixels), scale);
}

Size Image::size() const { return {width_ / scale_, height_ / scale_}; }

Color Image::colorAt(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return Color::clear();
  std::uint32_t p = pixels_[static_cast<std::size_t>(y) * width_ + x];
  double a = ((p >> 24) & 0xFF) / 255.0;
  if (a == 0) return Color::clear();
  auto channel = [&](int shift) { return ((p >> shift) & 0xFF) / 255.0 / a; };
  return {channel(16), channel(8), channel(0), a};
}

}  // namespace qdx::kit

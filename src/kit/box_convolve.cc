#include "kit/box_convolve.h"

#include <algorithm>
#include <cstddef>

namespace qdx::kit {
namespace {

std::size_t clampIndex(long i, long size) {
  return static_cast<std::size_t>(std::clamp(i, 0L, size - 1));
}

// Horizontal window sums of one channel (shift selects it), each row on its
// own, with edge extension. Sums stay below 255 * 2^20 + 255.
void rowSums(const std::vector<std::uint32_t>& src, long width, long height, int shift,
             long radius, std::vector<std::uint32_t>& out) {
  auto at = [&](long row, long x) { return (src[row * width + clampIndex(x, width)] >> shift) & 0xFFu; };
  for (long y = 0; y < height; ++y) {
    std::uint32_t sum = 0;
    for (long i = -radius; i <= radius; ++i) sum += at(y, i);
    for (long x = 0; x < width; ++x) {
      out[y * width + x] = sum;
      sum += at(y, x + radius + 1);
      sum -= at(y, x - radius);
    }
  }
}

}  // namespace

long boxConvolve8888(const std::vector<std::uint32_t>& src, int width, int height,
                     long kernelHeight, long kernelWidth, std::vector<std::uint32_t>& dest) {
  if (width <= 0 || height <= 0 ||
      src.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
    return kBoxConvolveBufferSizeMismatch;
  }
  auto validSide = [](long k) { return k > 0 && k % 2 == 1 && k <= kBoxConvolveMaxKernelSide; };
  if (!validSide(kernelHeight) || !validSide(kernelWidth)) return kBoxConvolveInvalidKernelSize;

  const long w = width, h = height;
  const long rx = kernelWidth / 2, ry = kernelHeight / 2;
  const std::uint64_t divisor = static_cast<std::uint64_t>(kernelWidth) * kernelHeight;
  std::vector<std::uint32_t> out(src.size(), 0);
  std::vector<std::uint32_t> rows(src.size());
  for (int shift = 0; shift < 32; shift += 8) {
    rowSums(src, w, h, shift, rx, rows);
    auto at = [&](long y, long x) -> std::uint64_t { return rows[clampIndex(y, h) * w + x]; };
    for (long x = 0; x < w; ++x) {
      std::uint64_t sum = 0;
      for (long j = -ry; j <= ry; ++j) sum += at(j, x);
      for (long y = 0; y < h; ++y) {
        auto mean = static_cast<std::uint32_t>((sum + divisor / 2) / divisor);
        out[y * w + x] |= mean << shift;
        sum += at(y + ry + 1, x);
        sum -= at(y - ry, x);
      }
    }
  }
  dest = std::move(out);
  return kBoxConvolveNoError;
}

}  // namespace qdx::kit

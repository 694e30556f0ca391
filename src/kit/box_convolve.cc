#include "kit/box_convolve.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qdx::kit {
namespace {

constexpr std::size_t kChannels = 4;

// Horizontal window sums of every channel of one row (4 bytes per pixel),
// edge-extended: the row is first copied between rx repeats of its end
// pixels, so the running sum needs no bounds checks.
void rowSums(const std::uint8_t* row, std::size_t width, std::size_t rx, std::vector<std::uint8_t>& padded,
             std::uint32_t* out) {
  std::uint8_t* p = padded.data();
  for (std::size_t i = 0; i < rx; ++i) std::memcpy(p + i * kChannels, row, kChannels);
  std::memcpy(p + rx * kChannels, row, width * kChannels);
  for (std::size_t i = 0; i < rx; ++i) {
    std::memcpy(p + (rx + width + i) * kChannels, row + (width - 1) * kChannels, kChannels);
  }
  std::uint32_t sum[kChannels] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < 2 * rx + 1; ++i) {
    for (std::size_t c = 0; c < kChannels; ++c) sum[c] += p[i * kChannels + c];
  }
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint8_t* enter = p + (x + 2 * rx + 1) * kChannels;
    const std::uint8_t* leave = p + x * kChannels;
    for (std::size_t c = 0; c < kChannels; ++c) {
      out[x * kChannels + c] = sum[c];
      // The last step reads one past the window's end: padded has room.
      sum[c] += enter[c];
      sum[c] -= leave[c];
    }
  }
}

// Writes round(sums[i] / divisor) (half away from zero) as bytes. The
// quotient is estimated in double precision and corrected exactly.
void writeMeans(const std::uint64_t* sums, std::size_t count, std::uint64_t divisor, double inverse,
                std::uint8_t* out) {
  const std::uint64_t half = divisor / 2;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t n = sums[i] + half;
    auto q = static_cast<std::uint64_t>(static_cast<double>(n) * inverse);
    if ((q + 1) * divisor <= n) ++q;
    if (q * divisor > n) --q;
    out[i] = static_cast<std::uint8_t>(q);
  }
}

}  // namespace

long boxConvolve8888(const std::vector<std::uint32_t>& src, int width, int height, long kernelHeight,
                     long kernelWidth, std::vector<std::uint32_t>& dest) {
  if (width <= 0 || height <= 0 ||
      src.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
    return kBoxConvolveBufferSizeMismatch;
  }
  auto validSide = [](long k) { return k > 0 && k % 2 == 1 && k <= kBoxConvolveMaxKernelSide; };
  if (!validSide(kernelHeight) || !validSide(kernelWidth)) return kBoxConvolveInvalidKernelSize;
  const auto w = static_cast<std::size_t>(width), h = static_cast<std::size_t>(height);
  const auto rx = static_cast<std::size_t>(kernelWidth / 2), ry = static_cast<std::size_t>(kernelHeight / 2);
  const std::size_t rowValues = w * kChannels;
  const std::uint64_t divisor = static_cast<std::uint64_t>(kernelWidth) * static_cast<std::uint64_t>(kernelHeight);
  const double inverse = 1.0 / static_cast<double>(divisor);

  // Pass 1: horizontal sums of every row. Pixels are read as bytes: the
  // channels are treated alike, so their order in the word does not matter.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(src.data());
  std::vector<std::uint32_t> rows(h * rowValues);
  std::vector<std::uint8_t> padded((w + 2 * rx + 1) * kChannels, 0);
  for (std::size_t y = 0; y < h; ++y) rowSums(bytes + y * rowValues, w, rx, padded, rows.data() + y * rowValues);

  // Pass 2: a running vertical sum over whole rows, edge-extended by
  // clamping the row index (once per row, not per pixel).
  std::vector<std::uint32_t> out(src.size());
  auto* outBytes = reinterpret_cast<std::uint8_t*>(out.data());
  std::vector<std::uint64_t> columns(rowValues, 0);
  auto rowAt = [&](long y) { return rows.data() + static_cast<std::size_t>(std::clamp(y, 0L, long(h) - 1)) * rowValues; };
  for (long j = -long(ry); j <= long(ry); ++j) {
    const std::uint32_t* r = rowAt(j);
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] += r[i];
  }
  for (std::size_t y = 0; y < h; ++y) {
    writeMeans(columns.data(), rowValues, divisor, inverse, outBytes + y * rowValues);
    const std::uint32_t* enter = rowAt(long(y + ry + 1));
    const std::uint32_t* leave = rowAt(long(y) - long(ry));
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] += std::uint64_t(enter[i]) - leave[i];
  }
  dest = std::move(out);
  return kBoxConvolveNoError;
}

}  // namespace qdx::kit

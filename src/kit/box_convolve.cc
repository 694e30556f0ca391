#include "kit/box_convolve.h"

#include <algorithm>
#include <cstddef>

namespace qdx::kit {
namespace {

constexpr std::size_t kChannels = 4;

// Rounded means: round(sum / divisor), halves up, computed as
// floor((sum + divisor / 2) * multiplier / 2^shift). With multiplier =
// ceil(2^shift / divisor) and 2^shift > 256 * divisor^2 the product's error
// stays below 1 / divisor, so the floor is exact for every sum of at most
// 255 * divisor (the most a window of bytes can add up to).
struct MeanDivider {
  explicit MeanDivider(std::uint64_t d) : divisor(d), half(d / 2) {
    while (shift < 63 && (std::uint64_t{1} << shift) / 256 / divisor <= divisor) ++shift;
    multiplier = ((std::uint64_t{1} << shift) + divisor - 1) / divisor;
    // Both factors must fit 32 bits for the widening multiply.
    fast = 256 * divisor < (std::uint64_t{1} << 32) && multiplier < (std::uint64_t{1} << 32) && shift < 63;
  }
  std::uint64_t divisor;
  std::uint64_t half;
  unsigned shift = 1;
  std::uint64_t multiplier = 0;
  bool fast = false;
};

template <class Sum>
void writeMeans(const Sum* sums, std::size_t count, const MeanDivider& div, std::uint8_t* out) {
  if (div.fast) {
    const auto half = static_cast<std::uint32_t>(div.half);
    const auto multiplier = static_cast<std::uint32_t>(div.multiplier);
    for (std::size_t i = 0; i < count; ++i) {
      const auto n = static_cast<std::uint32_t>(sums[i]) + half;
      out[i] = static_cast<std::uint8_t>((std::uint64_t{n} * multiplier) >> div.shift);
    }
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = static_cast<std::uint8_t>((static_cast<std::uint64_t>(sums[i]) + div.half) / div.divisor);
  }
}

// Both passes for Sum-wide sums: a running vertical sum of the byte rows
// (edge extended by clamping the row index, once per row), and for each
// output row a running horizontal sum over those column sums, copied first
// between rx repeats of its end values so that the inner loop has no
// bounds checks. Columns first: the horizontal step then adds and subtracts
// whole four-channel words.
template <class Sum>
void boxMeans(const std::uint8_t* bytes, std::size_t w, std::size_t h, std::size_t rx, std::size_t ry,
              const MeanDivider& div, std::uint8_t* outBytes) {
  const std::size_t rowValues = w * kChannels;
  auto rowAt = [&](long y) {
    return bytes + static_cast<std::size_t>(std::clamp(y, 0L, static_cast<long>(h) - 1)) * rowValues;
  };
  std::vector<Sum> padded((w + 2 * rx + 1) * kChannels, 0);
  Sum* columns = padded.data() + rx * kChannels;  // the middle of padded
  for (long j = -static_cast<long>(ry); j <= static_cast<long>(ry); ++j) {
    const std::uint8_t* r = rowAt(j);
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] += r[i];
  }
  std::vector<Sum> windows(rowValues);
  for (std::size_t y = 0; y < h; ++y) {
    for (std::size_t i = 0; i < rx; ++i) {
      for (std::size_t c = 0; c < kChannels; ++c) {
        padded[i * kChannels + c] = columns[c];
        padded[(rx + w + i) * kChannels + c] = columns[(w - 1) * kChannels + c];
      }
    }
    Sum sum[kChannels] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < 2 * rx + 1; ++i) {
      for (std::size_t c = 0; c < kChannels; ++c) sum[c] += padded[i * kChannels + c];
    }
    for (std::size_t x = 0; x < w; ++x) {
      const Sum* enter = padded.data() + (x + 2 * rx + 1) * kChannels;  // one past the end at most
      const Sum* leave = padded.data() + x * kChannels;
      for (std::size_t c = 0; c < kChannels; ++c) {
        windows[x * kChannels + c] = sum[c];
        sum[c] += enter[c] - leave[c];
      }
    }
    writeMeans(windows.data(), rowValues, div, outBytes + y * rowValues);
    const std::uint8_t* enter = rowAt(static_cast<long>(y + ry + 1));
    const std::uint8_t* leave = rowAt(static_cast<long>(y) - static_cast<long>(ry));
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] += static_cast<Sum>(enter[i]) - leave[i];
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
  const std::uint64_t divisor = static_cast<std::uint64_t>(kernelWidth) * static_cast<std::uint64_t>(kernelHeight);
  const MeanDivider divider(divisor);

  // Pixels are read as bytes: the channels are treated alike, so their
  // order in the word does not matter.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(src.data());
  std::vector<std::uint32_t> out(src.size());
  auto* outBytes = reinterpret_cast<std::uint8_t*>(out.data());
  if (255 * divisor < (std::uint64_t{1} << 32)) {
    boxMeans<std::uint32_t>(bytes, w, h, rx, ry, divider, outBytes);
  } else {
    boxMeans<std::uint64_t>(bytes, w, h, rx, ry, divider, outBytes);
  }
  dest = std::move(out);
  return kBoxConvolveNoError;
}

}  // namespace qdx::kit

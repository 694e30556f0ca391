#include "kit/box_convolve.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "kit/box_mean.h"

namespace qdx::kit {
namespace {

constexpr std::size_t kChannels = 4;

// The four channel sums of one pixel, added and subtracted as one vector
// (GCC and Clang vector extensions: plain SIMD where the target has it).
typedef std::uint32_t PixelSum32 __attribute__((vector_size(16)));
typedef std::uint64_t PixelSum64 __attribute__((vector_size(32)));

// Column sums of up to 128 bytes fit 15 bits, so both they and the change
// between two of them fit a 16-bit lane; taller kernels take 32 (the
// largest side allowed, 2^20, gives under 2^28).
constexpr long kMaxShortColumnHeight = 32767 / 255;

// Writes the running window sums of one row, given the column sums padded
// at both ends and the sum of the first window: windows[i] is first the
// change after pixel i (the column entering less the column leaving), in
// a plain loop the compiler vectorises, then the sum at it.
template <class Column, class Sums, class Window>
void slideRow(const Column* padded, std::size_t w, std::size_t span, const Sums& first, Window* windows) {
  const std::size_t rowValues = w * kChannels;
  for (std::size_t i = 0; i < rowValues; ++i) {
    windows[i] = static_cast<Window>(static_cast<Window>(padded[i + span]) - static_cast<Window>(padded[i]));
  }
  Sums sum = first;
  for (std::size_t x = 0; x < rowValues; x += kChannels) {
    Sums change;
    std::memcpy(&change, &windows[x], sizeof change);
    std::memcpy(&windows[x], &sum, sizeof sum);
    sum += change;
  }
}

// The same for 16-bit columns, two pixels a step: one 16-bit subtraction
// gives both changes, each then widened to 32 bits with its sign.
void slideRow(const std::uint16_t* padded, std::size_t w, std::size_t span, const PixelSum32& first,
              std::uint32_t* windows) {
  typedef std::uint16_t Short8 __attribute__((vector_size(16)));
  typedef std::int16_t Signed8 __attribute__((vector_size(16)));
  typedef std::int32_t Int4 __attribute__((vector_size(16)));
  PixelSum32 sum = first;
  std::size_t x = 0;
  for (; x + 2 <= w; x += 2) {
    Short8 entering, leaving;
    std::memcpy(&entering, padded + x * kChannels + span, sizeof entering);
    std::memcpy(&leaving, padded + x * kChannels, sizeof leaving);
    const auto change = reinterpret_cast<Signed8>(entering - leaving);
    // Each 16-bit change doubled into a 32-bit lane, shifted back down.
    const auto low = reinterpret_cast<Int4>(__builtin_shufflevector(change, change, 0, 0, 1, 1, 2, 2, 3, 3)) >> 16;
    const auto high = reinterpret_cast<Int4>(__builtin_shufflevector(change, change, 4, 4, 5, 5, 6, 6, 7, 7)) >> 16;
    std::memcpy(windows + x * kChannels, &sum, sizeof sum);
    sum += reinterpret_cast<PixelSum32>(low);
    std::memcpy(windows + (x + 1) * kChannels, &sum, sizeof sum);
    sum += reinterpret_cast<PixelSum32>(high);
  }
  if (x < w) std::memcpy(windows + x * kChannels, &sum, sizeof sum);
}

// Both passes: a running vertical sum of the byte rows in Column-wide
// lanes (edge extended by clamping the row index, once per row; a plain
// loop the compiler vectorises), and for each output row the running
// horizontal sums over those column sums, copied first between rx repeats
// of their end values so that no loop has bounds checks, then their means.
template <class Column, class Sums, class Mean>
void boxMeans(const std::uint8_t* bytes, std::size_t w, std::size_t h, std::size_t rx, std::size_t ry,
              const Mean& mean, std::uint8_t* outBytes) {
  using Window = std::remove_cv_t<std::remove_reference_t<decltype(Sums{}[0])>>;
  const std::size_t rowValues = w * kChannels;
  const std::size_t span = (2 * rx + 1) * kChannels;  // one window, in values
  auto rowAt = [&](long y) {
    return bytes + static_cast<std::size_t>(std::clamp(y, 0L, static_cast<long>(h) - 1)) * rowValues;
  };
  std::vector<Column> padded(rowValues + span, 0);
  Column* columns = padded.data() + rx * kChannels;  // the middle of padded
  for (long j = -static_cast<long>(ry); j <= static_cast<long>(ry); ++j) {
    const std::uint8_t* r = rowAt(j);
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] = static_cast<Column>(columns[i] + r[i]);
  }
  std::vector<Window> windows(rowValues);
  for (std::size_t y = 0; y < h; ++y) {
    for (std::size_t i = 0; i < rx; ++i) {
      std::memcpy(&padded[i * kChannels], columns, kChannels * sizeof(Column));
      std::memcpy(&padded[(rx + w + i) * kChannels], &columns[(w - 1) * kChannels], kChannels * sizeof(Column));
    }
    Window first[kChannels] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < span; ++i) first[i % kChannels] += padded[i];
    Sums sum;  // filled whole, not lane by lane, so that it can stay in a register
    std::memcpy(&sum, first, sizeof sum);
    slideRow(padded.data(), w, span, sum, windows.data());
    mean.row(windows.data(), rowValues, outBytes + y * rowValues);
    const std::uint8_t* below = rowAt(static_cast<long>(y + ry + 1));
    const std::uint8_t* above = rowAt(static_cast<long>(y) - static_cast<long>(ry));
    for (std::size_t i = 0; i < rowValues; ++i) columns[i] = static_cast<Column>(columns[i] + below[i] - above[i]);
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

  // The means go straight into dest (its buffer reused when it has one),
  // unless dest is src itself.
  std::vector<std::uint32_t> scratch;
  std::vector<std::uint32_t>& out = &dest == &src ? scratch : dest;
  out.resize(src.size());
  // Pixels are read as bytes: the channels are treated alike, so their
  // order in the word does not matter.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(src.data());
  auto* outBytes = reinterpret_cast<std::uint8_t*>(out.data());
  if (divisor <= kMaxFloatBoxMeanDivisor && kernelHeight <= kMaxShortColumnHeight) {
    boxMeans<std::uint16_t, PixelSum32>(bytes, w, h, rx, ry, FloatBoxMean(static_cast<std::uint32_t>(divisor)),
                                        outBytes);
  } else if (255 * divisor < (std::uint64_t{1} << 32)) {
    boxMeans<std::uint32_t, PixelSum32>(bytes, w, h, rx, ry, ExactBoxMean(divisor), outBytes);
  } else {
    boxMeans<std::uint32_t, PixelSum64>(bytes, w, h, rx, ry, ExactBoxMean(divisor), outBytes);
  }
  if (&dest == &src) dest = std::move(scratch);
  return kBoxConvolveNoError;
}

}  // namespace qdx::kit

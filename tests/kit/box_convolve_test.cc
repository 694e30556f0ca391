// The box blur: channel-wise rounded means over an edge-extended box.
#include "kit/box_convolve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qdx::kit {
namespace {

using Pixels = std::vector<std::uint32_t>;

TEST(BoxConvolve, EachChannelIsTheRoundedMeanOverTheBoxAndBadInputLeavesTheOutputAlone) {
  // One row; the channels hold (a, r, g, b) = (0, 0, 0, 0), (30, 0, 1, 2), (60, 2, 2, 255).
  const Pixels row = {0x00000000u, 0x1E000102u, 0x3C0202FFu};
  Pixels out;
  ASSERT_EQ(boxConvolve8888(row, 3, 1, 1, 3, out), kBoxConvolveNoError);
  // Column 1 of b: (0 + 2 + 255) / 3 = 85.67 -> 86; the ends repeat the edge pixel.
  EXPECT_EQ(out, (Pixels{0x0A000001u, 0x1E010156u, 0x320102ABu}));
  // The same row as a column, convolved vertically, gives the same values.
  ASSERT_EQ(boxConvolve8888(row, 1, 3, 3, 1, out), kBoxConvolveNoError);
  EXPECT_EQ(out, (Pixels{0x0A000001u, 0x1E010156u, 0x320102ABu}));
  // A kernel larger than the image keeps a uniform image as it is.
  const Pixels uniform(4 * 3, 0xFF8040C0u);
  ASSERT_EQ(boxConvolve8888(uniform, 4, 3, 21, 21, out), kBoxConvolveNoError);
  EXPECT_EQ(out, uniform);

  // Bad kernels and buffers leave the output alone.
  const Pixels px(4, 0xFFFFFFFFu);
  out = {7};
  EXPECT_EQ(boxConvolve8888(px, 2, 2, 4, 5, out), kBoxConvolveInvalidKernelSize);
  EXPECT_EQ(boxConvolve8888(px, 2, 2, 5, -19, out), kBoxConvolveInvalidKernelSize);
  EXPECT_EQ(boxConvolve8888(px, 3, 2, 5, 5, out), kBoxConvolveBufferSizeMismatch);
  EXPECT_EQ(out, (Pixels{7}));
}

// Kernels small and huge take different roads to the rounded mean (a
// multiply and shift while a window's total fits 32 bits, a division
// beyond); both must round like the plain formula. On a 2 x 1 image every
// window holds the left pixel (k + 1) / 2 times and the right one k / 2.
TEST(BoxConvolve, MeansRoundAlikeForSmallAndHugeKernels) {
  const Pixels src = {0xFF10C801u, 0x0132027Fu};
  for (long k : {3L, 21L, 4095L, 4105L, 65537L}) {
    Pixels out;
    ASSERT_EQ(boxConvolve8888(src, 2, 1, k, k, out), kBoxConvolveNoError) << k;
    for (int shift : {0, 8, 16, 24}) {
      const std::uint64_t a = (src[0] >> shift) & 0xFF, b = (src[1] >> shift) & 0xFF;
      const std::uint64_t left = static_cast<std::uint64_t>((k + 1) / 2) * a + static_cast<std::uint64_t>(k / 2) * b;
      const std::uint64_t right = static_cast<std::uint64_t>(k / 2) * a + static_cast<std::uint64_t>((k + 1) / 2) * b;
      const auto mean = [&](std::uint64_t sum) { return (sum * k + (k * k) / 2) / (k * k); };
      EXPECT_EQ((out[0] >> shift) & 0xFF, mean(left)) << "k " << k << " shift " << shift;
      EXPECT_EQ((out[1] >> shift) & 0xFF, mean(right)) << "k " << k << " shift " << shift;
    }
  }
}

// One channel's box mean at (x, y) from the definition, without running
// sums: each source pixel weighs as many box positions as clamp onto it.
std::uint32_t directMean(const Pixels& px, long w, long h, long x, long y, long kh, long kw, int shift) {
  auto weight = [](long c, long size, long centre, long radius) {
    const long from = c == 0 ? centre - radius : c, to = c == size - 1 ? centre + radius : c;
    return std::max(0L, std::min(to, centre + radius) - std::max(from, centre - radius) + 1);
  };
  std::uint64_t sum = 0;
  for (long sy = 0; sy < h; ++sy) {
    const long wy = weight(sy, h, y, kh / 2);
    for (long sx = 0; wy && sx < w; ++sx) {
      sum += static_cast<std::uint64_t>(wy * weight(sx, w, x, kw / 2)) * ((px[static_cast<std::size_t>(sy * w + sx)] >> shift) & 0xFF);
    }
  }
  const std::uint64_t divisor = static_cast<std::uint64_t>(kh) * static_cast<std::uint64_t>(kw);
  return static_cast<std::uint32_t>((2 * sum + divisor) / (2 * divisor));
}

// Kernels on both sides of each switch between roads: 16-bit column sums
// up to 127 rows, float means up to a 16383 area (127 x 129), 64-bit window
// sums past 255 * area >= 2^32. Two pictures: noise, so that the windows
// differ, and stripes of 0 and 255, so that column sums change the most
// they can from one pixel to the next.
TEST(BoxConvolve, EveryKernelShapeGivesTheDirectBoxMean) {
  const long w = 37, h = 23;
  Pixels noise(static_cast<std::size_t>(w * h)), stripes(noise.size());
  std::uint32_t state = 12345;
  for (auto& p : noise) p = state = state * 1664525u + 1013904223u;
  for (std::size_t i = 0; i < stripes.size(); ++i) stripes[i] = i % w % 2 ? 0xFFFFFFFFu : 0u;
  const long shapes[][2] = {{1, 1}, {3, 5}, {21, 21}, {127, 3}, {129, 3}, {127, 129}, {129, 127}, {127, 131}, {4105, 4097}, {1, 4105}};
  for (const Pixels* px : {&noise, &stripes}) {
    for (const auto& [kh, kw] : shapes) {
      Pixels out(3, 0xDEADBEEFu);  // an old buffer of another size
      ASSERT_EQ(boxConvolve8888(*px, static_cast<int>(w), static_cast<int>(h), kh, kw, out), kBoxConvolveNoError);
      ASSERT_EQ(out.size(), px->size());
      for (long y = 0; y < h; ++y) {
        for (long x = 0; x < w; ++x) {
          for (int shift : {0, 8, 16, 24}) {
            ASSERT_EQ((out[static_cast<std::size_t>(y * w + x)] >> shift) & 0xFF,
                      directMean(*px, w, h, x, y, kh, kw, shift))
                << kh << " x " << kw << " at " << x << "," << y << " shift " << shift;
          }
        }
      }
    }
  }
  // The output may be the input itself.
  Pixels expected, inPlace = noise;
  ASSERT_EQ(boxConvolve8888(noise, static_cast<int>(w), static_cast<int>(h), 21, 21, expected), kBoxConvolveNoError);
  ASSERT_EQ(boxConvolve8888(inPlace, static_cast<int>(w), static_cast<int>(h), 21, 21, inPlace), kBoxConvolveNoError);
  EXPECT_EQ(inPlace, expected);
}

}  // namespace
}  // namespace qdx::kit

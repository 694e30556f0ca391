// The box blur: channel-wise rounded means over an edge-extended box.
#include "kit/box_convolve.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace qdx::kit

// Rounded box means: the float road and the integer road both give
// round(sum / divisor) for every sum a window of bytes can reach.
#include "kit/box_mean.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qdx::kit {
namespace {

std::uint64_t plainMean(std::uint64_t sum, std::uint64_t divisor) { return (2 * sum + divisor) / (2 * divisor); }

// Every sum from 0 to 255 * divisor through mean.row, compared with the
// plain formula; returns the first sum that differs, or -1.
template <class Mean>
long firstWrongSum(const Mean& mean, std::uint32_t divisor) {
  std::vector<std::uint32_t> sums(255 * std::size_t{divisor} + 1);
  for (std::size_t s = 0; s < sums.size(); ++s) sums[s] = static_cast<std::uint32_t>(s);
  std::vector<std::uint8_t> out(sums.size());
  mean.row(sums.data(), sums.size(), out.data());
  for (std::size_t s = 0; s < sums.size(); ++s) {
    if (out[s] != plainMean(s, divisor)) return static_cast<long>(s);
  }
  return -1;
}

// The float road on small divisors, the banner's 21 x 21 kernel and the two
// largest divisors it takes; the integer road on small ones and on the first
// divisor past the float limit. Every reachable sum of each.
TEST(BoxMean, EveryReachableSumRoundsToNearestOnBothSidesOfTheFloatLimit) {
  for (std::uint32_t d : {1u, 3u, 441u, kMaxFloatBoxMeanDivisor - 2, kMaxFloatBoxMeanDivisor}) {
    EXPECT_EQ(firstWrongSum(FloatBoxMean(d), d), -1) << "float, divisor " << d;
  }
  for (std::uint32_t d : {1u, 441u, kMaxFloatBoxMeanDivisor + 2}) {
    EXPECT_EQ(firstWrongSum(ExactBoxMean(d), d), -1) << "integer, divisor " << d;
  }
}

// Divisors too big to try every sum: the sums on both sides of each
// rounding step, for the multiply road and the division road.
TEST(BoxMean, HugeDivisorsRoundAtEachStep) {
  for (std::uint64_t d : {std::uint64_t{4095} * 4095, std::uint64_t{4105} * 4105, std::uint64_t{1048575} * 1048575}) {
    const ExactBoxMean mean(d);
    for (std::uint64_t m = 0; m < 255; ++m) {
      const std::uint64_t step = m * d + d / 2;  // the last sum that rounds down to m
      const std::uint64_t sums[] = {m * d, step, step + 1};
      std::uint8_t out[3];
      mean.row(sums, 3, out);
      EXPECT_EQ(out[0], m) << d;
      EXPECT_EQ(out[1], m) << d;
      EXPECT_EQ(out[2], m + 1) << d;
    }
  }
}

}  // namespace
}  // namespace qdx::kit

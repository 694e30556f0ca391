#pragma once
// Rounded box means: the last step of the box blur, turning a row of
// window sums into bytes. A window sum is at most 255 * divisor, and the
// divisor (the kernel's area, both sides odd) is odd, so a mean is never
// exactly halfway between two integers: rounding to nearest has no ties.
#include <cstddef>
#include <cstdint>

namespace qdx::kit {

// The largest divisor FloatBoxMean rounds exactly.
inline constexpr std::uint32_t kMaxFloatBoxMeanDivisor = 16383;

// round(sum / divisor) in single precision, as trunc(sum * (1 / divisor) +
// 1/2), for odd divisors up to kMaxFloatBoxMeanDivisor; a loop the compiler
// vectorises.
//
// Why that is exact: with q = sum / divisor, the true value q + 1/2 =
// (2 sum + divisor) / (2 divisor) has an odd numerator, so it lies at least
// 1 / (2 divisor) >= 2^-15 away from every integer. The float result t
// differs from q + 1/2 by three roundings to nearest (unit roundoff 2^-24):
// the reciprocal, off by a factor within 1 +- 2^-24, which moves q <= 255
// by less than 2^-16; the product and the sum, both below 256 where floats
// are 2^-16 apart, each moved by at most 2^-17. So |t - (q + 1/2)| < 2^-15,
// no integer lies between them, and truncating t (positive) gives
// floor(q + 1/2). A fused multiply-add only drops a rounding. Sums up to
// 255 * 16383 < 2^22 are themselves exact floats and exact int32 values.
class FloatBoxMean {
 public:
  explicit FloatBoxMean(std::uint32_t divisor) : scale_(1.0f / static_cast<float>(divisor)) {}

  // out[i] = round(sums[i] / divisor) for i < count.
  void row(const std::uint32_t* sums, std::size_t count, std::uint8_t* out) const {
    for (std::size_t i = 0; i < count; ++i) {
      // Through int32: the compiler converts those to float in one step.
      const float sum = static_cast<float>(static_cast<std::int32_t>(sums[i]));
      out[i] = static_cast<std::uint8_t>(static_cast<std::int32_t>(sum * scale_ + 0.5f));
    }
  }

 private:
  float scale_;
};

// round(sum / divisor), halves up, in integers for any divisor, computed as
// floor((sum + divisor / 2) * multiplier / 2^shift). With multiplier =
// ceil(2^shift / divisor) and 2^shift > 256 * divisor^2 the product's error
// stays below 1 / divisor, so the floor is exact for every sum of at most
// 255 * divisor. The road for big kernels.
class ExactBoxMean {
 public:
  explicit ExactBoxMean(std::uint64_t divisor) : divisor_(divisor), half_(divisor / 2) {
    while (shift_ < 63 && (std::uint64_t{1} << shift_) / 256 / divisor_ <= divisor_) ++shift_;
    multiplier_ = ((std::uint64_t{1} << shift_) + divisor_ - 1) / divisor_;
    // Both factors must fit 32 bits for the multiply not to overflow.
    fast_ = 256 * divisor_ < (std::uint64_t{1} << 32) && multiplier_ < (std::uint64_t{1} << 32) && shift_ < 63;
  }

  // out[i] = round(sums[i] / divisor) for i < count.
  template <class Sum>
  void row(const Sum* sums, std::size_t count, std::uint8_t* out) const {
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t n = static_cast<std::uint64_t>(sums[i]) + half_;
      out[i] = static_cast<std::uint8_t>(fast_ ? (n * multiplier_) >> shift_ : n / divisor_);
    }
  }

 private:
  std::uint64_t divisor_;
  std::uint64_t half_;
  unsigned shift_ = 1;
  std::uint64_t multiplier_ = 0;
  bool fast_ = false;
};

}  // namespace qdx::kit

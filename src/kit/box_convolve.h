#pragma once
// A box blur over 32-bit pixels, one 8-bit channel at a time, as the
// platform's image library convolves four-channel 8-bit buffers: the
// channels are treated alike, so the packing order does not matter.
#include <cstdint>
#include <vector>

namespace qdx::kit {

// Result codes of boxConvolve8888 (non-zero means failure).
inline constexpr long kBoxConvolveNoError = 0;
inline constexpr long kBoxConvolveInvalidKernelSize = -21767;
inline constexpr long kBoxConvolveBufferSizeMismatch = -21774;

// Kernel sides above this are refused (they would overflow the sums).
inline constexpr long kBoxConvolveMaxKernelSide = 1L << 20;

// Writes into dest (resized to width x height) the box convolution of src,
// width x height pixels row after row: each channel of each output pixel is
// the mean, rounded to nearest, of that channel over the kernelWidth x
// kernelHeight box centred on the pixel, where pixels past an edge repeat
// the nearest edge pixel (edge extend). Kernel sides must be odd, positive
// and at most kBoxConvolveMaxKernelSide, else kBoxConvolveInvalidKernelSize;
// src must hold width x height pixels (both positive), else
// kBoxConvolveBufferSizeMismatch. On failure dest is left as it was.
long boxConvolve8888(const std::vector<std::uint32_t>& src, int width, int height,
                     long kernelHeight, long kernelWidth, std::vector<std::uint32_t>& dest);

}  // namespace qdx::kit

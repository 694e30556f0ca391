#pragma once
// Helpers for the surface tests: a pixel buffer that remembers its bytes
// past each row, and a stepped monotonic clock that drives the main loop.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "qdx/RunLoop.h"
#include "qdx/kit/Surface.h"
#include "support/test_env.h"

namespace qdx::kit {

// A host's frame buffer: rows of stride bytes, the bytes past each row's
// pixels (and a guard band after the last row) filled with a marker.
struct FrameBuffer {
  static constexpr std::uint8_t kMarker = 0xA5;
  FrameBuffer(int width, int height, int stride)
      : width(width), height(height), stride(stride),
        bytes(static_cast<std::size_t>(stride) * height + 64, kMarker) {
    for (int y = 0; y < height; ++y) {
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(y) * stride, width * 4, 0x11);
    }
  }
  std::uint8_t* data() { return bytes.data(); }
  const std::uint8_t* pixel(int x, int y) const {
    return bytes.data() + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x) * 4;
  }
  // True when no byte outside the rows' pixels changed.
  bool paddingIntact() const {
    for (int y = 0; y < height; ++y) {
      for (int x = width * 4; x < stride; ++x) {
        if (bytes[static_cast<std::size_t>(y) * stride + x] != kMarker) return false;
      }
    }
    for (std::size_t i = static_cast<std::size_t>(stride) * height; i < bytes.size(); ++i) {
      if (bytes[i] != kMarker) return false;
    }
    return true;
  }
  // The rows' pixels only, packed.
  std::vector<std::uint8_t> pixels() const {
    std::vector<std::uint8_t> out;
    for (int y = 0; y < height; ++y) {
      auto row = bytes.begin() + static_cast<std::ptrdiff_t>(y) * stride;
      out.insert(out.end(), row, row + width * 4);
    }
    return out;
  }
  int width, height, stride;
  std::vector<std::uint8_t> bytes;
};

// Steps the test platform's monotonic clock by seconds, a 60 Hz frame at
// a time, serving the main loop after each step as a host's frame would.
inline void stepFrames(TestEnv& env, double seconds) {
  constexpr double kFrame = 1.0 / 60;
  for (double done = 0; done < seconds - 1e-9; done += kFrame) {
    env.advanceMonotonic(kFrame);
    RunLoop::main().pump();
  }
}

}  // namespace qdx::kit

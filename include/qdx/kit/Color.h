#pragma once
// Colours as red, green, blue and alpha components in 0...1 (not
// premultiplied), with the toolkit's named colours.
#include "qdx/QDXExport.h"

namespace qdx::kit {

struct QDX_EXPORT Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  static constexpr Color rgba(double r, double g, double b, double a) { return {r, g, b, a}; }
  static constexpr Color white() { return {1, 1, 1, 1}; }
  static constexpr Color black() { return {0, 0, 0, 1}; }
  static constexpr Color orange() { return {1, 0.5, 0, 1}; }
  // White at 60% opacity: text on dark backgrounds.
  static constexpr Color lightText() { return {1, 1, 1, 0.6}; }
  // Two-thirds white.
  static constexpr Color lightGray() { return {2.0 / 3, 2.0 / 3, 2.0 / 3, 1}; }
  static constexpr Color gray() { return {0.5, 0.5, 0.5, 1}; }
  static constexpr Color clear() { return {0, 0, 0, 0}; }

  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace qdx::kit

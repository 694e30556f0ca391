#pragma once
// Scroll offsets that a finger or a page settle sets land on the main
// screen's pixel grid, as a phone's do. The content then moves by whole
// pixels, so text and edges stay as sharp as at rest, and a surface can
// move the pixels it drew instead of drawing them again. An offset the
// host's code sets is kept as given.
#include <cmath>

#include "qdx/kit/Geometry.h"
#include "qdx/kit/Screen.h"

namespace qdx::kit {

// offset rounded to the nearest pixel of the main screen.
inline Point onPixelGrid(Point offset) {
  const double scale = Screen::mainScreen().scale();
  return {std::round(offset.x * scale) / scale, std::round(offset.y * scale) / scale};
}

}  // namespace qdx::kit

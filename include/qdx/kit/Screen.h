#pragma once
// The main screen, as the platform reports it.
#include "qdx/QDXExport.h"
#include "qdx/kit/Geometry.h"

namespace qdx::kit {

class QDX_EXPORT Screen {
 public:
  static Screen mainScreen();
  // (0, 0, width, height) in points.
  Rect bounds() const { return bounds_; }
  // Pixels per point.
  double scale() const { return scale_; }

 private:
  Rect bounds_;
  double scale_ = 1;
};

}  // namespace qdx::kit

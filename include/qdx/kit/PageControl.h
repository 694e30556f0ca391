#pragma once
// A row of page dots, centred in the control's frame (the dots may spill
// out of a narrow frame, as they do on the device).
#include <optional>

#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Control.h"

namespace qdx::kit {

class QDX_EXPORT PageControl : public Control {
 public:
  // Draws the dots's content through the painter.
  void drawContent(Painter& painter) const override;
  // The dots, centred on the control whatever its width.
  Rect contentExtent() const override;
  PageControl();
  explicit PageControl(const Rect& frame);

  long numberOfPages() const { return pages_; }
  // Negative counts become 0; the current page is pinned into range.
  void setNumberOfPages(long pages);
  long currentPage() const { return current_; }
  // Pinned to 0 ... numberOfPages - 1 (0 when there are no pages).
  void setCurrentPage(long page);
  bool hidesForSinglePage() const { return hidesForSinglePage_; }
  void setHidesForSinglePage(bool hides) {
    hidesForSinglePage_ = hides;
    setNeedsDisplay();
  }

  // Dot colours; the defaults are white at 30% and white.
  Color pageIndicatorTintColor() const { return dotColor_; }
  void setPageIndicatorTintColor(Color color) {
    dotColor_ = color;
    setNeedsDisplay();
  }
  Color currentPageIndicatorTintColor() const { return currentDotColor_; }
  void setCurrentPageIndicatorTintColor(Color color) {
    currentDotColor_ = color;
    setNeedsDisplay();
  }

  // Dot geometry, points.
  static constexpr double kDotDiameter = 7;
  static constexpr double kDotSpacing = 16;  // centre to centre

 private:
  long pages_ = 0;
  long current_ = 0;
  bool hidesForSinglePage_ = false;
  Color dotColor_{1, 1, 1, 0.3};
  Color currentDotColor_ = Color::white();
};

}  // namespace qdx::kit

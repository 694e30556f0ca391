#include "qdx/kit/PageControl.h"

#include <cairo.h>

#include <algorithm>
#include <numbers>

#include "kit/main_thread.h"
#include "kit/painter.h"

namespace qdx::kit {

PageControl::PageControl() = default;
PageControl::PageControl(const Rect& frame) : Control(frame) {}

void PageControl::setNumberOfPages(long pages) {
  QDX_KIT_MAIN_THREAD("PageControl::setNumberOfPages");
  pages_ = std::max(0L, pages);
  setCurrentPage(current_);
}

void PageControl::setCurrentPage(long page) {
  QDX_KIT_MAIN_THREAD("PageControl::setCurrentPage");
  current_ = pages_ == 0 ? 0 : std::clamp(page, 0L, pages_ - 1);
}

void PageControl::drawContent(Painter& painter) const {
  const long n = numberOfPages();
  if (n <= 0 || (n == 1 && hidesForSinglePage())) return;
  const Rect b = bounds();
  const double cx = b.width() / 2, cy = b.height() / 2;
  const double first = cx - (n - 1) * kDotSpacing / 2;
  cairo_t* cr = painter.context();
  for (long i = 0; i < n; ++i) {
    painter.setColor(i == currentPage() ? currentPageIndicatorTintColor() : pageIndicatorTintColor());
    cairo_arc(cr, first + i * kDotSpacing, cy, kDotDiameter / 2, 0, 2 * std::numbers::pi);
    cairo_fill(cr);
  }
}

}  // namespace qdx::kit

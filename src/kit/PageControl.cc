#include "qdx/kit/PageControl.h"

#include <algorithm>

namespace qdx::kit {

PageControl::PageControl() = default;
PageControl::PageControl(const Rect& frame) : Control(frame) {}

void PageControl::setNumberOfPages(long pages) {
  pages_ = std::max(0L, pages);
  setCurrentPage(current_);
}

void PageControl::setCurrentPage(long page) {
  current_ = pages_ == 0 ? 0 : std::clamp(page, 0L, pages_ - 1);
}

}  // namespace qdx::kit

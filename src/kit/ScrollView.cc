#include "qdx/kit/ScrollView.h"

#include "kit/main_thread.h"

#include <algorithm>
#include <cmath>

namespace qdx::kit {

void ScrollView::setContentOffset(Point offset, bool /*animated*/) {
  QDX_KIT_MAIN_THREAD("ScrollView::setContentOffset");
  if (offset == contentOffset()) return;
  setBoundsOrigin(offset);
  if (auto d = delegate()) d->scrollViewDidScroll(*this);
}

double ScrollView::maxContentOffsetX() const {
  return std::max(0.0, contentSize_.width - bounds().width());
}

long ScrollView::pageCount() const {
  double width = bounds().width();
  if (width <= 0) return 1;
  return std::max(1L, static_cast<long>(std::ceil(contentSize_.width / width - 1e-9)));
}

}  // namespace qdx::kit

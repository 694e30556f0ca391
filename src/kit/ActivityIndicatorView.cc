#include "qdx/kit/ActivityIndicatorView.h"

namespace qdx::kit {

ActivityIndicatorView::ActivityIndicatorView(ActivityIndicatorViewStyle style) : style_(style) {
  double side = style == ActivityIndicatorViewStyleWhiteLarge ? 37 : 20;
  setFrame(Rect(0, 0, side, side));
  setUserInteractionEnabled(false);
}

Color ActivityIndicatorView::color() const {
  return style_ == ActivityIndicatorViewStyleGray ? Color::gray() : Color::white();
}

}  // namespace qdx::kit

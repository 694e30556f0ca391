#include "qdx/kit/ActivityIndicatorView.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "kit/animator.h"
#include "kit/painter.h"

namespace qdx::kit {

ActivityIndicatorView::ActivityIndicatorView(ActivityIndicatorViewStyle style) : style_(style) {
  double side = style == ActivityIndicatorViewStyleWhiteLarge ? 37 : 20;
  setFrame(Rect(0, 0, side, side));
  setUserInteractionEnabled(false);
}

void ActivityIndicatorView::startAnimating() {
  if (animating_) return;
  animating_ = true;
  setNeedsDisplay();
  Animator::shared().spinChanged(selfAs<ActivityIndicatorView>());
}

void ActivityIndicatorView::stopAnimating() {
  if (!animating_) return;
  animating_ = false;
  setNeedsDisplay();
  Animator::shared().spinChanged(selfAs<ActivityIndicatorView>());
}

void ActivityIndicatorView::setSpinStep(int step) {
  step = ((step % 12) + 12) % 12;
  if (step == spinStep_) return;
  spinStep_ = step;
  setNeedsDisplay();
}

Color ActivityIndicatorView::color() const {
  return style_ == ActivityIndicatorViewStyleGray ? Color::gray() : Color::white();
}

void ActivityIndicatorView::drawContent(Painter& painter) const {
  const Rect b = bounds();
  const double cx = b.width() / 2, cy = b.height() / 2;
  const double outer = std::min(b.width(), b.height()) / 2;
  constexpr int kSpokes = 12;
  cairo_t* cr = painter.context();
  cairo_save(cr);
  cairo_set_line_width(cr, std::max(1.0, outer / 5));
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  for (int i = 0; i < kSpokes; ++i) {
    const double angle = 2 * std::numbers::pi * (i + spinStep_) / kSpokes;
    painter.setColor(color(), 0.25 + 0.75 * i / kSpokes);
    cairo_move_to(cr, cx + std::cos(angle) * outer * 0.5, cy + std::sin(angle) * outer * 0.5);
    cairo_line_to(cr, cx + std::cos(angle) * outer * 0.9, cy + std::sin(angle) * outer * 0.9);
    cairo_stroke(cr);
  }
  cairo_restore(cr);
}

}  // namespace qdx::kit

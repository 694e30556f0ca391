#include "kit/gesture_tracker.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <typeinfo>

#include "kit/animator.h"
#include "kit/pixel_grid.h"
#include "kit/scene.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/InputSimulator.h"
#include "qdx/kit/ScrollView.h"
#include "qdx/kit/Window.h"
#include "platform/log_gate.h"

namespace qdx::kit {
namespace {

// Points further out than this are no screen's.
constexpr double kMaxCoordinate = 1e6;
// The finger's velocity is measured over its last this many seconds.
constexpr double kVelocityWindow = 0.1;
// How hard the content resists past its ends: the larger, the freer.
constexpr double kRubberBand = 0.55;

// Past an end, the content moves less and less as the finger goes on.
double rubberBand(double offset, double maxOffset, double dimension, bool bounces) {
  if (offset >= 0 && offset <= maxOffset) return offset;
  double edge = offset < 0 ? 0 : maxOffset;
  if (!bounces || dimension <= 0) return edge;
  double over = std::abs(offset - edge);
  double banded = (1 - 1 / (over * kRubberBand / dimension + 1)) * dimension;
  return offset < 0 ? -banded : maxOffset + banded;
}

double maxOffsetX(const ScrollView& s) { return s.maxContentOffsetX(); }
double maxOffsetY(const ScrollView& s) {
  return std::max(0.0, s.contentSize().height - s.bounds().height());
}
bool scrollsX(const ScrollView& s) { return s.contentSize().width > s.bounds().width(); }
bool scrollsY(const ScrollView& s) { return s.contentSize().height > s.bounds().height(); }

// Where a released axis comes to rest: with paging, on the page the
// position and the velocity point to (a fling goes at most one page on
// from where the finger left); without, a little further along the
// velocity; inside the content either way.
double restingOffset(double offset, double velocity, double maxOffset, double page, bool paging) {
  if (paging && page > 0) {
    constexpr double kEps = 1e-9;
    double position = offset / page;
    double target = velocity > kFlingVelocity    ? std::ceil(position - kEps)
                    : velocity < -kFlingVelocity ? std::floor(position + kEps)
                                                 : std::round(position);
    double lastPage = std::ceil(maxOffset / page - kEps);
    return std::clamp(std::clamp(target, 0.0, lastPage) * page, 0.0, maxOffset);
  }
  // An ease-out over the settle time starts at a third of its distance
  // per unit of time: this distance keeps the finger's speed.
  return std::clamp(offset + velocity * kSettleSeconds / 3, 0.0, maxOffset);
}

std::shared_ptr<ScrollView> scrollViewAbove(const std::shared_ptr<View>& hit) {
  for (auto view = hit; view; view = view->superview()) {
    auto scroll = std::dynamic_pointer_cast<ScrollView>(view);
    if (scroll && scroll->isUserInteractionEnabled() && (scrollsX(*scroll) || scrollsY(*scroll))) {
      return scroll;
    }
  }
  return nullptr;
}

std::shared_ptr<Control> controlAbove(const std::shared_ptr<View>& hit) {
  for (auto view = hit; view; view = view->superview()) {
    if (!view->gestureRecognizers().empty()) return nullptr;
    if (auto control = std::dynamic_pointer_cast<Control>(view)) return control;
  }
  return nullptr;
}

double distance(Point a, Point b) { return std::hypot(a.x - b.x, a.y - b.y); }

// Whether a pointer on hit is the kit's: something there shows or reacts
// (a control, a recogniser, a scroll view, a view class that draws, a
// visible background). A transparent container's empty area, the window's
// included, leaves the pointer to the host's scene below.
bool takesPointer(const std::shared_ptr<View>& hit) {
  for (auto view = hit; view; view = view->superview()) {
    const View& v = *view;
    if (!v.gestureRecognizers().empty()) return true;
    auto background = v.backgroundColor();
    if (background && background->alpha > 0) return true;
    if (typeid(v) != typeid(View) && typeid(v) != typeid(Window)) return true;
  }
  return false;
}

}  // namespace

GestureTracker::GestureTracker(std::shared_ptr<View> root) : root_(std::move(root)) {}

bool GestureTracker::accept(Point point, double seconds, const char* what) {
  if (!root_) return false;
  if (!std::isfinite(point.x) || !std::isfinite(point.y) || std::abs(point.x) > kMaxCoordinate ||
      std::abs(point.y) > kMaxCoordinate) {
    debugLog(std::string("qdx: a pointer ") + what + " at a point off any screen (" +
             std::to_string(point.x) + ", " + std::to_string(point.y) + ") was ignored");
    return false;
  }
  if (!std::isfinite(seconds) || (hasTime_ && seconds < lastSeconds_)) {
    debugLog(std::string("qdx: a pointer ") + what + " at " + std::to_string(seconds) +
             " s, earlier than the last event (" + std::to_string(lastSeconds_) + " s), was ignored");
    return false;
  }
  lastSeconds_ = seconds;
  hasTime_ = true;
  return true;
}

std::shared_ptr<View> GestureTracker::hitTest(Point point) const {
  if (auto window = std::dynamic_pointer_cast<Window>(root_)) return hitTestWindow(window, point);
  Rect b = root_->bounds();
  return root_->hitTest({point.x + b.x(), point.y + b.y()});
}

bool GestureTracker::down(Point point, double seconds) {
  if (!accept(point, seconds, "down")) return false;
  // A second down without an up: the first finger's gesture ends here.
  if (phase_ != Phase::Idle) cancel();
  tapActed_ = false;
  start_ = point;
  startSeconds_ = seconds;
  samples_.assign(1, Sample{point, seconds});

  std::vector<AlertBox> alerts = alertBoxesOver(*root_);
  if (!alerts.empty()) {
    // The alert on top takes the pointer, wherever it lands.
    phase_ = Phase::Alert;
    alertButton_ = -1;
    const AlertBox& top = alerts.back();
    for (std::size_t i = 0; i < top.buttonCells.size(); ++i) {
      if (top.buttonCells[i].contains(point)) alertButton_ = static_cast<int>(i);
    }
    return true;
  }

  hit_ = hitTest(point);
  if (!hit_ || !takesPointer(hit_)) {
    hit_.reset();
    return false;
  }
  phase_ = Phase::Pressing;
  tapLost_ = false;
  scroll_ = scrollViewAbove(hit_);
  caughtSettle_ = false;
  if (scroll_) {
    // A finger on moving content stops it; that touch is no tap.
    caughtSettle_ = Animator::shared().stopSettle(*scroll_);
    startOffset_ = scroll_->contentOffset();
  }
  if (auto control = controlAbove(hit_); control && control->isEnabled() && !caughtSettle_) {
    control->setHighlighted(true);
  }
  return true;
}

bool GestureTracker::move(Point point, double seconds) {
  if (phase_ == Phase::Idle) return false;
  if (!accept(point, seconds, "move")) return false;
  if (phase_ == Phase::Alert) return true;
  samples_.push_back(Sample{point, seconds});
  if (phase_ == Phase::Pressing && distance(point, start_) > kTapSlop) {
    // Past the slop the touch is no tap: a button under it is cancelled.
    tapLost_ = true;
    if (auto control = controlAbove(hit_); control && control->isHighlighted()) {
      unhighlight();
      control->sendActionsForControlEvents(ControlEventTouchCancel);
    }
    if (scroll_) phase_ = Phase::Dragging;
  }
  if (phase_ == Phase::Dragging) {
    ScrollView& s = *scroll_;
    Point offset = s.contentOffset();
    // The content follows the finger from where it went down.
    if (scrollsX(s)) {
      offset.x = rubberBand(startOffset_.x + (start_.x - point.x), maxOffsetX(s), s.bounds().width(),
                            s.bounces());
    }
    if (scrollsY(s)) {
      offset.y = rubberBand(startOffset_.y + (start_.y - point.y), maxOffsetY(s), s.bounds().height(),
                            s.bounces());
    }
    s.setContentOffset(onPixelGrid(offset));
  }
  return true;
}

bool GestureTracker::up(Point point, double seconds) {
  if (phase_ == Phase::Idle) return false;
  if (!accept(point, seconds, "up")) return false;
  if (phase_ == Phase::Alert) {
    std::vector<AlertBox> alerts = alertBoxesOver(*root_);
    int pressed = alertButton_;
    reset();
    if (alerts.empty() || pressed < 0) return true;
    const AlertBox& top = alerts.back();
    if (static_cast<std::size_t>(pressed) >= top.buttonCells.size() ||
        !top.buttonCells[static_cast<std::size_t>(pressed)].contains(point)) {
      return true;
    }
    if (top.controller) tapActed_ = pressAlertAction(top.controller, static_cast<std::size_t>(pressed));
    if (top.alertView) tapActed_ = pressAlertViewButton(top.alertView, pressed);
    return true;
  }
  if (phase_ == Phase::Dragging) {
    move(point, seconds);
    // The finger's speed over its last moments, turned into the content's.
    Point velocity;
    const Sample& last = samples_.back();
    auto first = std::find_if(samples_.begin(), samples_.end(), [&](const Sample& s) {
      return last.seconds - s.seconds <= kVelocityWindow;
    });
    if (first != samples_.end() && last.seconds > first->seconds) {
      double dt = last.seconds - first->seconds;
      velocity = {-(last.point.x - first->point.x) / dt, -(last.point.y - first->point.y) / dt};
    }
    release(velocity);
    return true;
  }
  bool isTap = !tapLost_ && !caughtSettle_ && distance(point, start_) <= kTapSlop &&
               seconds - startSeconds_ <= kTapMaxSeconds;
  auto hit = hit_;
  unhighlight();
  reset();
  if (isTap) tapActed_ = deliverTap(hit);
  return true;
}

void GestureTracker::cancel() {
  if (phase_ == Phase::Dragging) {
    release(Point{});
    return;
  }
  unhighlight();
  reset();
}

void GestureTracker::release(Point velocity) {
  std::shared_ptr<ScrollView> scroll = scroll_;
  reset();
  ScrollView& s = *scroll;
  released_ = scroll;
  // The delegate reads the offset where the finger left it.
  if (auto d = s.delegate()) d->scrollViewWillBeginDecelerating(s);
  Point offset = s.contentOffset();
  Point target = offset;
  if (scrollsX(s)) {
    target.x = restingOffset(offset.x, velocity.x, maxOffsetX(s), s.bounds().width(), s.isPagingEnabled());
  }
  if (scrollsY(s)) {
    target.y = restingOffset(offset.y, velocity.y, maxOffsetY(s), s.bounds().height(), s.isPagingEnabled());
  }
  std::weak_ptr<ScrollView> weak = scroll;
  Animator::shared().settle(scroll, target, [weak] {
    auto view = weak.lock();
    if (!view) return;
    if (auto d = view->delegate()) d->scrollViewDidEndDecelerating(*view);
  });
}

void GestureTracker::unhighlight() {
  if (auto control = controlAbove(hit_); control && control->isHighlighted()) control->setHighlighted(false);
}

void GestureTracker::reset() {
  phase_ = Phase::Idle;
  hit_.reset();
  scroll_.reset();
  samples_.clear();
  alertButton_ = -1;
  tapLost_ = false;
  caughtSettle_ = false;
}

}  // namespace qdx::kit

#include "qdx/kit/View.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "kit/display_stamp.h"
#include "qdx/kit/TapGestureRecognizer.h"
#include "qdx/kit/ViewController.h"
#include "qdx/kit/Window.h"
#include "sdk/QDXLog.h"

namespace qdx::kit {

// Below this alpha a view is treated as invisible to touches.
constexpr double kMinimumTouchableAlpha = 0.01;

namespace {

// Frame numbers beyond this many points are refused: far past any screen,
// and within what the drawing's fixed-point coordinates hold at any scale
// (past it the drawing context fails and nothing more is drawn).
constexpr double kMaxFrameCoordinate = 1e6;

// Whether the kit can lay out and draw a view in frame.
bool isDrawableFrame(const Rect& frame) {
  for (double v : {frame.x(), frame.y(), frame.width(), frame.height()}) {
    if (!std::isfinite(v) || std::fabs(v) > kMaxFrameCoordinate) return false;
  }
  return true;
}

std::string describeFrame(const Rect& frame) {
  std::ostringstream out;
  out << "{{" << frame.x() << ", " << frame.y() << "}, {" << frame.width() << ", " << frame.height() << "}}";
  return out.str();
}

// The frame a view takes: frame itself, or `kept` when frame cannot be
// drawn (with a log line saying so).
Rect acceptedFrame(const Rect& frame, const Rect& kept) {
  if (isDrawableFrame(frame)) return frame;
  debugLog("A view refuses the frame " + describeFrame(frame) + ": its numbers must be finite and within " +
           std::to_string(static_cast<long>(kMaxFrameCoordinate)) + " points; it keeps " + describeFrame(kept));
  return kept;
}

}  // namespace

View::View() : contentVersion_(display_stamp::next()) {}

bool View::setOutlet(const std::string& name, const std::shared_ptr<View>& view) {
  (void)name, (void)view;
  return false;
}
View::View(const Rect& frame)
    : frame_(acceptedFrame(frame, Rect())), contentVersion_(display_stamp::next()) {}

View::~View() {
  // Children outlive a dropped parent only when someone else holds them;
  // they must then forget it.
  for (auto& child : subviews_) child->superview_.reset();
  for (auto& recognizer : recognizers_) recognizer->view_.reset();
}

void View::setFrame(const Rect& frame) {
  frame_ = acceptedFrame(frame, frame_);
  display_stamp::next();
}

void View::setAlpha(double alpha) {
  alpha_ = std::clamp(alpha, 0.0, 1.0);
  display_stamp::next();
}

void View::setHidden(bool hidden) {
  hidden_ = hidden;
  display_stamp::next();
}

void View::setBackgroundColor(std::optional<Color> color) {
  backgroundColor_ = color;
  setNeedsDisplay();
}

void View::setBoundsOrigin(Point origin) {
  boundsOrigin_ = origin;
  display_stamp::next();
}

void View::setNeedsDisplay() { contentVersion_ = display_stamp::next(); }

Point View::convertPointToRoot(Point local) const {
  Point p = local;
  const View* view = this;
  while (view != nullptr) {
    p.x += view->frame_.x() - view->boundsOrigin_.x;
    p.y += view->frame_.y() - view->boundsOrigin_.y;
    auto parent = view->superview_.lock();
    if (!parent) {
      // The root's own frame origin is not part of its coordinates.
      p.x -= view->frame_.x();
      p.y -= view->frame_.y();
      break;
    }
    view = parent.get();
  }
  return p;
}

void View::detachChild(const View* child) {
  auto it = std::find_if(subviews_.begin(), subviews_.end(),
                         [child](const std::shared_ptr<View>& v) { return v.get() == child; });
  if (it != subviews_.end()) subviews_.erase(it);
}

void View::addSubview(const std::shared_ptr<View>& view) {
  insertSubview(view, subviews_.size() + 1);
}

void View::insertSubview(const std::shared_ptr<View>& view, std::size_t index) {
  if (!view || view.get() == this || isDescendantOfView(view.get())) return;
  // Keep the child alive while it moves.
  std::shared_ptr<View> child = view;
  if (auto old = child->superview_.lock()) old->detachChild(child.get());
  index = std::min(index, subviews_.size());
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), child);
  child->superview_ = selfAs<View>();
  display_stamp::next();
}

void View::bringSubviewToFront(const std::shared_ptr<View>& view) {
  if (view && view->superview_.lock().get() == this) addSubview(view);
}

void View::removeFromSuperview() {
  auto parent = superview_.lock();
  superview_.reset();
  if (parent) parent->detachChild(this);
  display_stamp::next();
}

std::shared_ptr<View> View::viewWithTag(long tag) {
  if (tag_ == tag) return selfAs<View>();
  for (auto& child : subviews_) {
    if (auto found = child->viewWithTag(tag)) return found;
  }
  return nullptr;
}

bool View::isDescendantOfView(const View* ancestor) const {
  if (ancestor == nullptr) return false;
  if (ancestor == this) return true;
  for (auto parent = superview_.lock(); parent; parent = parent->superview_.lock()) {
    if (parent.get() == ancestor) return true;
  }
  return false;
}

std::shared_ptr<Window> View::window() const {
  auto top = std::const_pointer_cast<View>(
      std::static_pointer_cast<const View>(weak_from_this().lock()));
  for (auto up = superview_.lock(); up; up = up->superview_.lock()) top = up;
  return std::dynamic_pointer_cast<Window>(top);
}

void View::addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer) {
  if (!recognizer) return;
  if (auto old = recognizer->view()) {
    if (old.get() == this) return;
    old->removeGestureRecognizer(recognizer);
  }
  recognizers_.push_back(recognizer);
  recognizer->view_ = selfAs<View>();
}

void View::removeGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer) {
  auto it = std::find(recognizers_.begin(), recognizers_.end(), recognizer);
  if (it == recognizers_.end()) return;
  (*it)->view_.reset();
  recognizers_.erase(it);
}

bool View::pointInside(Point p) const { return bounds().contains(p); }

std::shared_ptr<View> View::hitTest(Point p) {
  if (hidden_ || alpha_ < kMinimumTouchableAlpha || !userInteractionEnabled_) return nullptr;
  if (!pointInside(p)) return nullptr;
  for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
    const View& child = **it;
    Point inChild{p.x - child.frame_.x() + child.boundsOrigin_.x,
                  p.y - child.frame_.y() + child.boundsOrigin_.y};
    if (auto hit = (*it)->hitTest(inChild)) return hit;
  }
  return selfAs<View>();
}

std::shared_ptr<ViewController> View::viewController() const { return owner_.lock(); }

std::shared_ptr<Responder> View::nextResponder() {
  if (auto owner = owner_.lock()) return owner;
  return superview_.lock();
}

void View::drawContent(Painter& painter) const { (void)painter; }

Rect View::contentExtent() const { return Rect(0, 0, frame_.width(), frame_.height()); }

}  // namespace qdx::kit

#include "qdx/kit/InputSimulator.h"

#include <algorithm>
#include <cmath>

#include "kit/animator.h"
#include "kit/gesture_tracker.h"
#include "platform/env.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/TapGestureRecognizer.h"

namespace qdx::kit {
namespace {

// The root a finger on view touches: its window, or the top of its tree
// when that is in none. at is moved into the returned root's coordinates.
std::shared_ptr<View> screenRootOf(const std::shared_ptr<View>& view, Point& at) {
  auto root = view;
  while (auto up = root->superview()) root = up;
  if (std::dynamic_pointer_cast<Window>(root)) return root;
  // A presented controller's view is shown over its presenter's window.
  auto controller = root->viewController();
  for (auto presenter = controller ? controller->presentingViewController() : nullptr; presenter;
       presenter = presenter->presentingViewController()) {
    if (!presenter->isViewLoaded()) continue;
    if (auto window = presenter->view()->window()) {
      at = {at.x + root->frame().x(), at.y + root->frame().y()};
      return window;
    }
  }
  return root;
}

// A finger down and up at point, at once.
bool tapThrough(const std::shared_ptr<View>& root, Point point) {
  GestureTracker finger(root);
  double t = Env::Default()->monotonicNow();
  if (!finger.down(point, t)) return false;
  finger.up(point, t);
  return finger.lastTapActed();
}

}  // namespace

std::shared_ptr<View> hitTestWindow(const std::shared_ptr<Window>& window, Point point) {
  if (!window) return nullptr;
  auto top = window->topPresentedViewController();
  if (top && top != window->rootViewController()) {
    auto view = top->view();
    Point local{point.x - view->frame().x() + view->bounds().x(),
                point.y - view->frame().y() + view->bounds().y()};
    return view->hitTest(local);
  }
  return window->hitTest(point);
}

bool deliverTap(const std::shared_ptr<View>& hit) {
  for (auto view = hit; view; view = view->superview()) {
    bool recognised = false;
    for (const auto& recognizer : view->gestureRecognizers()) {
      if (!recognizer->isEnabled()) continue;
      recognizer->recognize();
      recognised = true;
    }
    if (recognised) return true;
    if (auto control = std::dynamic_pointer_cast<Control>(view)) {
      if (!control->isEnabled()) return false;
      control->sendActionsForControlEvents(ControlEventTouchUpInside);
      return true;
    }
  }
  return false;
}

bool tapAt(const std::shared_ptr<Window>& window, Point point) {
  if (!window) return false;
  return tapThrough(window, point);
}

bool tapInTree(const std::shared_ptr<View>& root, Point point) {
  if (!root) return false;
  return tapThrough(root, point);
}

bool tapView(const std::shared_ptr<View>& view) {
  if (!view) return false;
  Rect b = view->bounds();
  Point at = view->convertPointToRoot({b.midX(), b.midY()});
  return tapThrough(screenRootOf(view, at), at);
}

long swipe(const std::shared_ptr<ScrollView>& scrollView, double distance) {
  if (!scrollView) return 0;
  double width = scrollView->bounds().width();
  auto pageOf = [width](double x) { return width > 0 ? std::lround(x / width) : 0L; };
  if (distance == 0 || !std::isfinite(distance)) return pageOf(scrollView->contentOffset().x);

  // A quick flick from the middle of the visible content: the finger
  // moves against the content, a frame at a time.
  Rect b = scrollView->bounds();
  Point from = scrollView->convertPointToRoot({b.midX(), b.midY()});
  GestureTracker finger(screenRootOf(scrollView, from));
  // Six moves, never slower than a fling: a tenth of a second at most.
  double t = Env::Default()->monotonicNow();
  constexpr int kMoves = 6;
  const double step = std::min(0.1, std::abs(distance) / (4 * kFlingVelocity)) / kMoves;
  if (finger.down(from, t)) {
    for (int i = 1; i <= kMoves; ++i) {
      finger.move({from.x - distance * i / kMoves, from.y}, t + i * step);
    }
    finger.up({from.x - distance, from.y}, t + kMoves * step);
  }
  // The simulated user waits for the content to come to rest.
  Animator::shared().finishSettle(*scrollView);
  return pageOf(scrollView->contentOffset().x);
}

bool pressAlertAction(const std::shared_ptr<AlertController>& alert, std::size_t index) {
  if (!alert || !alert->presentingViewController() || index >= alert->actions().size()) {
    return false;
  }
  auto action = alert->actions()[index];
  alert->dismissViewController(true, nullptr);
  action->invoke();
  return true;
}

bool pressAlertAction(const std::shared_ptr<AlertController>& alert, const std::string& title) {
  if (!alert) return false;
  const auto& actions = alert->actions();
  for (std::size_t i = 0; i < actions.size(); ++i) {
    if (actions[i]->title() == title) return pressAlertAction(alert, i);
  }
  return false;
}

bool pressAlertViewButton(const std::shared_ptr<AlertView>& alert, long index) {
  if (!alert || !alert->isVisible()) return false;
  if (index < 0 || static_cast<std::size_t>(index) >= alert->buttonTitles().size()) return false;
  alert->dismissWithClickedButtonIndex(index, true);
  return true;
}

}  // namespace qdx::kit

#include "qdx/kit/InputSimulator.h"

#include <algorithm>
#include <cmath>

#include "qdx/kit/Application.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/TapGestureRecognizer.h"

namespace qdx::kit {
namespace {

bool blockedByAlert(const Window& window) {
  auto& app = Application::sharedApplication();
  if (app.keyWindow().get() == &window && !app.visibleAlertViews().empty()) return true;
  auto top = window.topPresentedViewController();
  return top && dynamic_cast<AlertController*>(top.get()) != nullptr;
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
  if (!window || blockedByAlert(*window)) return false;
  return deliverTap(hitTestWindow(window, point));
}

bool tapInTree(const std::shared_ptr<View>& root, Point point) {
  if (!root) return false;
  if (auto window = std::dynamic_pointer_cast<Window>(root)) return tapAt(window, point);
  return deliverTap(root->hitTest(point));
}

bool tapView(const std::shared_ptr<View>& view) {
  if (!view) return false;
  auto root = view;
  while (auto up = root->superview()) root = up;
  Rect b = view->bounds();
  return tapInTree(root, view->convertPointToRoot({b.midX(), b.midY()}));
}

long swipe(const std::shared_ptr<ScrollView>& scrollView, double distance) {
  if (!scrollView) return 0;
  double width = scrollView->bounds().width();
  auto pageOf = [width](double x) { return width > 0 ? std::lround(x / width) : 0L; };
  Point start = scrollView->contentOffset();
  if (distance == 0) return pageOf(start.x);

  double maxX = scrollView->maxContentOffsetX();
  double slack = scrollView->bounces() ? width / 3 : 0;
  double dragged = std::clamp(start.x + distance, -slack, maxX + slack);
  scrollView->setContentOffset({dragged, start.y});
  if (auto d = scrollView->delegate()) d->scrollViewWillBeginDecelerating(*scrollView);

  double settled = std::clamp(dragged, 0.0, maxX);
  if (scrollView->isPagingEnabled() && width > 0) {
    constexpr double kEps = 1e-9;
    double position = dragged / width;
    long page = distance > 0 ? static_cast<long>(std::ceil(position - kEps))
                             : static_cast<long>(std::floor(position + kEps));
    page = std::clamp(page, 0L, scrollView->pageCount() - 1);
    settled = std::clamp(page * width, 0.0, std::max(maxX, 0.0));
  }
  scrollView->setContentOffset({settled, start.y});
  if (auto d = scrollView->delegate()) d->scrollViewDidEndDecelerating(*scrollView);
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

#include "qdx/kit/ViewController.h"

#include "kit/main_thread.h"
#include "platform/log_gate.h"
#include "qdx/kit/Screen.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {

ViewController::ViewController() = default;

ViewController::~ViewController() {
  if (view_) view_->owner_.reset();
}

std::shared_ptr<View> ViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) setView(std::make_shared<View>(Screen::mainScreen().bounds()));
    viewDidLoad();
  }
  return view_;
}

void ViewController::setView(std::shared_ptr<View> view) {
  if (view_) view_->owner_.reset();
  view_ = std::move(view);
  if (view_) view_->owner_ = selfAs<ViewController>();
}

void ViewController::loadView() {
  setView(std::make_shared<View>(Screen::mainScreen().bounds()));
}

bool ViewController::isOnScreen() const {
  if (!presenting_.expired()) return true;
  return view_ && view_->window() != nullptr;
}

void ViewController::presentViewController(const std::shared_ptr<ViewController>& controller,
                                           bool /*animated*/, Completion completion) {
  QDX_KIT_MAIN_THREAD("ViewController::presentViewController");
  if (!controller || controller.get() == this) {
    debugLog("Attempt to present an absent view controller");
    return;
  }
  if (presented_) {
    debugLog("Attempt to present a view controller on one which is already presenting");
    return;
  }
  if (controller->presentingViewController()) {
    debugLog("Attempt to present a view controller that is already presented");
    return;
  }
  if (!isOnScreen()) {
    debugLog("Attempt to present a view controller on one whose view is not in the window hierarchy");
    return;
  }
  presented_ = controller;
  controller->presenting_ = selfAs<ViewController>();
  // The presented view covers the screen.
  controller->view()->setFrame(Screen::mainScreen().bounds());
  if (completion) completion();
}

void ViewController::dismissViewController(bool animated, Completion completion) {
  QDX_KIT_MAIN_THREAD("ViewController::dismissViewController");
  // A presented controller that dismisses itself may be held only by its
  // presenter; keep it alive until this call returns.
  auto self = selfAs<ViewController>();
  if (!presented_) {
    if (auto presenter = presenting_.lock()) {
      presenter->dismissViewController(animated, std::move(completion));
    } else if (completion) {
      completion();
    }
    return;
  }
  // Unlink the whole chain above this controller, top first.
  auto top = presented_;
  while (top->presented_) top = top->presented_;
  while (top.get() != this) {
    auto below = top->presenting_.lock();
    top->presenting_.reset();
    if (!below) break;
    below->presented_.reset();
    top = below;
  }
  if (completion) completion();
}

std::shared_ptr<Responder> ViewController::nextResponder() {
  if (view_) {
    if (auto parent = view_->superview()) return parent;
  }
  return presenting_.lock();
}

}  // namespace qdx::kit

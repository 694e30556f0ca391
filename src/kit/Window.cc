#include "qdx/kit/Window.h"

#include "kit/main_thread.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/Screen.h"

namespace qdx::kit {

Window::Window() : View(Screen::mainScreen().bounds()) {}
Window::Window(const Rect& frame) : View(frame) {}

void Window::setRootViewController(const std::shared_ptr<ViewController>& controller) {
  QDX_KIT_MAIN_THREAD("Window::setRootViewController");
  if (controller == root_) return;
  if (root_ && root_->isViewLoaded()) {
    auto old = root_->view();
    if (old->superview().get() == this) old->removeFromSuperview();
  }
  root_ = controller;
  if (root_) {
    auto view = root_->view();
    view->setFrame(bounds());
    addSubview(view);
  }
}

std::shared_ptr<ViewController> Window::topPresentedViewController() const {
  auto top = root_;
  while (top && top->presentedViewController()) top = top->presentedViewController();
  return top;
}

void Window::makeKeyAndVisible() {
  QDX_KIT_MAIN_THREAD("Window::makeKeyAndVisible");
  setHidden(false);
  auto self = selfAs<Window>();
  Application::sharedApplication().addWindow(self);
  Application::sharedApplication().setKeyWindow(self);
}

}  // namespace qdx::kit

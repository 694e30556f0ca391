#include "qdx/kit/Application.h"

#include <algorithm>

#include "platform/env.h"
#include "platform/log_gate.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {

Application& Application::sharedApplication() {
  static Application* app = new Application();  // lives for the process
  return *app;
}

std::shared_ptr<ApplicationDelegate> Application::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_;
}

void Application::setDelegate(std::shared_ptr<ApplicationDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

std::vector<std::shared_ptr<Window>> Application::windows() const {
  std::lock_guard lock(mutex_);
  return windows_;
}

void Application::addWindow(const std::shared_ptr<Window>& window) {
  if (!window) return;
  std::lock_guard lock(mutex_);
  if (std::find(windows_.begin(), windows_.end(), window) == windows_.end()) {
    windows_.push_back(window);
  }
}

void Application::removeWindow(const std::shared_ptr<Window>& window) {
  std::lock_guard lock(mutex_);
  windows_.erase(std::remove(windows_.begin(), windows_.end(), window), windows_.end());
  if (keyWindow_.lock() == window) keyWindow_.reset();
}

std::shared_ptr<Window> Application::keyWindow() const {
  std::lock_guard lock(mutex_);
  return keyWindow_.lock();
}

void Application::setKeyWindow(const std::shared_ptr<Window>& window) {
  std::lock_guard lock(mutex_);
  keyWindow_ = window;
}

ApplicationState Application::applicationState() const {
  int state = Env::Default()->applicationState();
  if (state < ApplicationStateActive || state > ApplicationStateBackground) {
    return ApplicationStateActive;
  }
  return static_cast<ApplicationState>(state);
}

void Application::setApplicationState(ApplicationState state) {
  if (!Env::Default()->setApplicationState(state)) {
    debugLog("The installed platform does not let the application state be set");
  }
}

bool Application::openURL(const std::string& url) { return Env::Default()->openURL(url); }

bool Application::isMainThread() { return RunLoop::isMainThread(); }

std::vector<std::shared_ptr<AlertView>> Application::visibleAlertViews() const {
  std::lock_guard lock(mutex_);
  return alerts_;
}

void Application::addVisibleAlertView(const std::shared_ptr<AlertView>& alert) {
  if (!alert) return;
  std::lock_guard lock(mutex_);
  alerts_.push_back(alert);
}

void Application::removeVisibleAlertView(const AlertView* alert) {
  std::shared_ptr<AlertView> keep;  // released after the lock
  std::lock_guard lock(mutex_);
  auto it = std::find_if(alerts_.begin(), alerts_.end(),
                         [alert](const std::shared_ptr<AlertView>& a) { return a.get() == alert; });
  if (it != alerts_.end()) {
    keep = *it;
    alerts_.erase(it);
  }
}

}  // namespace qdx::kit

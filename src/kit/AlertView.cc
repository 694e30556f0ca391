#include "qdx/kit/AlertView.h"

#include "kit/main_thread.h"
#include "platform/log_gate.h"
#include "qdx/kit/Application.h"

namespace qdx::kit {

AlertView::AlertView(std::optional<std::string> title, std::optional<std::string> message,
                     std::weak_ptr<AlertViewDelegate> delegate,
                     std::optional<std::string> cancelButtonTitle,
                     std::vector<std::string> otherButtonTitles)
    : title_(std::move(title)),
      message_(std::move(message)),
      delegate_(std::move(delegate)),
      hasCancel_(cancelButtonTitle.has_value()) {
  if (cancelButtonTitle) buttons_.push_back(std::move(*cancelButtonTitle));
  for (auto& other : otherButtonTitles) buttons_.push_back(std::move(other));
}

void AlertView::show() {
  QDX_KIT_MAIN_THREAD("AlertView::show");
  // An alert not owned by a shared_ptr cannot be kept on screen.
  auto self = weak_from_this().lock();
  if (!self) {
    debugLog("An alert view must be made with std::make_shared to be shown");
    return;
  }
  if (!isVisible()) Application::sharedApplication().addVisibleAlertView(self);
}

bool AlertView::isVisible() const {
  for (const auto& alert : Application::sharedApplication().visibleAlertViews()) {
    if (alert.get() == this) return true;
  }
  return false;
}

void AlertView::dismissWithClickedButtonIndex(long buttonIndex, bool /*animated*/) {
  QDX_KIT_MAIN_THREAD("AlertView::dismissWithClickedButtonIndex");
  // Keep this alive: the application may hold the last reference.
  auto self = weak_from_this().lock();
  if (buttonIndex >= 0 && static_cast<std::size_t>(buttonIndex) < buttons_.size()) {
    if (auto d = delegate()) d->clickedButtonAtIndex(*this, buttonIndex);
  }
  Application::sharedApplication().removeVisibleAlertView(this);
}

}  // namespace qdx::kit

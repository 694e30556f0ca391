#pragma once
// The older alert style: shown on its own (no presenter) over the key
// window, with a cancel button (index 0 when present) and other buttons.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"

namespace qdx::kit {

class AlertView;

class QDX_EXPORT AlertViewDelegate {
 public:
  virtual ~AlertViewDelegate() = default;
  // A button was pressed; the alert is dismissed afterwards.
  virtual void clickedButtonAtIndex(AlertView& alertView, long buttonIndex) {
    (void)alertView, (void)buttonIndex;
  }
};

class QDX_EXPORT AlertView : public std::enable_shared_from_this<AlertView> {
 public:
  AlertView(std::optional<std::string> title, std::optional<std::string> message,
            std::weak_ptr<AlertViewDelegate> delegate,
            std::optional<std::string> cancelButtonTitle,
            std::vector<std::string> otherButtonTitles);

  const std::optional<std::string>& title() const { return title_; }
  const std::optional<std::string>& message() const { return message_; }
  std::shared_ptr<AlertViewDelegate> delegate() const { return delegate_.lock(); }
  // The cancel button (when given) first, then the others.
  const std::vector<std::string>& buttonTitles() const { return buttons_; }
  // 0 when a cancel button was given, else -1.
  long cancelButtonIndex() const { return hasCancel_ ? 0 : -1; }

  // Puts the alert on screen (the application keeps it until dismissed).
  // Only an alert owned by a shared_ptr can be shown; others log a line
  // and stay off screen.
  void show();
  bool isVisible() const;
  // Tells the delegate which button was pressed (when index is a button),
  // then takes the alert off screen.
  void dismissWithClickedButtonIndex(long buttonIndex, bool animated);

 private:
  std::optional<std::string> title_;
  std::optional<std::string> message_;
  std::weak_ptr<AlertViewDelegate> delegate_;
  std::vector<std::string> buttons_;
  bool hasCancel_;
};

}  // namespace qdx::kit

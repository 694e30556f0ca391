#pragma once
// Alerts: a title, a message and buttons (actions), presented modally from
// a view controller. Pressing an action dismisses the alert and then calls
// the action's handler.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/ViewController.h"

namespace qdx::kit {

enum AlertActionStyle : int {
  AlertActionStyleDefault = 0,
  AlertActionStyleCancel = 1,
  AlertActionStyleDestructive = 2,
};

enum AlertControllerStyle : int {
  AlertControllerStyleActionSheet = 0,
  AlertControllerStyleAlert = 1,
};

class QDX_EXPORT AlertAction : public std::enable_shared_from_this<AlertAction> {
 public:
  using Handler = std::function<void(const std::shared_ptr<AlertAction>& action)>;

  // handler may be empty (an action without a handler).
  static std::shared_ptr<AlertAction> actionWithTitle(std::optional<std::string> title,
                                                      AlertActionStyle style, Handler handler);
  AlertAction(std::optional<std::string> title, AlertActionStyle style, Handler handler);

  const std::optional<std::string>& title() const { return title_; }
  AlertActionStyle style() const { return style_; }
  bool hasHandler() const { return static_cast<bool>(handler_); }
  // Calls the handler, if any.
  void invoke();

 private:
  std::optional<std::string> title_;
  AlertActionStyle style_;
  Handler handler_;
};

class QDX_EXPORT AlertController : public ViewController {
 public:
  static std::shared_ptr<AlertController> alertControllerWithTitle(
      std::optional<std::string> title, std::optional<std::string> message,
      AlertControllerStyle preferredStyle);
  AlertController(std::optional<std::string> title, std::optional<std::string> message,
                  AlertControllerStyle preferredStyle);

  const std::optional<std::string>& title() const { return title_; }
  const std::optional<std::string>& message() const { return message_; }
  AlertControllerStyle preferredStyle() const { return style_; }

  // Appends action (nullptr is ignored).
  void addAction(const std::shared_ptr<AlertAction>& action);
  const std::vector<std::shared_ptr<AlertAction>>& actions() const { return actions_; }

  // A translucent full-screen backdrop; the box is drawn by the renderer.
  void loadView() override;

 private:
  std::optional<std::string> title_;
  std::optional<std::string> message_;
  AlertControllerStyle style_;
  std::vector<std::shared_ptr<AlertAction>> actions_;
};

}  // namespace qdx::kit

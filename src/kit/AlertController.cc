#include "qdx/kit/AlertController.h"

#include "qdx/kit/Screen.h"

namespace qdx::kit {

std::shared_ptr<AlertAction> AlertAction::actionWithTitle(std::optional<std::string> title,
                                                          AlertActionStyle style, Handler handler) {
  return std::make_shared<AlertAction>(std::move(title), style, std::move(handler));
}

AlertAction::AlertAction(std::optional<std::string> title, AlertActionStyle style, Handler handler)
    : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

void AlertAction::invoke() {
  if (handler_) handler_(weak_from_this().lock());
}

std::shared_ptr<AlertController> AlertController::alertControllerWithTitle(
    std::optional<std::string> title, std::optional<std::string> message,
    AlertControllerStyle preferredStyle) {
  return std::make_shared<AlertController>(std::move(title), std::move(message), preferredStyle);
}

AlertController::AlertController(std::optional<std::string> title,
                                 std::optional<std::string> message,
                                 AlertControllerStyle preferredStyle)
    : title_(std::move(title)), message_(std::move(message)), style_(preferredStyle) {}

void AlertController::addAction(const std::shared_ptr<AlertAction>& action) {
  if (action) actions_.push_back(action);
}

void AlertController::loadView() {
  auto backdrop = std::make_shared<View>(Screen::mainScreen().bounds());
  backdrop->setBackgroundColor(Color::rgba(0, 0, 0, 0.4));
  setView(backdrop);
}

}  // namespace qdx::kit

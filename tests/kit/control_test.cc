// Target-actions of controls.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qdx/kit/Button.h"

namespace qdx::kit {
namespace {

TEST(ControlActions, OnlyLiveActionsForTheSentEventsRunWithTheControlAsSender) {
  auto button = Button::buttonWithType(ButtonTypeCustom);
  button->setTag(4);
  auto target = std::make_shared<int>(0);
  auto gone = std::make_shared<int>(0);
  std::vector<std::string> calls;
  button->addTarget(target, [&](const std::shared_ptr<Control>& sender) {
    calls.push_back("up:" + std::to_string(sender->tag()));
  }, 64);  // touch-up-inside
  button->addTarget(gone, [&](const std::shared_ptr<Control>&) { calls.push_back("gone"); },
                    ControlEventTouchUpInside);
  button->addAction([&](const std::shared_ptr<Control>&) { calls.push_back("down"); },
                    ControlEventTouchDown);
  gone.reset();
  EXPECT_EQ(button->actionCount(ControlEventTouchUpInside), 1u);
  button->sendActionsForControlEvents(ControlEventTouchUpInside);
  EXPECT_EQ(calls, (std::vector<std::string>{"up:4"}));
}

}  // namespace
}  // namespace qdx::kit

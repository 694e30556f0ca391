#include "qdx/kit/Control.h"

namespace qdx::kit {

void Control::addTarget(std::weak_ptr<void> target, Action action, ControlEvents mask) {
  if (action && mask != 0) entries_.push_back({std::move(target), true, std::move(action), mask});
}

void Control::addAction(Action action, ControlEvents mask) {
  if (action && mask != 0) entries_.push_back({{}, false, std::move(action), mask});
}

bool Control::live(const Entry& entry) const {
  return !entry.hasTarget || !entry.target.expired();
}

std::size_t Control::actionCount(ControlEvents mask) const {
  std::size_t n = 0;
  for (const auto& entry : entries_) {
    if ((entry.mask & mask) != 0 && live(entry)) ++n;
  }
  return n;
}

void Control::sendActionsForControlEvents(ControlEvents mask) {
  auto self = selfAs<Control>();
  // Copy: an action may change the registrations (or drop this control
  // from the tree; self keeps it alive meanwhile).
  auto entries = entries_;
  for (auto& entry : entries) {
    if ((entry.mask & mask) != 0 && live(entry)) entry.action(self);
  }
}

ControlState Control::state() const {
  ControlState s = ControlStateNormal;
  if (highlighted_) s |= ControlStateHighlighted;
  if (!enabled_) s |= ControlStateDisabled;
  if (selected_) s |= ControlStateSelected;
  return s;
}

}  // namespace qdx::kit

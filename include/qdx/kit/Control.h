#pragma once
// Controls: views that send actions to targets when control events happen.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

using ControlEvents = std::uint32_t;
enum : ControlEvents {
  ControlEventTouchDown = 1u << 0,
  ControlEventTouchUpInside = 1u << 6,  // 64
  ControlEventTouchUpOutside = 1u << 7,
  ControlEventTouchCancel = 1u << 8,  // the system took the touch (a drag began)
  ControlEventValueChanged = 1u << 12,
  ControlEventAllEvents = 0xFFFFFFFFu,
};

using ControlState = std::uint32_t;
enum : ControlState {
  ControlStateNormal = 0,
  ControlStateHighlighted = 1u << 0,
  ControlStateDisabled = 1u << 1,
  ControlStateSelected = 1u << 2,
};

class QDX_EXPORT Control : public View {
 public:
  using Action = std::function<void(const std::shared_ptr<Control>& sender)>;

  using View::View;

  // Calls action for any of the events in mask. The target is held weakly:
  // once it is gone its action is no longer called.
  void addTarget(std::weak_ptr<void> target, Action action, ControlEvents mask);
  // Like addTarget, with no target: the action is always called.
  void addAction(Action action, ControlEvents mask);
  // Drops every target-action.
  void removeAllTargets() { entries_.clear(); }
  // The number of live target-actions registered for any event of mask.
  std::size_t actionCount(ControlEvents mask) const;

  // Calls, in registration order, every live action registered for any
  // event of mask, with this control as the sender.
  void sendActionsForControlEvents(ControlEvents mask);

  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) {
    enabled_ = enabled;
    setNeedsDisplay();
  }
  bool isSelected() const { return selected_; }
  void setSelected(bool selected) {
    selected_ = selected;
    setNeedsDisplay();
  }
  bool isHighlighted() const { return highlighted_; }
  void setHighlighted(bool highlighted) {
    highlighted_ = highlighted;
    setNeedsDisplay();
  }
  // The current state bits.
  ControlState state() const;

 private:
  struct Entry {
    std::weak_ptr<void> target;
    bool hasTarget;
    Action action;
    ControlEvents mask;
  };
  bool live(const Entry& entry) const;

  std::vector<Entry> entries_;
  bool enabled_ = true;
  bool selected_ = false;
  bool highlighted_ = false;
};

}  // namespace qdx::kit

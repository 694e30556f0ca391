#pragma once
// A single-tap recogniser. It calls its target-actions when a tap lands on
// its view or a descendant that does not handle the tap itself.
#include <functional>
#include <memory>
#include <vector>

#include "qdx/QDXExport.h"

namespace qdx::kit {

class View;

class QDX_EXPORT TapGestureRecognizer : public std::enable_shared_from_this<TapGestureRecognizer> {
 public:
  using Action = std::function<void(const std::shared_ptr<TapGestureRecognizer>& sender)>;

  TapGestureRecognizer() = default;
  // Adds the first target-action, as addTarget does.
  TapGestureRecognizer(std::weak_ptr<void> target, Action action);

  // Adds a target-action. The target is held weakly: once it is gone its
  // action is no longer called.
  void addTarget(std::weak_ptr<void> target, Action action);
  // Adds an action that has no target and is always called.
  void addAction(Action action);

  // The view the recogniser is attached to, or nullptr.
  std::shared_ptr<View> view() const { return view_.lock(); }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { enabled_ = enabled; }

  // Called by the input system when a tap is recognised: calls every live
  // target's action in the order added. Does nothing while disabled.
  void recognize();

 private:
  friend class View;
  struct Entry {
    std::weak_ptr<void> target;
    bool hasTarget;
    Action action;
  };
  std::weak_ptr<View> view_;
  std::vector<Entry> entries_;
  bool enabled_ = true;
};

}  // namespace qdx::kit

#include "qdx/kit/TapGestureRecognizer.h"

namespace qdx::kit {

TapGestureRecognizer::TapGestureRecognizer(std::weak_ptr<void> target, Action action) {
  addTarget(std::move(target), std::move(action));
}

void TapGestureRecognizer::addTarget(std::weak_ptr<void> target, Action action) {
  if (action) entries_.push_back({std::move(target), true, std::move(action)});
}

void TapGestureRecognizer::addAction(Action action) {
  if (action) entries_.push_back({{}, false, std::move(action)});
}

void TapGestureRecognizer::recognize() {
  if (!enabled_) return;
  // nullptr as the sender when the recogniser is not owned by a shared_ptr.
  auto self = weak_from_this().lock();
  // Copy: an action may add targets to this recogniser.
  auto entries = entries_;
  for (auto& entry : entries) {
    if (entry.hasTarget && entry.target.expired()) continue;
    entry.action(self);
  }
}

}  // namespace qdx::kit

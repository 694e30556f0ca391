#include "kit/animator.h"

#include <algorithm>
#include <cmath>

#include "kit/display_stamp.h"
#include "kit/pixel_grid.h"
#include "platform/env.h"
#include "qdx/kit/ActivityIndicatorView.h"
#include "qdx/kit/ScrollView.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {
namespace {

// Sixty steps a second, as a display refreshes.
constexpr double kStepSeconds = 1.0 / 60;

double clockNow() { return Env::Default()->monotonicNow(); }

double progressSince(double start, double duration, double now) {
  if (!(duration > 0)) return 1;
  return std::clamp((now - start) / duration, 0.0, 1.0);
}

}  // namespace

double easeOut(double progress) {
  double rest = 1 - std::clamp(progress, 0.0, 1.0);
  return 1 - rest * rest * rest;
}

Animator& Animator::shared() {
  static Animator* const animator = new Animator();  // kept for the process
  return *animator;
}

PresentationLook Animator::lookAt(ModalTransitionStyle style, bool appearing, double progress,
                                  double height) {
  double shown = appearing ? easeOut(progress) : 1 - easeOut(progress);
  PresentationLook look;
  if (style == ModalTransitionStyleCoverVertical) {
    look.offsetY = std::round((1 - shown) * height);
    if (!appearing && progress >= 1) look.alpha = 0;
  } else {
    // Cross-dissolve, and the styles drawn as one.
    look.alpha = shown;
  }
  return look;
}

void Animator::presentationBegan(const std::shared_ptr<View>& view, ModalTransitionStyle style) {
  if (!view) return;
  std::erase_if(transitions_, [&](const Transition& t) { return t.view.lock() == view; });
  Transition t{view, {}, style, true, clockNow(), {}};
  t.look = lookAt(style, true, 0, view->bounds().height());
  transitions_.push_back(std::move(t));
  display_stamp::next();
  ensureTicking();
}

void Animator::presentationEnded(const std::shared_ptr<View>& view, const std::shared_ptr<Window>& window,
                                 ModalTransitionStyle style) {
  if (!view || !window) return;
  // It leaves from where its appearance had got to.
  std::erase_if(transitions_, [&](const Transition& t) { return t.view.lock() == view; });
  Transition t{view, window, style, false, clockNow(), {}};
  t.look = lookAt(style, false, 0, view->bounds().height());
  transitions_.push_back(std::move(t));
  display_stamp::next();
  ensureTicking();
}

PresentationLook Animator::lookOf(const View& view) const {
  for (const auto& t : transitions_) {
    if (t.appearing && t.view.lock().get() == &view) return t.look;
  }
  return {};
}

std::vector<DepartingView> Animator::departingFrom(const Window& window) const {
  std::vector<DepartingView> views;
  for (const auto& t : transitions_) {
    if (t.appearing || t.window.lock().get() != &window) continue;
    if (auto view = t.view.lock()) views.push_back({view, t.look});
  }
  return views;
}

void Animator::settle(const std::shared_ptr<ScrollView>& scrollView, Point target,
                      std::function<void()> done) {
  if (!scrollView) return;
  stopSettle(*scrollView);
  settles_.push_back({scrollView, scrollView->contentOffset(), target, clockNow(), std::move(done)});
  ensureTicking();
}

bool Animator::stopSettle(const ScrollView& scrollView) {
  return std::erase_if(settles_, [&](const Settle& s) { return s.view.lock().get() == &scrollView; }) > 0;
}

bool Animator::finishSettle(const ScrollView& scrollView) {
  auto found = std::find_if(settles_.begin(), settles_.end(),
                            [&](const Settle& s) { return s.view.lock().get() == &scrollView; });
  if (found == settles_.end()) return false;
  Settle settle = std::move(*found);
  settles_.erase(found);
  if (auto view = settle.view.lock()) view->setContentOffset(settle.to);
  if (settle.done) settle.done();
  return true;
}

bool Animator::isSettling(const ScrollView& scrollView) const {
  return std::any_of(settles_.begin(), settles_.end(),
                     [&](const Settle& s) { return s.view.lock().get() == &scrollView; });
}

void Animator::spinChanged(const std::shared_ptr<ActivityIndicatorView>& indicator) {
  if (!indicator) return;
  std::erase_if(spins_, [&](const Spin& s) {
    auto view = s.view.lock();
    return !view || view == indicator;
  });
  if (indicator->isAnimating()) {
    spins_.push_back({indicator, clockNow()});
    ensureTicking();
  }
}

bool Animator::isAnimating() const {
  return !transitions_.empty() || !settles_.empty() || !spins_.empty();
}

void Animator::step() {
  const double now = clockNow();
  for (auto it = transitions_.begin(); it != transitions_.end();) {
    auto view = it->view.lock();
    double progress = progressSince(it->start, kTransitionSeconds, now);
    if (!view || progress >= 1) {
      it = transitions_.erase(it);
      display_stamp::next();
      continue;
    }
    PresentationLook look = lookAt(it->style, it->appearing, progress, view->bounds().height());
    if (look.alpha != it->look.alpha || look.offsetY != it->look.offsetY) {
      it->look = look;
      display_stamp::next();
    }
    ++it;
  }

  // A settle's done may start another settle or end this one: take the
  // finished ones out before calling anything.
  std::vector<Settle> finished;
  std::vector<std::pair<std::weak_ptr<ScrollView>, Point>> moves;
  for (auto it = settles_.begin(); it != settles_.end();) {
    double progress = progressSince(it->start, kSettleSeconds, now);
    if (it->view.expired() || progress >= 1) {
      finished.push_back(std::move(*it));
      it = settles_.erase(it);
      continue;
    }
    double eased = easeOut(progress);
    moves.emplace_back(it->view, Point{it->from.x + (it->to.x - it->from.x) * eased,
                                       it->from.y + (it->to.y - it->from.y) * eased});
    ++it;
  }
  for (auto& [weak, offset] : moves) {
    if (auto view = weak.lock()) view->setContentOffset(onPixelGrid(offset));
  }
  for (auto& settle : finished) {
    auto view = settle.view.lock();
    if (!view) continue;
    view->setContentOffset(settle.to);
    if (settle.done) settle.done();
  }

  for (auto it = spins_.begin(); it != spins_.end();) {
    auto view = it->view.lock();
    if (!view || !view->isAnimating()) {
      it = spins_.erase(it);
      continue;
    }
    long stepNumber = static_cast<long>(std::floor((now - it->start) * kSpinStepsPerSecond));
    view->setSpinStep(static_cast<int>(((stepNumber % 12) + 12) % 12));
    ++it;
  }

  if (!isAnimating() && timer_ != 0) {
    RunLoop::main().cancelTimer(timer_);
    timer_ = 0;
  }
}

void Animator::ensureTicking() {
  if (timer_ != 0) return;
  timer_ = RunLoop::main().addTimer(kStepSeconds, /*repeats=*/true, [] { Animator::shared().step(); });
}

}  // namespace qdx::kit

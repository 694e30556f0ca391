#pragma once
// Turns pointer events into what a finger does on a phone: taps, drags of
// scroll views with rubber-band ends, flings that settle on a page, button
// cancels, and alerts that take every pointer. A surface feeds it the
// host's events; the input simulator feeds it the events of a scripted tap
// or swipe, so both go the same way. Main thread only.
#include <memory>
#include <vector>

#include "qdx/kit/Geometry.h"

namespace qdx::kit {

class ScrollView;
class View;

// A tap is a down and an up this close, this soon.
inline constexpr double kTapSlop = 10;         // points
inline constexpr double kTapMaxSeconds = 0.5;
// A release faster than this (points a second) flings to the next page.
inline constexpr double kFlingVelocity = 300;

class GestureTracker {
 public:
  // Events arrive in root's coordinates: a window's, or those of the top
  // of a tree that is in no window (its frame's size, from 0, 0).
  explicit GestureTracker(std::shared_ptr<View> root);

  // Each returns whether the kit's views took the event (see Surface).
  bool down(Point point, double seconds);
  bool move(Point point, double seconds);
  bool up(Point point, double seconds);
  void cancel();

  // The scroll view the last drag released, or nullptr.
  std::shared_ptr<ScrollView> lastReleased() const { return released_.lock(); }
  // The result of the last tap: whether an action ran.
  bool lastTapActed() const { return tapActed_; }

 private:
  enum class Phase { Idle, Pressing, Dragging, Alert };
  struct Sample {
    Point point;
    double seconds;
  };

  bool accept(Point point, double seconds, const char* what);
  std::shared_ptr<View> hitTest(Point point) const;
  void release(Point velocity);
  void unhighlight();
  void reset();

  std::shared_ptr<View> root_;
  Phase phase_ = Phase::Idle;
  double lastSeconds_ = 0;
  bool hasTime_ = false;
  Point start_;
  double startSeconds_ = 0;
  std::shared_ptr<View> hit_;
  std::shared_ptr<ScrollView> scroll_;
  Point startOffset_;
  bool caughtSettle_ = false;
  bool tapLost_ = false;
  std::vector<Sample> samples_;
  int alertButton_ = -1;
  std::weak_ptr<ScrollView> released_;
  bool tapActed_ = false;
};

}  // namespace qdx::kit

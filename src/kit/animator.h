#pragma once
// The kit's animations, stepped on the main run loop: presentations fading
// (or sliding) in and out, scroll views settling on a page, and activity
// indicators spinning. The view tree never waits for them: a presented
// controller is in the tree at once and a dismissed one leaves it at once;
// only what a surface draws follows the clock. Time is the platform's
// monotonic clock, so a test that steps it steps every animation.
//
// Main thread only.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "qdx/RunLoop.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/ViewController.h"

namespace qdx::kit {

class ActivityIndicatorView;
class ScrollView;
class View;
class Window;

// How long presentations and page settles take, in seconds.
inline constexpr double kTransitionSeconds = 0.3;
inline constexpr double kSettleSeconds = 0.3;
// The spinner's steps per second (one spoke each).
inline constexpr double kSpinStepsPerSecond = 12;

// A drawing adjustment for a presented view in transition.
struct PresentationLook {
  double alpha = 1;   // multiplies the view's own alpha
  double offsetY = 0; // points the view is drawn below its frame
};

// A dismissed view still drawn while it fades or slides away.
struct DepartingView {
  std::shared_ptr<View> view;
  PresentationLook look;
};

class Animator {
 public:
  static Animator& shared();

  // view was presented in window with style, animated.
  void presentationBegan(const std::shared_ptr<View>& view, ModalTransitionStyle style);
  // view left window's tree by an animated dismissal; it is drawn over
  // the window until the transition ends, while someone still holds it
  // (the animation never keeps a dismissed controller's view alive).
  void presentationEnded(const std::shared_ptr<View>& view, const std::shared_ptr<Window>& window,
                         ModalTransitionStyle style);
  // How view is drawn now: the identity unless it is being presented.
  PresentationLook lookOf(const View& view) const;
  // The views leaving window, in the order they left.
  std::vector<DepartingView> departingFrom(const Window& window) const;

  // Moves scrollView's content to target over kSettleSeconds with an
  // ease-out curve, then calls done. Replaces a settle already running
  // there (whose done is dropped).
  void settle(const std::shared_ptr<ScrollView>& scrollView, Point target, std::function<void()> done);
  // Stops scrollView's settle where it is, without calling done (a finger
  // caught the content). False when none was running.
  bool stopSettle(const ScrollView& scrollView);
  // Ends scrollView's settle at once: the target offset, then done. False
  // when none was running.
  bool finishSettle(const ScrollView& scrollView);
  bool isSettling(const ScrollView& scrollView) const;

  // indicator started (or stopped) animating.
  void spinChanged(const std::shared_ptr<ActivityIndicatorView>& indicator);

  // True while some animation still has steps to take.
  bool isAnimating() const;
  // Applies the clock's current time to every animation (the run-loop
  // timer calls it at 60 Hz while something animates).
  void step();

 private:
  Animator() = default;
  struct Transition {
    std::weak_ptr<View> view;
    std::weak_ptr<Window> window;
    ModalTransitionStyle style;
    bool appearing;
    double start;
    PresentationLook look;
  };
  struct Settle {
    std::weak_ptr<ScrollView> view;
    Point from;
    Point to;
    double start;
    std::function<void()> done;
  };
  struct Spin {
    std::weak_ptr<ActivityIndicatorView> view;
    double start;
  };
  static PresentationLook lookAt(ModalTransitionStyle style, bool appearing, double progress,
                                 double height);
  void ensureTicking();

  std::vector<Transition> transitions_;
  std::vector<Settle> settles_;
  std::vector<Spin> spins_;
  RunLoop::TimerId timer_ = 0;
};

// The ease-out curve: progress 0..1 to eased progress 0..1.
double easeOut(double progress);

}  // namespace qdx::kit

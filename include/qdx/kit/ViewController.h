#pragma once
// View controllers: own a root view (made on first use) and present other
// controllers modally over the screen.
#include <functional>
#include <memory>

#include "qdx/QDXExport.h"
#include "qdx/kit/Responder.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

enum ModalTransitionStyle : int {
  ModalTransitionStyleCoverVertical = 0,
  ModalTransitionStyleFlipHorizontal = 1,
  ModalTransitionStyleCrossDissolve = 2,
  ModalTransitionStylePartialCurl = 3,
};

enum InterfaceOrientation : int {
  InterfaceOrientationUnknown = 0,
  InterfaceOrientationPortrait = 1,
  InterfaceOrientationPortraitUpsideDown = 2,
  InterfaceOrientationLandscapeRight = 3,
  InterfaceOrientationLandscapeLeft = 4,
};

using InterfaceOrientationMask = unsigned;
enum : InterfaceOrientationMask {
  InterfaceOrientationMaskPortrait = 1u << InterfaceOrientationPortrait,
  InterfaceOrientationMaskLandscapeLeft = 1u << InterfaceOrientationLandscapeLeft,
  InterfaceOrientationMaskLandscapeRight = 1u << InterfaceOrientationLandscapeRight,
  InterfaceOrientationMaskPortraitUpsideDown = 1u << InterfaceOrientationPortraitUpsideDown,
  InterfaceOrientationMaskAllButUpsideDown = (1u << 1) | (1u << 3) | (1u << 4),
};

class QDX_EXPORT ViewController : public Responder {
 public:
  using Completion = std::function<void()>;

  ViewController();
  ~ViewController() override;

  // The root view, made by loadView (and followed by viewDidLoad) on first
  // use. Must be called on a controller owned by a shared_ptr.
  std::shared_ptr<View> view();
  bool isViewLoaded() const { return view_ != nullptr; }
  // Replaces the root view without calling viewDidLoad.
  void setView(std::shared_ptr<View> view);
  // Makes the root view; the default is a plain view as large as the main
  // screen. Overrides call setView.
  virtual void loadView();
  // Called once, right after the root view was made.
  virtual void viewDidLoad() {}

  // Presents controller full screen over this one and then calls
  // completion (when given). Refused, with a log line and no completion,
  // when controller is nullptr, this or already presented, when this
  // controller already presents one, or when this controller is not on
  // screen (its view in no window and itself not presented).
  void presentViewController(const std::shared_ptr<ViewController>& controller, bool animated,
                             Completion completion);
  // Dismisses the controller this one presents (and everything above it);
  // with none, asks the presenter to dismiss this one. Calls completion (when
  // given) once, before returning, even when there was nothing to dismiss:
  // a caller that waits for it to tidy up must not be left waiting. This
  // controller stays alive for the whole call, though the dismissal may
  // drop the presenter's last reference to it.
  void dismissViewController(bool animated, Completion completion);
  std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }
  // True when this controller's view is in a window or it is presented.
  bool isOnScreen() const;

  ModalTransitionStyle modalTransitionStyle() const { return transition_; }
  void setModalTransitionStyle(ModalTransitionStyle style) { transition_ = style; }

  virtual bool shouldAutorotate() { return true; }
  virtual InterfaceOrientationMask supportedInterfaceOrientations() {
    return InterfaceOrientationMaskAllButUpsideDown;
  }
  virtual InterfaceOrientation preferredInterfaceOrientationForPresentation() {
    return InterfaceOrientationPortrait;
  }

  // The root view's superview, else the presenter.
  std::shared_ptr<Responder> nextResponder() override;

 private:
  std::shared_ptr<View> view_;
  std::shared_ptr<ViewController> presented_;
  std::weak_ptr<ViewController> presenting_;
  ModalTransitionStyle transition_ = ModalTransitionStyleCoverVertical;
};

}  // namespace qdx::kit

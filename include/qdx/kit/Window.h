#pragma once
// Windows: the roots of view trees, stacked by level.
#include <memory>

#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"
#include "qdx/kit/ViewController.h"

namespace qdx::kit {

using WindowLevel = double;
inline constexpr WindowLevel WindowLevelNormal = 0;
inline constexpr WindowLevel WindowLevelStatusBar = 1000;
inline constexpr WindowLevel WindowLevelAlert = 2000;

class QDX_EXPORT Window : public View {
 public:
  // A window as large as the main screen.
  Window();
  explicit Window(const Rect& frame);

  WindowLevel windowLevel() const { return level_; }
  void setWindowLevel(WindowLevel level) { level_ = level; }

  // Setting a root view controller puts its view (sized to the window)
  // into the window in place of the previous root's view.
  std::shared_ptr<ViewController> rootViewController() const { return root_; }
  void setRootViewController(const std::shared_ptr<ViewController>& controller);

  // The topmost controller of the presentation chain that starts at the
  // root view controller (the root itself when it presents nothing).
  std::shared_ptr<ViewController> topPresentedViewController() const;

  // Registers the window with the shared application and makes it key.
  void makeKeyAndVisible();

  // What follows the window in the responder chain: the application
  // normally (reported as nullptr, it is no view controller); a host or a
  // test may put another responder there.
  std::shared_ptr<Responder> nextResponder() override { return next_.lock(); }
  void setNextResponder(std::weak_ptr<Responder> next) { next_ = std::move(next); }

 private:
  WindowLevel level_ = WindowLevelNormal;
  std::shared_ptr<ViewController> root_;
  std::weak_ptr<Responder> next_;
};

}  // namespace qdx::kit

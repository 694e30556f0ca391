#pragma once
// The shared application: its delegate's window, its windows, its state and
// the open-URL service. Safe to query from any thread.
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"

namespace qdx::kit {

class AlertView;
class Window;

// The host's application delegate; the SDK reads only its window.
class QDX_EXPORT ApplicationDelegate {
 public:
  virtual ~ApplicationDelegate() = default;
  std::shared_ptr<Window> window;
};

enum ApplicationState : int {
  ApplicationStateActive = 0,
  ApplicationStateInactive = 1,
  ApplicationStateBackground = 2,
};

class QDX_EXPORT Application {
 public:
  static Application& sharedApplication();

  // The delegate (held strongly here; hosts set it once at launch).
  std::shared_ptr<ApplicationDelegate> delegate() const;
  void setDelegate(std::shared_ptr<ApplicationDelegate> delegate);

  // The application's windows in the order they were added.
  std::vector<std::shared_ptr<Window>> windows() const;
  // Adds window at the end (once); makeKeyAndVisible does this.
  void addWindow(const std::shared_ptr<Window>& window);
  void removeWindow(const std::shared_ptr<Window>& window);
  std::shared_ptr<Window> keyWindow() const;
  void setKeyWindow(const std::shared_ptr<Window>& window);

  // Read from and written to the platform (Env).
  ApplicationState applicationState() const;
  // Works when the installed Env is the POSIX one (or derived from it).
  void setApplicationState(ApplicationState state);

  // Asks the platform to open url; returns whether it accepted.
  bool openURL(const std::string& url);
  static bool isMainThread();

  // Alert views on screen, oldest first (AlertView manages this).
  std::vector<std::shared_ptr<AlertView>> visibleAlertViews() const;
  void addVisibleAlertView(const std::shared_ptr<AlertView>& alert);
  void removeVisibleAlertView(const AlertView* alert);

 private:
  Application() = default;
  mutable std::mutex mutex_;
  std::shared_ptr<ApplicationDelegate> delegate_;
  std::vector<std::shared_ptr<Window>> windows_;
  std::weak_ptr<Window> keyWindow_;
  std::vector<std::shared_ptr<AlertView>> alerts_;
};

}  // namespace qdx::kit

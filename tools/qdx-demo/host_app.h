#pragma once
// The host app the demo plays: a window with a home screen, a feed screen
// for custom-slot ads, a delegate that writes down what the SDK tells it,
// and an open-URL hook that writes down the store links it was asked to
// open. It uses only the library's public headers.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qdx/QDXAD.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/kit/Kit.h"

namespace qdx::demo {

// Writes down every delegate call, in order, with the thread it came on.
class RecordingDelegate : public QDXADDelegate {
 public:
  void onADLoaded() override;
  void onNoAD(long code) override;
  void onADClicked() override;
  void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>& request, float adWidth,
                               float adHeight) override;
  void onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>& request, float adWidth,
                               float adHeight) override;

  // Adds a line of the host's own (e.g. what a loader block received).
  void note(const std::string& line);
  // Calls listener with each new line, on the thread that heard it (set it
  // before the SDK starts).
  void setListener(std::function<void(const std::string& line)> listener);
  // Every line so far, e.g. "onADLoaded (background thread)".
  std::vector<std::string> lines() const;
  // How many calls of the named method were heard so far.
  std::size_t count(const std::string& method) const;

 private:
  void add(const std::string& method, const std::string& detail = "");
  void tell(const std::string& line);
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::function<void(const std::string&)> listener_;
};

class HostApp {
 public:
  // Builds the window (the main screen's size) with the home screen as its
  // root, makes it key and visible, and registers the app delegate the SDK
  // finds the current screen through. Call on the main thread.
  HostApp();

  // Starts the SDK as a host does at launch: its delegate first, then the
  // debug switch when asked, then initWithChannel. The app keeps the facade
  // for its life. Returns whether the SDK started.
  bool startSdk(const std::string& channel, std::int64_t appId, const std::string& appKey,
                bool debug);

  std::shared_ptr<kit::Window> window() const { return window_; }
  std::shared_ptr<kit::ViewController> home() const { return home_; }
  std::shared_ptr<RecordingDelegate> delegate() const { return delegate_; }

  // Makes the feed screen the window's root: host posts with the given ad
  // views placed between them. Returns the feed's content view (taller than
  // the screen; the screenshot shows all of it).
  std::shared_ptr<kit::View> showFeed(const std::vector<std::shared_ptr<kit::View>>& adViews);

  // The feed's content view once showFeed ran, else nullptr.
  std::shared_ptr<kit::View> feedContent() const { return feedContent_; }

  // The store links the platform was asked to open, oldest first.
  std::vector<std::string> openedURLs() const;
  // Calls listener with each store link as the platform is asked to open it.
  void setOpenedListener(std::function<void(const std::string& url)> listener);

 private:
  std::shared_ptr<kit::Window> window_;
  std::shared_ptr<kit::ViewController> home_;
  std::shared_ptr<kit::ViewController> feed_;
  std::shared_ptr<kit::View> feedContent_;
  std::shared_ptr<kit::ApplicationDelegate> appDelegate_;
  std::shared_ptr<RecordingDelegate> delegate_;
  std::shared_ptr<QDXAD> sdk_;
  struct Opened {
    std::mutex mutex;
    std::vector<std::string> urls;
    std::function<void(const std::string&)> listener;
  };
  std::shared_ptr<Opened> opened_;
};

}  // namespace qdx::demo

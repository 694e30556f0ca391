#pragma once
// Shared set-up of the banner and wall flow tests: a host app on a
// 375 x 667 screen (an application delegate's window with a root view
// controller), the host's identity stored, the reference server behind the
// platform, a host delegate that records what it hears, and readers of the
// server's journal.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qdx/RunLoop.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/QDXADRequest.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/ViewController.h"
#include "qdx/kit/Window.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx::testing {

// Records the host callbacks in order; they arrive on the flows'
// background threads and on the main thread.
class HostDelegate : public QDXADDelegate {
 public:
  void onADLoaded() override { add("onADLoaded"); }
  void onNoAD(long code) override { add("onNoAD " + std::to_string(code)); }
  void onADClicked() override { add("onADClicked"); }
  void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>&, float w, float h) override {
    add("onADShowed " + size(w, h));
  }
  void onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>&, float w, float h) override {
    add("onADClosed " + size(w, h));
  }
  std::vector<std::string> calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }
  // The thread each call arrived on, in the order of calls().
  std::vector<std::thread::id> threads() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
  }
  // How many calls so far begin with call.
  std::size_t count(const std::string& call) const {
    std::size_t n = 0;
    for (const auto& c : calls()) n += c.rfind(call, 0) == 0 ? 1 : 0;
    return n;
  }
  bool heard(const std::string& call) const {
    for (const auto& c : calls()) {
      if (c.rfind(call, 0) == 0) return true;
    }
    return false;
  }

 private:
  static std::string size(float w, float h) {
    char text[64];
    std::snprintf(text, sizeof text, "%.9g x %.9g", w, h);
    return text;
  }
  void add(std::string call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(std::move(call));
    threads_.push_back(std::this_thread::get_id());
  }
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::vector<std::thread::id> threads_;
};

class AdFlowTest : public ::testing::Test {
 protected:
  explicit AdFlowTest(int catalog = 3) : server_(optionsFor(catalog)) {}

  void SetUp() override {
    ASSERT_TRUE(server_.running());
    server_.configure(env_);
    env_.setMainScreen({375, 667, 2});
    storeHostIdentity();
    // The version seen at start-up equals the bundle's, as after a start.
    env_.setBundleInfo("CFBundleShortVersionString", "2.0");
    QDXUserDefaults::saveToLocal("2.0", "QDX_APP_VERSION");
    QDXLog::setDebug(true);
    window_->setRootViewController(host_);
    window_->makeKeyAndVisible();
    appDelegate_->window = window_;
    kit::Application::sharedApplication().setDelegate(appDelegate_);
    QDXAD::setADDelegate(delegate_);
  }

  // Requests through the facade and serves the main loop until the host
  // heard `until` (or 15 seconds pass).
  bool request(const std::shared_ptr<QDXADRequest>& request, const std::string& until) {
    QDXAD::requestADWithADRequest(request);
    return RunLoop::main().runUntil([&] { return delegate_->heard(until); }, 15);
  }

  // Runs every main-queue block queued so far, and a little more for
  // asynchronous answers.
  static void settle(double seconds = 0.3) { RunLoop::main().runFor(seconds); }

  // The newest event of each journaled event report of kind subType.
  std::vector<Json> events(int subType) const { return journaledEvents(server_, subType); }

  std::shared_ptr<kit::View> hostView() { return host_->view(); }

  TestEnv env_;
  ReferenceServer server_;
  std::shared_ptr<kit::Window> window_ = std::make_shared<kit::Window>(kit::Rect(0, 0, 375, 667));
  std::shared_ptr<kit::ViewController> host_ = std::make_shared<kit::ViewController>();
  std::shared_ptr<kit::ApplicationDelegate> appDelegate_ = std::make_shared<kit::ApplicationDelegate>();
  std::shared_ptr<HostDelegate> delegate_ = std::make_shared<HostDelegate>();

 private:
  static ReferenceServer::Options optionsFor(int catalog) {
    ReferenceServer::Options options;
    options.catalog = catalog;
    return options;
  }
};

}  // namespace qdx::testing

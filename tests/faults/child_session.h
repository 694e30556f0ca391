#pragma once
// A host app's run of the SDK inside a forked child process, for the
// fault matrix and the kill loop. The parent keeps the reference server and
// the temporary root, and never runs SDK code itself, so that every child
// starts from a clean process as a real launch does; the children share
// the root (stores, keychain, caches) and tell the parent what they saw
// through JSON files in it.
#include <chrono>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/json.h"
#include "identity/QDXKeyChain.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/ViewController.h"
#include "qdx/kit/Window.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/background_work.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "support/filing_recorder.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXHttpClient.h"

namespace qdx::testing {

inline constexpr const char kHostVersion[] = "1.0";
inline constexpr std::int64_t kHostAppId = 10001;

// Where a child notes the events it filed, and the events that left the
// pending list, in the shared root.
inline std::string filedEventsPath(const std::string& root) { return root + "/filed-events.jsonl"; }
inline std::string removedEventsPath(const std::string& root) {
  return root + "/removed-events.jsonl";
}

inline void writeJsonFile(const std::string& path, const Json& value) {
  std::ofstream(path, std::ios::trunc) << value.dump(1);
}
inline Json readJsonFile(const std::string& path) {
  std::ifstream in(path);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return Json::parse(text, nullptr, false);
}

// Records the host callbacks in order, from whatever thread they come.
class RecordingDelegate : public QDXADDelegate {
 public:
  void onADLoaded() override { add("onADLoaded"); }
  void onNoAD(long code) override { add("onNoAD " + std::to_string(code)); }
  void onADClicked() override { add("onADClicked"); }
  void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>&, float, float) override {
    add("onADShowed");
  }
  void onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>&, float, float) override {
    add("onADClosed");
  }
  std::vector<std::string> calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }
  bool heard(const std::string& call) const {
    for (const auto& c : calls()) {
      if (c == call) return true;
    }
    return false;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
  }

 private:
  void add(std::string call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(std::move(call));
  }
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

// The SDK's platform and the host's screen in a child: a TestEnv on the
// parent's root pointed at server, a 375 x 667 portrait screen with a
// window and a root view controller, the demo's interface files, debug
// logging, a recording delegate and the filing recorder.
class ChildHost {
 public:
  ChildHost(const std::string& root, const ReferenceServer& server)
      : env_(root),
        recorder_(filedEventsPath(root), removedEventsPath(root),
                  [] {
                    const auto session = QDXHttpRequestProxy::shareInstance().session_id();
                    return session ? Json(*session) : Json();
                  }) {
    server.configure(env_);
    env_.setMainScreen({375, 667, 2});
    env_.setBundleInfo("CFBundleShortVersionString", kHostVersion);
    env_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
    // Only the log capture's echo to standard error is silenced: a
    // matrix run would print tens of thousands of lines.
    env_.setLogSink([](const std::string&) {});
    QDXLog::setDebug(true);
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    appDelegate_->window = window_;
    kit::Application::sharedApplication().setDelegate(appDelegate_);
    QDXAD::setADDelegate(delegate_);
  }

  TestEnv& env() { return env_; }
  RecordingDelegate& delegate() { return *delegate_; }

  std::shared_ptr<QDXAD> start() {
    return QDXAD::initWithChannel("AppStore", kHostAppId, ReferenceServer::kAppKey);
  }

  // Serves the main loop until no asynchronous post, detached SDK thread
  // or queued completion is left, or timeoutSeconds pass. Returns whether
  // it became quiet.
  static bool quiesce(double timeoutSeconds = 60) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    auto busy = [] { return QDXHttpClient::asyncPostsInFlight() > 0 || detachedWorkInFlight() > 0; };
    for (;;) {
      double left = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
      if (left <= 0) return false;
      RunLoop::main().runUntil([&] { return !busy(); }, left);
      // Completions posted by the last exchanges run now; they may start
      // more work.
      RunLoop::main().runFor(0.05);
      if (!busy()) return true;
    }
  }

  // Both stores as a later process reads them back, and the crash logs
  // left: the facts the parent checks.
  static Json storeState() {
    Json state = Json::object();
    for (const char* key : {keys::kReportEventList, keys::kUseTimeEventList, keys::kUbitAdType,
                            keys::kGlobalConfig, keys::kAppId}) {
      state["local"][key] = QDXUserDefaults::getObjectFromLocal(key);
    }
    for (const char* name : {keys::kDeviceId, keys::kReportActive, keys::kReportedAppVersion}) {
      state["keychain"][name] = QDXKeyChain::getUniqueStrWithName(name);
    }
    Json crashLogs = Json::array();
    if (auto names = Env::Default()->listDirectory(QDXHttpRequestProxy::crashLogDirectory())) {
      for (const std::string& name : *names) crashLogs.push_back(name);
    }
    state["crashLogs"] = crashLogs;
    return state;
  }

 private:
  TestEnv env_;
  FilingRecorderEnv recorder_;
  std::shared_ptr<kit::Window> window_ = std::make_shared<kit::Window>(kit::Rect(0, 0, 375, 667));
  std::shared_ptr<kit::ViewController> root_ = std::make_shared<kit::ViewController>();
  std::shared_ptr<kit::ApplicationDelegate> appDelegate_ =
      std::make_shared<kit::ApplicationDelegate>();
  std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
};

// The report_event posts whose acknowledgement (status 200, "retcode" 0)
// reached the client, and every event they carried, canonical. A delayed
// answer came after the client had given up, so it does not count; an
// answer without "data", or with "data" not enciphered, does: an event
// report's answer has no data to read.
inline std::set<std::string> acknowledgedEvents(const std::vector<Json>& journal) {
  std::set<std::string> events;
  for (const Json& entry : journal) {
    if (entry.value("endpoint", "") != "report_event" || entry.value("fault", "") == "delay") {
      continue;
    }
    if (entry.value("status", Json()) != Json(200) || entry.value("retcode", Json()) != Json(0)) {
      continue;
    }
    forEachEventOfGroup(entry["body"], [&](const Json& e) { events.insert(canonicalEvent(e)); });
  }
  return events;
}

// Every event the server received in a report_event post, answered or not.
inline std::set<std::string> receivedEvents(const std::vector<Json>& journal) {
  std::set<std::string> events;
  for (const Json& entry : journal) {
    if (entry.value("endpoint", "") != "report_event") continue;
    forEachEventOfGroup(entry["body"], [&](const Json& e) { events.insert(canonicalEvent(e)); });
  }
  return events;
}

}  // namespace qdx::testing

#pragma once
// Shared set-up of the custom-slot tests: a test platform with the host's
// identity stored, the reference server behind it, and readers of what the
// server journaled (events by kind, usage reports).
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "qdx/RunLoop.h"
#include "qdx/QDXADDelegate.h"
#include "common/json.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx::testing {

// A host delegate that writes down what it hears, in order, and on which
// thread. Not for concurrent calls: the custom-slot calls come one at a time.
class RecordingDelegate : public QDXADDelegate {
 public:
  void onADLoaded() override { add("onADLoaded"); }
  void onNoAD(long code) override { add("onNoAD " + std::to_string(code)); }
  void onADClicked() override { add("onADClicked"); }
  std::vector<std::string> calls;
  std::vector<std::thread::id> threads;  // one per call

 private:
  void add(std::string call) {
    calls.push_back(std::move(call));
    threads.push_back(std::this_thread::get_id());
  }
};

class CustomSlotTest : public ::testing::Test {
 protected:
  explicit CustomSlotTest(ReferenceServer::Options options = {}) : server_(std::move(options)) {}

  void SetUp() override {
    ASSERT_TRUE(server_.running());
    server_.configure(env_);
    storeHostIdentity();
    QDXLog::setDebug(true);
  }

  // The newest event of every journaled event report of kind subType.
  std::vector<Json> events(int subType) const { return journaledEvents(server_, subType); }

  // Lets queued main-queue blocks and asynchronous answers run.
  static void settle() { RunLoop::main().runFor(0.3); }

  TestEnv env_;
  ReferenceServer server_;
};

}  // namespace qdx::testing

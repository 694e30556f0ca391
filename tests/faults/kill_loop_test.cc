// Crashes in flight lose nothing: a child process starts the SDK and files
// and reports events without pause; the test kills it with SIGKILL at a
// random moment, 50 times over, each time starting the next child on the
// same stores. Each child first opens both stores and reads them back;
// every event any child had filed must then be in the server's journal or
// still pending, and the values written once (the app id, the device id)
// must still be there: no store is thrown away and started afresh.
//
// The moments come from a fixed seed, printed; QDX_KILL_SEED replays
// another.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "child_session.h"
#include "support/child_process.h"

namespace qdx::testing {
namespace {

constexpr int kKills = 50;
constexpr unsigned kDefaultSeed = 20261124;
// A kill lands this long after the child has read the stores back: over
// the start-up's resend and well into the filing loop.
constexpr int kLatestKillMs = 700;

unsigned seed() {
  const char* text = std::getenv("QDX_KILL_SEED");
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : kDefaultSeed;
}

std::set<std::string> storedEvents(const Json& value) {
  std::set<std::string> events;
  forEachStoredEvent(value, [&](const Json& e) { events.insert(canonicalEvent(e)); });
  return events;
}

class KillLoopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    root_ = env_.tempRoot();
  }

  std::string statePath(int run) const { return root_ + "/state-" + std::to_string(run) + ".json"; }

  // The child: reads both stores back into state-<run>.json, then starts
  // the SDK (which resends what is pending) and files events until it is
  // killed. With work false it stops after the read.
  int child(int run, bool work) {
    auto& host = *new ChildHost(root_, server_);  // the process ends with _exit or a kill
    Json state = ChildHost::storeState();
    state["pending"] = Json::array();
    for (const std::string& e : storedEvents(state["local"][keys::kReportEventList])) {
      state["pending"].push_back(e);
    }
    for (const std::string& e : storedEvents(state["local"][keys::kUseTimeEventList])) {
      state["pending"].push_back(e);
    }
    writeJsonFile(statePath(run), state);
    if (!work) return 0;

    auto sdk = host.start();
    auto& reporter = QDXHttpRequestProxy::shareInstance();
    for (long n = 0;; ++n) {
      const std::string ad = "ad" + std::to_string(run) + "-" + std::to_string(n % 3);
      const std::string app = "app" + std::to_string(n % 2);
      reporter.reportRequestEventWithUbit("banner上部展示", ad, app, 1);
      reporter.reportShowEventWithUbit("banner上部展示", ad, app, 1);
      RunLoop::main().runFor(0.005);  // asynchronous acknowledgements land here
      reporter.reportClickEventWithUbit("banner上部展示", ad, app, 1);
      if (n % 4 == 3) QDXAD::sdkTerminate();
    }
  }

  TestEnv env_;
  ReferenceServer server_;
  std::string root_;
};

// Disabled until the reporter stops deleting events it has not sent. With
// the seed above it finds about 30 lost reports in 50 kills: show events
// (most) and request events whose group was removed from the pending list
// while their post still waited for a worker, and which the kill then kept
// from the server. Two deletions do this: a show report's acknowledgement
// deletes the one-event groups of the reporter's session as it is when the
// completion runs (by then often the next show's session), and the first
// acknowledged resend at start-up removes every pending group. Run it with
// --gtest_also_run_disabled_tests.
TEST_F(KillLoopTest, DISABLED_EveryFiledEventIsJournaledOrPendingAfterEachOf50Kills) {
  const unsigned used = seed();
  std::printf("kill loop seed: %u (QDX_KILL_SEED replays another)\n", used);
  std::mt19937 random(used);
  std::uniform_int_distribution<int> delayMs(0, kLatestKillMs);

  std::map<std::string, Json> writtenOnce;  // store key -> its first value seen
  std::size_t filedTotal = 0;
  for (int run = 0; run <= kKills; ++run) {
    const bool last = run == kKills;
    ChildProcess process = ChildProcess::start([&] { return child(run, !last); });
    // Wait for the read-back before the clock of the kill starts.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (readJsonFile(statePath(run)).is_discarded() &&
           std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const Json state = readJsonFile(statePath(run));
    ASSERT_TRUE(state.is_object()) << "run " << run << ": the stores were not read back";

    // What every earlier child filed is journaled or pending now.
    const std::set<std::string> filed = FilingRecorderEnv::notedEvents(filedEventsPath(root_));
    const std::set<std::string> received = receivedEvents(server_.journal());
    std::set<std::string> pending;
    for (const Json& e : state["pending"]) pending.insert(e.get<std::string>());
    for (const std::string& event : filed) {
      EXPECT_TRUE(received.count(event) || pending.count(event))
          << "after kill " << run << " (seed " << used << "), lost: " << event;
    }
    filedTotal = filed.size();

    // Nothing written once is gone: the stores were kept, not replaced.
    for (const auto& [store, key] : {std::pair{"local", keys::kAppId},
                                     std::pair{"keychain", keys::kDeviceId}}) {
      const Json& now = state[store][key];
      Json& first = writtenOnce[key];
      if (first.is_null() && !now.is_null()) first = now;
      if (!first.is_null()) {
        EXPECT_EQ(now, first) << "after kill " << run << ": " << store << " lost " << key;
      }
    }

    if (last) {
      EXPECT_TRUE(process.wait(30).succeeded());
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs(random)));
    process.kill(SIGKILL);
    ChildStatus status = process.wait(30);
    EXPECT_TRUE(status.signaled && status.signal == SIGKILL) << status.describe();
    // A post the child sent just before it died is still being answered:
    // the server journals it before its answer goes out.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  std::printf("events filed by the killed children: %zu\n", filedTotal);
  EXPECT_GT(filedTotal, static_cast<std::size_t>(kKills)) << "the children filed events";
  EXPECT_FALSE(writtenOnce[keys::kDeviceId].is_null()) << "some start registered the device";
}

}  // namespace
}  // namespace qdx::testing

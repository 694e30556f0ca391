// Crash capture, each crash in a child process that links the SDK and
// talks to the reference server.
#include "reporting/QDXExceptionHandler.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "reporting_fixture.h"
#include "support/child_process.h"

namespace qdx::testing {
namespace {

// In a forked child: a platform of its own on the parent's root (database
// connections do not cross fork), the server, the identity, crash capture
// installed as start-up does, and the crash count set to crashesBefore.
std::unique_ptr<TestEnv> childPlatform(const std::string& root, const ReferenceServer& server,
                                       std::int32_t crashesBefore = 0) {
  auto env = std::make_unique<TestEnv>(root);
  server.configure(*env);
  storeHostIdentity();
  QDXExceptionHandler::setHandler();
  UncaughtExceptionCount.store(crashesBefore);
  return env;
}

// Runs a child in which an exception escapes a thread's function (the
// runtime calls the terminate handler, as for any uncaught exception) and
// expects the handling to end it with SIGABRT.
void expectAbortAfterUncaught(const std::string& root, const ReferenceServer& server,
                              const char* reason, std::int32_t crashesBefore = 0) {
  const ChildStatus status = ChildProcess::run([&] {
    auto env = childPlatform(root, server, crashesBefore);
    std::thread([reason] { throw std::runtime_error(reason); }).join();
    return 3;  // not reached
  });
  EXPECT_TRUE(status.signaled && status.signal == SIGABRT) << reason << ": " << status.describe();
}

using UncaughtExceptionTest = ServerReportingTest;

TEST_F(UncaughtExceptionTest, IsReportedThenKillsTheProcessARefusedRecordIsKeptTheEleventhIgnored) {
  const std::string crashDirectory = QDXHttpRequestProxy::crashLogDirectory();
  expectAbortAfterUncaught(env_.tempRoot(), server_, "boom in a worker");
  auto records = bodiesFor("error_log_report");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].size(), 3u);
  EXPECT_EQ(records[0]["ex_msg"], "boominaworker") << "the cipher drops spaces on the wire";
  EXPECT_GT(records[0]["ex_st"].size(), 3u) << "the call stack (an array) where it escaped";
  ASSERT_TRUE(records[0]["timestamp"].is_number_integer());
  EXPECT_GT(records[0]["timestamp"].get<std::int64_t>(), 1'000'000'000'000) << "milliseconds";
  EXPECT_FALSE(fs::exists(crashDirectory)) << "acknowledged: nothing kept";

  ASSERT_TRUE(server_.setFault("error_log_report:retcode:1"));
  expectAbortAfterUncaught(env_.tempRoot(), server_, "kept");
  records = bodiesFor("error_log_report");
  ASSERT_EQ(records.size(), 2u);
  const Json kept = readPropertyListDictionary(
      crashDirectory + "/" + json::describe(records[1]["timestamp"]) + ".log");
  EXPECT_EQ(kept["ex_msg"], "kept") << "refused: kept as a file named by its timestamp";
  EXPECT_TRUE(kept["ex_st"].is_array());

  // The eleventh crash of a process is ignored, but still ends it.
  expectAbortAfterUncaught(env_.tempRoot(), server_, "eleventh", 10);
  EXPECT_EQ(bodiesFor("error_log_report").size(), 2u);
}

using FatalSignalTest = ServerReportingTest;

// Runs a child whose main loop counts its timer ticks once signal was
// raised, from a background thread or from a main-loop timer. It exits 0
// after ten such ticks, 9 if the signalled code went on, 8 if the loop
// stopped serving. Returns that exit code, or minus the signal that killed it.
int exitAfterRaising(const std::string& root, const ReferenceServer& server, bool onMainThread,
                     int signal, std::int32_t crashesBefore = 0) {
  const ChildStatus status = ChildProcess::run(
      [&] {
        auto env = childPlatform(root, server, crashesBefore);
        std::atomic<bool> raised{false}, wentOn{false};
        std::atomic<int> ticksAfter{0};
        RunLoop::main().addTimer(0.02, true, [&] {
          if (raised && ++ticksAfter >= 10) _exit(wentOn ? 9 : 0);
        });
        auto raiseIt = [&] {
          raised = true;
          ::raise(signal);
          wentOn = true;
        };
        if (onMainThread)
          RunLoop::main().addTimer(0.1, false, raiseIt);
        else
          std::thread(raiseIt).detach();
        RunLoop::main().runFor(30);
        return 8;
      },
      40);
  return status.exited ? status.exitCode : -status.signal;
}

TEST_F(FatalSignalTest, TheMainLoopKeepsServingTheSignalledCodeWaitsAndNothingIsSent) {
  EXPECT_EQ(exitAfterRaising(env_.tempRoot(), server_, false, SIGSEGV), 0) << "on a worker";
  // On the main thread the handling runs there and never returns.
  EXPECT_EQ(exitAfterRaising(env_.tempRoot(), server_, true, SIGFPE), 0) << "on the main thread";
  EXPECT_TRUE(server_.entriesFor("error_log_report").empty());
  EXPECT_EQ(exitAfterRaising(env_.tempRoot(), server_, false, SIGSEGV, 10), 9)
      << "after ten crashes a signal returns at once to its thread";
}

using CriticalDataTest = ServerReportingTest;

TEST_F(CriticalDataTest, BuildsASecondsRecordFromReasonAndAddressesOnlyWhenItHasAddresses) {
  env_.setNow(1700000000.75);
  QDXException exception{UncaughtExceptionHandlerSignalExceptionName, "Signal 11 was raised.",
                         {{UncaughtExceptionHandlerSignalKey, 11}}, {}, {}};
  QDXExceptionHandler handler;
  handler.validateAndSaveCriticalApplicationData(exception);
  EXPECT_FALSE(handler.dismissed()) << "no record without addresses: the handling goes on";
  EXPECT_TRUE(server_.journal().empty());
  EXPECT_TRUE(env_.logContains("UncaughtExceptionHandlerAddressesKey"));

  exception.userInfo[UncaughtExceptionHandlerAddressesKey] = Json::array({"a-1", "a-2"});
  handler.validateAndSaveCriticalApplicationData(exception);
  EXPECT_TRUE(handler.dismissed());
  EXPECT_EQ(bodiesFor("error_log_report"),
            (std::vector<Json>{Json{{"ex_st", "Signal11wasraised."},
                                    {"ex_msg", Json::array({"a-1", "a-2"})},
                                    {"timestamp", 1700000000}}}));
}

}  // namespace
}  // namespace qdx::testing

// Crash capture, each crash in a child process that links the SDK and
// talks to the reference server.
#include "reporting/QDXExceptionHandler.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/property_list_file.h"
#include "reporting/startup_reports.h"
#include "reporting_fixture.h"
#include "sdk/QDXLog.h"
#include "support/child_process.h"

namespace qdx {
namespace {

namespace fs = std::filesystem;

// An exception that escapes a thread's function: the runtime calls the
// terminate handler, as for any uncaught exception.
[[noreturn]] void throwUncaught(const char* reason) {
  std::thread([reason] { throw std::runtime_error(reason); }).join();
  _exit(3);  // not reached
}

class CrashTest : public testing::ServerReportingTest {
 protected:
  // In the child: a platform of its own on the same root (database
  // connections do not cross fork), the server, the identity, and crash
  // capture installed as start-up does.
  static std::unique_ptr<TestEnv> childPlatform(const std::string& root,
                                                const ReferenceServer& server) {
    auto env = std::make_unique<TestEnv>(root);
    server.configure(*env);
    testing::storeHostIdentity();
    QDXExceptionHandler::setHandler();
    return env;
  }
  std::string crashDirectory() const { return QDXHttpRequestProxy::crashLogDirectory(); }

  // Reads bytes the child writes to fd until `wanted` returns true on
  // what was read so far, or timeoutSeconds pass.
  static std::string readUntil(int fd, const std::function<bool(const std::string&)>& wanted,
                               double timeoutSeconds) {
    std::string seen;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!wanted(seen) && std::chrono::steady_clock::now() < deadline) {
      struct pollfd poller = {fd, POLLIN, 0};
      if (::poll(&poller, 1, 50) <= 0) continue;
      char buffer[64];
      ssize_t got = ::read(fd, buffer, sizeof buffer);
      if (got <= 0) break;
      seen.append(buffer, static_cast<std::size_t>(got));
    }
    return seen;
  }
};

using UncaughtExceptionTest = CrashTest;

TEST_F(UncaughtExceptionTest, IsReportedThenTheProcessStillDiesOfIt) {
  const std::string root = env_.tempRoot();
  ChildStatus status = ChildProcess::run([&] {
    auto env = childPlatform(root, server_);
    throwUncaught("boom in a worker");
    return 0;
  });
  EXPECT_TRUE(status.signaled && status.signal == SIGABRT) << status.describe();

  const auto records = bodiesFor("error_log_report");
  ASSERT_EQ(records.size(), 1u);
  const Json& record = records[0];
  EXPECT_EQ(record.size(), 3u);
  EXPECT_EQ(record["ex_msg"], "boominaworker") << "the cipher drops spaces on the wire";
  ASSERT_TRUE(record["ex_st"].is_array());
  EXPECT_GT(record["ex_st"].size(), 3u) << "the call stack where it escaped";
  ASSERT_TRUE(record["timestamp"].is_number_integer());
  EXPECT_GT(record["timestamp"].get<std::int64_t>(), 1'000'000'000'000) << "milliseconds";
  EXPECT_FALSE(fs::exists(crashDirectory())) << "acknowledged: nothing kept";
}

TEST_F(UncaughtExceptionTest, ARefusedRecordIsKeptAsAFileTheNextStartCanUpload) {
  ASSERT_TRUE(server_.setFault("error_log_report:retcode:1"));
  const std::string root = env_.tempRoot();
  ChildStatus status = ChildProcess::run([&] {
    auto env = childPlatform(root, server_);
    throwUncaught("kept");
    return 0;
  });
  EXPECT_TRUE(status.signaled && status.signal == SIGABRT) << status.describe();

  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(crashDirectory())) {
    files.push_back(entry.path().filename().string());
  }
  ASSERT_EQ(files.size(), 1u);
  const Json record = readPropertyListDictionary(crashDirectory() + "/" + files[0]);
  EXPECT_EQ(record["ex_msg"], "kept");
  EXPECT_EQ(files[0], json::describe(record["timestamp"]) + ".log");
  EXPECT_TRUE(record["ex_st"].is_array());

  // The next start uploads it (read by its bare name: from the crash
  // directory) and deletes it once acknowledged.
  server_.clearFaults();
  ASSERT_EQ(::chdir(crashDirectory().c_str()), 0);
  uploadCrashLogs();
  EXPECT_TRUE(testing::serveMainUntil([&] { return fs::is_empty(crashDirectory()); }));
  EXPECT_EQ(bodiesFor("error_log_report").back()["ex_msg"], "kept");
  EXPECT_EQ(::chdir("/"), 0);
}

TEST_F(UncaughtExceptionTest, TheEleventhCrashIsIgnoredButStillEndsTheProcess) {
  const std::string root = env_.tempRoot();
  ChildStatus status = ChildProcess::run([&] {
    auto env = childPlatform(root, server_);
    UncaughtExceptionCount.store(10);
    throwUncaught("eleventh");
    return 0;
  });
  EXPECT_TRUE(status.signaled && status.signal == SIGABRT) << status.describe();
  EXPECT_TRUE(server_.entriesFor("error_log_report").empty());
}

using FatalSignalTest = CrashTest;

TEST_F(FatalSignalTest, OnABackgroundThreadTheMainLoopKeepsServingAndNothingIsSent) {
  int ticks[2];
  ASSERT_EQ(::pipe(ticks), 0);
  const std::string root = env_.tempRoot();
  ChildProcess child = ChildProcess::start([&] {
    auto env = childPlatform(root, server_);
    RunLoop::main().addTimer(0.02, true, [&] { (void)!::write(ticks[1], "t", 1); });
    std::thread([&] {
      (void)!::write(ticks[1], "s", 1);
      ::raise(SIGSEGV);
      (void)!::write(ticks[1], "r", 1);  // the signalled thread must not get here
    }).detach();
    RunLoop::main().runFor(60);
    return 0;
  });
  ::close(ticks[1]);

  const std::string seen = readUntil(
      ticks[0],
      [](const std::string& text) {
        auto signalled = text.find('s');
        return signalled != std::string::npos &&
               std::count(text.begin() + static_cast<std::ptrdiff_t>(signalled), text.end(),
                          't') >= 10;
      },
      20);
  EXPECT_NE(seen.find('s'), std::string::npos) << seen;
  EXPECT_GE(std::count(seen.begin() + static_cast<std::ptrdiff_t>(seen.find('s')), seen.end(), 't'),
            10)
      << "the timer keeps firing after the signal";
  EXPECT_EQ(seen.find('r'), std::string::npos);
  EXPECT_TRUE(server_.entriesFor("error_log_report").empty());

  child.kill(SIGKILL);
  ChildStatus status = child.wait(10);
  EXPECT_TRUE(status.signaled && status.signal == SIGKILL) << status.describe();
  ::close(ticks[0]);
}

TEST_F(FatalSignalTest, OnTheMainThreadTheHandlingRunsThereAndKeepsTheLoopServing) {
  int ticks[2];
  ASSERT_EQ(::pipe(ticks), 0);
  const std::string root = env_.tempRoot();
  ChildProcess child = ChildProcess::start([&] {
    auto env = childPlatform(root, server_);
    RunLoop::main().addTimer(0.02, true, [&] { (void)!::write(ticks[1], "t", 1); });
    RunLoop::main().addTimer(0.1, false, [&] {
      (void)!::write(ticks[1], "s", 1);
      ::raise(SIGFPE);
      (void)!::write(ticks[1], "r", 1);  // the handling never returns
    });
    RunLoop::main().runFor(60);
    return 0;
  });
  ::close(ticks[1]);
  const std::string seen = readUntil(
      ticks[0],
      [](const std::string& text) {
        auto signalled = text.find('s');
        return signalled != std::string::npos &&
               std::count(text.begin() + static_cast<std::ptrdiff_t>(signalled), text.end(),
                          't') >= 10;
      },
      20);
  ASSERT_NE(seen.find('s'), std::string::npos) << seen;
  EXPECT_GE(std::count(seen.begin() + static_cast<std::ptrdiff_t>(seen.find('s')), seen.end(), 't'),
            10);
  EXPECT_EQ(seen.find('r'), std::string::npos);
  EXPECT_TRUE(server_.entriesFor("error_log_report").empty());
  child.kill(SIGKILL);
  EXPECT_TRUE(child.wait(10).signaled);
  ::close(ticks[0]);
}

TEST_F(FatalSignalTest, AfterTenCrashesASignalReturnsAtOnceToItsThread) {
  int marks[2];
  ASSERT_EQ(::pipe(marks), 0);
  const std::string root = env_.tempRoot();
  ChildStatus status = ChildProcess::run([&] {
    auto env = childPlatform(root, server_);
    UncaughtExceptionCount.store(10);
    std::thread([&] {
      ::raise(SIGSEGV);
      (void)!::write(marks[1], "r", 1);
    }).join();
    return 7;
  });
  ::close(marks[1]);
  EXPECT_TRUE(status.exited && status.exitCode == 7) << status.describe();
  char mark = 0;
  EXPECT_EQ(::read(marks[0], &mark, 1), 1);
  EXPECT_EQ(mark, 'r');
  ::close(marks[0]);
}

using CriticalDataTest = testing::ServerReportingTest;

TEST_F(CriticalDataTest, BuildsASecondsRecordFromReasonAndAddressesThenDismisses) {
  env_.setNow(1700000000.75);
  QDXException exception;
  exception.name = UncaughtExceptionHandlerSignalExceptionName;
  exception.reason = "Signal 11 was raised.";
  exception.userInfo = {{UncaughtExceptionHandlerSignalKey, 11},
                        {UncaughtExceptionHandlerAddressesKey, Json::array({"a-1", "a-2"})}};
  QDXExceptionHandler handler;
  handler.validateAndSaveCriticalApplicationData(exception);
  EXPECT_TRUE(handler.dismissed());
  const auto records = bodiesFor("error_log_report");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0], Json({{"ex_st", "Signal11wasraised."},
                              {"ex_msg", Json::array({"a-1", "a-2"})},
                              {"timestamp", 1700000000}}));
}

TEST_F(CriticalDataTest, WithoutAddressesNoRecordIsBuiltAndTheHandlingGoesOn) {
  QDXLog::setDebug(true);
  QDXException exception;
  exception.name = UncaughtExceptionHandlerSignalExceptionName;
  exception.userInfo = {{UncaughtExceptionHandlerSignalKey, 6}};
  QDXExceptionHandler handler;
  handler.validateAndSaveCriticalApplicationData(exception);
  EXPECT_FALSE(handler.dismissed());
  EXPECT_TRUE(server_.journal().empty());
  EXPECT_TRUE(env_.logContains("UncaughtExceptionHandlerAddressesKey"));
}

TEST(CrashBacktraceTest, KeepsFiveFramesAfterSkippingFour) {
  const std::vector<std::string> frames = QDXExceptionHandler::backtrace();
  EXPECT_LE(frames.size(), 5u);
  EXPECT_GE(frames.size(), 3u) << "a test runs deep enough for most of them";
}

}  // namespace
}  // namespace qdx

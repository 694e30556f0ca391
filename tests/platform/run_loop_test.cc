#include "platform/run_loop.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_env.h"

namespace qdx {
namespace {

TEST(RunLoopTest, MainLoopBelongsToTheProcessMainThread) {
  EXPECT_TRUE(RunLoop::isMainThread());
  EXPECT_EQ(&RunLoop::current(), &RunLoop::main());
  RunLoop* other = nullptr;
  bool otherIsMain = true;
  std::thread([&] {
    otherIsMain = RunLoop::isMainThread();
    other = &RunLoop::current();
    EXPECT_EQ(other, &RunLoop::current()) << "one loop per thread";
  }).join();
  EXPECT_FALSE(otherIsMain);
  EXPECT_NE(other, &RunLoop::main());
  EXPECT_EQ(RunLoop::main().modes(), std::vector<std::string>{"kCFRunLoopDefaultMode"});
}

TEST(RunLoopTest, BlocksRunInPostingOrderIncludingOnesPostedWhileRunning) {
  TestEnv env;
  std::vector<int> order;
  RunLoop& loop = RunLoop::main();
  loop.post([&] {
    order.push_back(1);
    loop.post([&] { order.push_back(4); });
  });
  loop.post([&] { order.push_back(2); });
  loop.post([&] { order.push_back(3); });
  EXPECT_TRUE(loop.runUntil([&] { return order.size() == 4; }, 5));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(RunLoopTest, PostsFromOtherThreadsAllArriveInEachThreadsOrder) {
  TestEnv env;
  constexpr int kThreads = 4;
  constexpr int kPosts = 200;
  std::vector<std::vector<int>> seen(kThreads);  // touched only on the main thread
  std::vector<std::thread> posters;
  // Posting before the main thread runs the loop is allowed.
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kPosts; ++i) RunLoop::main().post([&, t, i] { seen[t].push_back(i); });
    });
  }
  for (auto& poster : posters) poster.join();
  RunLoop::main().runUntil(
      [&] {
        std::size_t total = 0;
        for (auto& s : seen) total += s.size();
        return total == kThreads * kPosts;
      },
      10);
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), static_cast<std::size_t>(kPosts));
    for (int i = 0; i < kPosts; ++i) EXPECT_EQ(seen[t][i], i);
  }
}

TEST(RunLoopTest, PostAndWaitBlocksTheCallerUntilTheLoopRanTheBlock) {
  TestEnv env;
  std::atomic<bool> ranOnMain{false};
  std::atomic<bool> callerResumed{false};
  std::thread caller([&] {
    RunLoop::main().postAndWait([&] { ranOnMain = RunLoop::isMainThread(); });
    callerResumed = true;
  });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return callerResumed.load(); }, 10));
  caller.join();
  EXPECT_TRUE(ranOnMain);

  // On the loop's own thread the block runs at once, without the loop running.
  bool ranInline = false;
  RunLoop::main().postAndWait([&] { ranInline = true; });
  EXPECT_TRUE(ranInline);
}

TEST(RunLoopTest, RepeatingTimerFiresUntilCancelledAndOneShotFiresOnce) {
  TestEnv env;
  RunLoop& loop = RunLoop::main();
  int repeats = 0;
  int once = 0;
  RunLoop::TimerId repeating = loop.addTimer(0.005, true, [&] { ++repeats; });
  loop.addTimer(0.001, false, [&] { ++once; });
  EXPECT_TRUE(loop.runUntil([&] { return repeats >= 5; }, 10));
  loop.cancelTimer(repeating);
  int atCancel = repeats;
  loop.runFor(0.05);
  EXPECT_EQ(repeats, atCancel);
  EXPECT_EQ(once, 1);
  loop.cancelTimer(repeating);  // cancelling twice is harmless
  loop.cancelTimer(12345);      // so is an unknown id
}

// A loop that was busy owes a repeating timer one fire, not a burst of
// every fire it missed.
TEST(RunLoopTest, RepeatingTimerSkipsFiresMissedWhileTheLoopWasBusy) {
  TestEnv env;
  RunLoop& loop = RunLoop::main();
  int fires = 0;
  loop.addTimer(0.05, true, [&] { ++fires; });
  loop.post([] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); });
  loop.runOnce(1, true);  // the busy block: about ten fires fall due meanwhile
  ASSERT_EQ(fires, 0);
  loop.runFor(0.01);
  EXPECT_GE(fires, 1);
  EXPECT_LE(fires, 2);
}

TEST(RunLoopTest, TimersAddedFromAnotherThreadWakeTheLoop) {
  TestEnv env;
  std::atomic<int> fired{0};
  std::thread adder([&] { RunLoop::main().addTimer(0.01, false, [&] { ++fired; }); });
  adder.join();
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return fired.load() == 1; }, 10));
}

TEST(RunLoopTest, RunUntilGivesUpAtTheTimeout) {
  TestEnv env;
  EXPECT_FALSE(RunLoop::main().runUntil([] { return false; }, 0.05));
  EXPECT_FALSE(RunLoop::main().runUntil([]() -> bool { throw std::runtime_error("x"); }, 0.02));
  EXPECT_TRUE(RunLoop::main().runUntil([] { return true; }, 0));
}

TEST(RunLoopTest, RunOnceCanStopAfterOneHandledEvent) {
  TestEnv env;
  int ran = 0;
  RunLoop::main().post([&] { ++ran; });
  RunLoop::main().post([&] { ++ran; });
  RunLoop::main().runOnce(1, true);
  EXPECT_EQ(ran, 1);
  RunLoop::main().runOnce(0, false);
  EXPECT_EQ(ran, 2);
}

TEST(RunLoopTest, ThrowingBlockIsLoggedAndTheLoopGoesOn) {
  TestEnv env;
  bool after = false;
  RunLoop::main().post([] { throw std::runtime_error("boom"); });
  RunLoop::main().post([] { throw 42; });
  RunLoop::main().post([&] { after = true; });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return after; }, 5));
  EXPECT_EQ(env.logCount("boom"), 1u);
  EXPECT_EQ(env.logLines().size(), 2u);
}

TEST(RunLoopTest, WatchedDescriptorIsServedOnTheLoopThread) {
  TestEnv env;
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::string received;
  RunLoop::main().watchReadable(fds[0], [&] {
    char buffer[16];
    ssize_t n = ::read(fds[0], buffer, sizeof buffer);
    if (n > 0) received.append(buffer, static_cast<std::size_t>(n));
  });
  std::thread writer([&] { ASSERT_EQ(::write(fds[1], "ping", 4), 4); });
  writer.join();
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return received == "ping"; }, 5));
  RunLoop::main().unwatch(fds[0]);
  ASSERT_EQ(::write(fds[1], "more", 4), 4);
  RunLoop::main().runFor(0.02);
  EXPECT_EQ(received, "ping");
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(RunLoopTest, BackgroundThreadRunsItsOwnLoop) {
  TestEnv env;
  std::atomic<RunLoop*> loop{nullptr};
  std::atomic<bool> stop{false};
  std::thread worker([&] {
    loop = &RunLoop::current();
    RunLoop::current().runUntil([&] { return stop.load(); }, 10);
  });
  while (loop.load() == nullptr) std::this_thread::yield();
  bool onWorker = false;
  loop.load()->postAndWait([&] { onWorker = !RunLoop::isMainThread(); });
  stop = true;
  loop.load()->post([] {});  // wakes it to see stop
  worker.join();
  EXPECT_TRUE(onWorker);
}

}  // namespace
}  // namespace qdx

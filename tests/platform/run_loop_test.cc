#include "qdx/RunLoop.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/log_gate.h"
#include "support/test_env.h"

namespace qdx {
namespace {

// Each thread has one loop of its own; the process's main thread owns the
// main loop, and a background thread's loop runs blocks posted to it there.
// postAndWait blocks its caller until the loop ran the block, or runs it at
// once on the loop's own thread.
TEST(RunLoopTest, EachThreadHasItsOwnLoopAndBlocksRunInPostingOrder) {
  TestEnv env;
  EXPECT_TRUE(RunLoop::isMainThread());
  EXPECT_EQ(&RunLoop::current(), &RunLoop::main());
  EXPECT_EQ(RunLoop::main().modes(), std::vector<std::string>{"kCFRunLoopDefaultMode"});
  std::atomic<RunLoop*> workerLoop{nullptr};
  std::atomic<bool> stop{false};
  std::thread worker([&] {
    workerLoop = &RunLoop::current();
    RunLoop::current().runUntil([&] { return stop.load(); }, 10);
  });
  while (workerLoop.load() == nullptr) std::this_thread::yield();
  EXPECT_NE(workerLoop.load(), &RunLoop::main());
  bool onWorker = false;
  workerLoop.load()->postAndWait([&] { onWorker = !RunLoop::isMainThread(); });
  stop = true;
  workerLoop.load()->post([] {});  // wakes it to see stop
  worker.join();
  EXPECT_TRUE(onWorker);
  bool ranInline = false;
  RunLoop::main().postAndWait([&] { ranInline = true; });
  EXPECT_TRUE(ranInline);

  // Blocks run in posting order, those posted while running included, and
  // posts from many threads (before the loop runs) all arrive in each
  // thread's order.
  RunLoop& loop = RunLoop::main();
  std::vector<int> order;
  loop.post([&] {
    order.push_back(1);
    loop.post([&] { order.push_back(3); });
  });
  loop.post([&] { order.push_back(2); });
  EXPECT_TRUE(loop.runUntil([&] { return order.size() == 3; }, 5));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));

  constexpr int kThreads = 4;
  constexpr int kPosts = 200;
  std::vector<int> next(kThreads, 0);  // touched only on the main thread
  int received = 0;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (int i = 0; i < kPosts; ++i) {
        loop.post([&, t, i] {
          EXPECT_EQ(next[t]++, i) << "thread " << t;
          ++received;
        });
      }
    });
  }
  for (auto& poster : posters) poster.join();
  EXPECT_TRUE(loop.runUntil([&] { return received == kThreads * kPosts; }, 10));
}

TEST(RunLoopTest, TimersFireUntilCancelledAndWakeTheLoopFromOtherThreads) {
  TestEnv env;
  RunLoop& loop = RunLoop::main();
  int repeats = 0;
  std::atomic<int> once{0};
  RunLoop::TimerId repeating = loop.addTimer(0.005, true, [&] { ++repeats; });
  std::thread([&] { loop.addTimer(0.001, false, [&] { ++once; }); }).join();
  EXPECT_TRUE(loop.runUntil([&] { return repeats >= 5 && once == 1; }, 10));
  loop.cancelTimer(repeating);
  int atCancel = repeats;
  loop.runFor(0.05);
  EXPECT_EQ(repeats, atCancel);
  EXPECT_EQ(once, 1);
  loop.cancelTimer(repeating);  // cancelling twice is harmless

  // A loop that was busy owes a repeating timer one fire, not a burst of
  // every fire it missed.
  int fires = 0;
  loop.addTimer(0.05, true, [&] { ++fires; });
  loop.post([] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); });
  loop.runOnce(1, true);  // the busy block: about ten fires fall due meanwhile
  ASSERT_EQ(fires, 0);
  loop.runFor(0.01);
  EXPECT_GE(fires, 1);
  EXPECT_LE(fires, 2);
}

TEST(RunLoopTest, RunUntilAndRunOnceStopWhenTheyShouldAndServeThrowingBlocksAndDescriptors) {
  TestEnv env;
  mydebug.store(true);  // what follows is checked by its diagnostics
  RunLoop& loop = RunLoop::main();
  EXPECT_FALSE(loop.runUntil([] { return false; }, 0.05));
  EXPECT_FALSE(loop.runUntil([]() -> bool { throw std::runtime_error("x"); }, 0.02));
  int ran = 0;
  loop.post([&] { ++ran; });
  loop.post([&] { ++ran; });
  loop.runOnce(1, true);  // stops after one handled event
  EXPECT_EQ(ran, 1);
  loop.runOnce(0, false);
  EXPECT_EQ(ran, 2);

  // A throwing block is logged and the loop goes on.
  bool after = false;
  RunLoop::main().post([] { throw std::runtime_error("boom"); });
  RunLoop::main().post([] { throw 42; });
  RunLoop::main().post([&] { after = true; });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return after; }, 5));
  EXPECT_EQ(env.logCount("boom"), 1u);
  EXPECT_EQ(env.logLines().size(), 2u);

  // A watched descriptor is served on the loop thread.
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::string received;
  RunLoop::main().watchReadable(fds[0], [&] {
    char buffer[16];
    ssize_t n = ::read(fds[0], buffer, sizeof buffer);
    if (n > 0) received.append(buffer, static_cast<std::size_t>(n));
  });
  std::thread([&] { ASSERT_EQ(::write(fds[1], "ping", 4), 4); }).join();
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return received == "ping"; }, 5));
  RunLoop::main().unwatch(fds[0]);
  ::close(fds[0]);
  ::close(fds[1]);
}

}  // namespace
}  // namespace qdx

// A host's own frame loop: it pumps the main queue without blocking, sleeps
// no longer than the next deadline, and is woken by posts from any thread.
// The timers run on the platform's monotonic clock, which the test steps.
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

#include "qdx/RunLoop.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(HostLoop, PumpServesWhatIsDueAndTheDeadlineSaysWhenMoreIs) {
  TestEnv env;
  env.setMonotonicNow(500);
  RunLoop& loop = RunLoop::main();
  const double never = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(loop.pump());
  EXPECT_EQ(loop.secondsUntilNextDeadline(), never);

  int fires = 0, blocks = 0;
  loop.addTimer(0.25, /*repeats=*/true, [&] { ++fires; });
  EXPECT_NEAR(loop.secondsUntilNextDeadline(), 0.25, 1e-9);
  loop.post([&] { ++blocks; });
  EXPECT_EQ(loop.secondsUntilNextDeadline(), 0);  // a block waits
  EXPECT_TRUE(loop.pump());
  EXPECT_EQ(blocks, 1);
  EXPECT_EQ(fires, 0);  // the clock has not moved: the timer waits
  EXPECT_FALSE(loop.pump());

  env.advanceMonotonic(0.1);
  EXPECT_NEAR(loop.secondsUntilNextDeadline(), 0.15, 1e-9);
  env.advanceMonotonic(0.15);
  EXPECT_EQ(loop.secondsUntilNextDeadline(), 0);
  EXPECT_TRUE(loop.pump());
  EXPECT_EQ(fires, 1);
  // Time that went by unserved fires once, then the timer plans ahead.
  env.advanceMonotonic(10);
  loop.pump();
  EXPECT_EQ(fires, 2);
  EXPECT_GT(loop.secondsUntilNextDeadline(), 0);
  EXPECT_LE(loop.secondsUntilNextDeadline(), 0.25);
}

TEST(HostLoop, TheWakeHandlerHearsPostsFromAnyThread) {
  TestEnv env;
  env.setMonotonicNow(500);
  RunLoop& loop = RunLoop::main();
  std::atomic<int> wakes{0};
  loop.setWakeHandler([&] { ++wakes; });
  std::atomic<bool> ran{false};
  std::thread([&] { loop.post([&] { ran = true; }); }).join();
  EXPECT_EQ(wakes.load(), 1);
  EXPECT_FALSE(ran.load());  // woken, but only the host's pump runs it
  loop.pump();
  EXPECT_TRUE(ran.load());
  loop.addTimer(1, false, [] {});
  EXPECT_EQ(wakes.load(), 2);  // a new timer may bring the deadline nearer
  loop.setWakeHandler(nullptr);
  loop.post([] {});
  EXPECT_EQ(wakes.load(), 2);
  loop.pump();
}

}  // namespace
}  // namespace qdx

// Every banner request runs on a thread of its own, and asynchronous
// reports on HTTP workers: all of them end when their work is done, so a
// host that shows many banners does not collect threads.
#include <filesystem>

#include "ad_flow_fixture.h"
#include "transport/QDXHttpClient.h"

namespace qdx::testing {
namespace {

std::size_t threadCount() {
  std::size_t count = 0;
  std::error_code error;
  for (auto it = std::filesystem::directory_iterator("/proc/self/task", error);
       !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
    ++count;
  }
  return count;
}

using ThreadLifetimeTest = AdFlowTest;

TEST_F(ThreadLifetimeTest, AfterThirtyBannerRequestsTheThreadCountIsBackWithinFour) {
  const std::size_t before = threadCount();
  ASSERT_GT(before, 0u);
  constexpr std::size_t kRequests = 30;
  // All at once, as a feed scrolling past many slots would: each request's
  // thread and the workers of their reports all run together.
  for (std::size_t i = 0; i < kRequests; ++i) {
    QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  }
  ASSERT_TRUE(RunLoop::main().runUntil(
      [&] { return delegate_->count("onADShowed") >= kRequests; }, 60));
  // Every report posted on the way has had its answer.
  ASSERT_TRUE(RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 30));
  // Finished threads take a moment to go; the bound only stops a leak from
  // waiting for ever.
  const bool settled =
      RunLoop::main().runUntil([&] { return threadCount() <= before + 4; }, 30);
  EXPECT_TRUE(settled) << "threads before: " << before << ", after: " << threadCount();
}

}  // namespace
}  // namespace qdx::testing

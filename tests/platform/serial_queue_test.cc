// The named serial queue: blocks run one at a time in posting order on one
// thread that is not the caller's; the destructor finishes what was queued
// and never hangs, even when the last owner lets go on the worker itself.
#include "platform/serial_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace qdx {
namespace {

TEST(SerialQueue, RunsBlocksInOrderOnOneOtherThreadAndDrainsOnDestruction) {
  std::vector<int> order;  // touched by the worker only, read after the join
  std::vector<std::thread::id> threads;
  bool sawCurrent = true;
  {
    SerialQueue queue("imageDownloadQueue");
    EXPECT_EQ(queue.name(), "imageDownloadQueue");
    EXPECT_FALSE(queue.isCurrent());
    for (int i = 0; i < 100; ++i) {
      queue.post([&, i] {
        order.push_back(i);
        threads.push_back(std::this_thread::get_id());
        sawCurrent = sawCurrent && queue.isCurrent();
      });
    }
  }  // joins after the hundredth block
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
  EXPECT_TRUE(sawCurrent);
  for (const auto& id : threads) {
    EXPECT_EQ(id, threads[0]);
    EXPECT_NE(id, std::this_thread::get_id());
  }
}

TEST(SerialQueue, ReleasingTheLastOwnerFromItsOwnBlockDoesNotHang) {
  std::mutex mutex;
  std::condition_variable done;
  bool mainLetGo = false, released = false, laterRan = false;
  auto queue = std::make_shared<SerialQueue>("q");
  std::weak_ptr<SerialQueue> weak = queue;
  // The block holds the only reference and drops it on the worker; the
  // block queued after it still runs on the detached worker.
  queue->post([owner = queue, &mutex, &done, &mainLetGo, &released]() mutable {
    {
      std::unique_lock<std::mutex> hold(mutex);
      done.wait(hold, [&] { return mainLetGo; });
    }
    owner.reset();
    std::lock_guard<std::mutex> hold(mutex);
    released = true;
    done.notify_all();
  });
  queue->post([&] {
    std::lock_guard<std::mutex> hold(mutex);
    laterRan = true;
    done.notify_all();
  });
  queue.reset();
  std::unique_lock<std::mutex> hold(mutex);
  mainLetGo = true;
  done.notify_all();
  ASSERT_TRUE(done.wait_for(hold, std::chrono::seconds(10), [&] { return released && laterRan; }));
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace qdx

#include "qdx/RunLoop.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "platform/env.h"
#include "platform/log_gate.h"

namespace qdx {

namespace {

// A repeating timer never fires more often than this, so a zero interval
// cannot spin the loop.
constexpr double kMinimumRepeatInterval = 1e-4;

double monotonicSeconds() {
  auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(sinceStart).count();
}

// Runs one block; nothing it throws leaves the loop.
void runGuarded(const RunLoop::Block& block) {
  if (!block) return;
  try {
    block();
  } catch (const std::exception& error) {
    debugLog(std::string("qdx: a block on a run loop threw: ") + error.what());
  } catch (...) {
    debugLog("qdx: a block on a run loop threw a non-standard exception");
  }
}

thread_local RunLoop* threadLoop = nullptr;

// A loop's wake-up descriptor. Every one ever made sits in a push-only list
// so that a forked child can give each loop a descriptor of its own: an
// eventfd shared with the parent would let either process swallow the
// other's wake-ups.
struct WakeChannel {
  std::atomic<int> fd{-1};
  WakeChannel* next = nullptr;
};

std::atomic<WakeChannel*> wakeChannels{nullptr};

int makeWakeDescriptor() { return ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC); }

// Runs in the child after fork(), where only the forking thread exists, so
// it takes no locks.
void renewWakeDescriptorsInChild() {
  for (WakeChannel* channel = wakeChannels.load(); channel != nullptr; channel = channel->next) {
    int old = channel->fd.load();
    if (old < 0) continue;
    channel->fd.store(makeWakeDescriptor());
    ::close(old);
  }
}

WakeChannel* newWakeChannel() {
  static const bool forkHandlerInstalled = [] {
    ::pthread_atfork(nullptr, nullptr, renewWakeDescriptorsInChild);
    return true;
  }();
  (void)forkHandlerInstalled;
  auto* channel = new WakeChannel();  // kept for the process, like the loops
  channel->fd.store(makeWakeDescriptor());
  WakeChannel* head = wakeChannels.load();
  do {
    channel->next = head;
  } while (!wakeChannels.compare_exchange_weak(head, channel));
  return channel;
}

}  // namespace

struct RunLoop::Impl {
  struct Timer {
    double fireAt;  // monotonic seconds
    double interval;
    bool repeats;
    std::shared_ptr<Block> fire;
  };

  std::mutex mutex;
  std::deque<Block> queue;
  std::map<TimerId, Timer> timers;
  // Timers by fire time: the earliest is first.
  std::set<std::pair<double, TimerId>> schedule;
  TimerId nextTimerId = 1;
  std::map<int, std::shared_ptr<Block>> watched;
  WakeChannel* wakeChannel = nullptr;
  bool isMainLoop = false;
  std::thread::id owner;

  bool onOwnThread() const {
    return isMainLoop ? RunLoop::isMainThread() : std::this_thread::get_id() == owner;
  }

  void wake() {
    int fd = wakeChannel->fd.load();
    if (fd < 0) return;
    std::uint64_t one = 1;
    ssize_t written;
    do {
      written = ::write(fd, &one, sizeof one);
    } while (written < 0 && errno == EINTR);
  }

  void drainWake(int fd) {
    std::uint64_t count;
    while (::read(fd, &count, sizeof count) > 0) {
    }
  }

  // Runs the oldest queued block, if any.
  bool runQueuedBlock() {
    Block block;
    {
      std::lock_guard<std::mutex> lock(mutex);
      if (queue.empty()) return false;
      block = std::move(queue.front());
      queue.pop_front();
    }
    runGuarded(block);
    return true;
  }

  // Fires the earliest timer due at now, if any; a repeating timer is
  // planned again from the time it was due, skipping fires it missed.
  bool fireDueTimer(double now) {
    std::shared_ptr<Block> fire;
    {
      std::lock_guard<std::mutex> lock(mutex);
      if (schedule.empty() || schedule.begin()->first > now) return false;
      TimerId id = schedule.begin()->second;
      schedule.erase(schedule.begin());
      auto found = timers.find(id);
      if (found == timers.end()) return false;
      Timer& timer = found->second;
      fire = timer.fire;
      if (timer.repeats) {
        double missed = std::floor((now - timer.fireAt) / timer.interval);
        timer.fireAt += (missed + 1) * timer.interval;
        schedule.emplace(timer.fireAt, id);
      } else {
        timers.erase(found);
      }
    }
    runGuarded(*fire);
    return true;
  }

  // Seconds until something is due, capped at limit; 0 when a block waits.
  double waitBound(double now, double limit) {
    std::lock_guard<std::mutex> lock(mutex);
    if (!queue.empty()) return 0;
    double wait = limit;
    if (!schedule.empty()) wait = std::min(wait, schedule.begin()->first - now);
    return std::max(wait, 0.0);
  }

  std::vector<pollfd> pollSet() {
    std::vector<pollfd> fds;
    fds.push_back(pollfd{wakeChannel->fd.load(), POLLIN, 0});
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& entry : watched) fds.push_back(pollfd{entry.first, POLLIN, 0});
    return fds;
  }

  std::shared_ptr<Block> watcherFor(int fd, bool dropIt) {
    std::lock_guard<std::mutex> lock(mutex);
    auto found = watched.find(fd);
    if (found == watched.end()) return nullptr;
    std::shared_ptr<Block> block = found->second;
    if (dropIt) watched.erase(found);
    return block;
  }
};

RunLoop::RunLoop() : impl_(std::make_unique<Impl>()) {
  impl_->wakeChannel = newWakeChannel();
  if (impl_->wakeChannel->fd.load() < 0) {
    debugLog("qdx: a run loop could not make its wake-up descriptor");
  }
  impl_->owner = std::this_thread::get_id();
}

RunLoop::~RunLoop() {
  int fd = impl_->wakeChannel->fd.exchange(-1);
  if (fd >= 0) ::close(fd);
}

RunLoop& RunLoop::main() {
  // Made once and kept for the life of the process: any thread may post to
  // it before the main thread first runs it.
  static RunLoop* const loop = [] {
    RunLoop* made = new RunLoop();
    made->impl_->isMainLoop = true;
    return made;
  }();
  return *loop;
}

RunLoop& RunLoop::current() {
  if (isMainThread()) return main();
  if (threadLoop == nullptr) {
    // Kept for the process, and reachable, so that blocks posted to the
    // loop of a thread that has ended still land somewhere valid.
    static std::mutex keptMutex;
    static auto* kept = new std::vector<std::unique_ptr<RunLoop>>();
    threadLoop = new RunLoop();
    std::lock_guard<std::mutex> lock(keptMutex);
    kept->emplace_back(threadLoop);
  }
  return *threadLoop;
}

bool RunLoop::isMainThread() {
  static thread_local const bool isMain =
      static_cast<pid_t>(::syscall(SYS_gettid)) == ::getpid();
  return isMain;
}

void RunLoop::post(Block block) {
  {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->queue.push_back(std::move(block));
  }
  impl_->wake();
}

void RunLoop::postAndWait(Block block) {
  if (impl_->onOwnThread()) {
    runGuarded(block);
    return;
  }
  struct Completion {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
  };
  auto completion = std::make_shared<Completion>();
  post([completion, block = std::move(block)] {
    runGuarded(block);
    std::lock_guard<std::mutex> lock(completion->mutex);
    completion->finished = true;
    completion->done.notify_all();
  });
  std::unique_lock<std::mutex> lock(completion->mutex);
  completion->done.wait(lock, [&] { return completion->finished; });
}

RunLoop::TimerId RunLoop::addTimer(double intervalSeconds, bool repeats, Block fire) {
  double interval = std::isfinite(intervalSeconds) ? std::max(intervalSeconds, 0.0) : 0.0;
  if (repeats) interval = std::max(interval, kMinimumRepeatInterval);
  TimerId id;
  {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    id = impl_->nextTimerId++;
    double fireAt = monotonicSeconds() + interval;
    impl_->timers[id] =
        Impl::Timer{fireAt, interval, repeats, std::make_shared<Block>(std::move(fire))};
    impl_->schedule.emplace(fireAt, id);
  }
  impl_->wake();
  return id;
}

void RunLoop::cancelTimer(TimerId id) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  auto found = impl_->timers.find(id);
  if (found == impl_->timers.end()) return;
  impl_->schedule.erase({found->second.fireAt, id});
  impl_->timers.erase(found);
}

void RunLoop::watchReadable(int fd, Block onReadable) {
  {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->watched[fd] = std::make_shared<Block>(std::move(onReadable));
  }
  impl_->wake();
}

void RunLoop::unwatch(int fd) {
  {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->watched.erase(fd);
  }
  impl_->wake();
}

void RunLoop::runFor(double seconds) { runOnce(seconds, /*returnAfterSourceHandled=*/false); }

bool RunLoop::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
  auto holds = [&] {
    try {
      return predicate && predicate();
    } catch (...) {
      return false;
    }
  };
  double deadline = monotonicSeconds() + timeoutSeconds;
  while (true) {
    if (holds()) return true;
    double remaining = deadline - monotonicSeconds();
    if (remaining <= 0) return holds();
    runOnce(std::min(remaining, 0.01), /*returnAfterSourceHandled=*/true);
  }
}

void RunLoop::runOnce(double seconds, bool returnAfterSourceHandled) {
  Impl& impl = *impl_;
  double deadline = monotonicSeconds() + (std::isfinite(seconds) ? std::max(seconds, 0.0) : 0.0);
  while (true) {
    // The blocks queued before this pass; ones they queue wait for the next
    // pass, so timers and descriptors are served in between.
    std::size_t queued;
    {
      std::lock_guard<std::mutex> lock(impl.mutex);
      queued = impl.queue.size();
    }
    for (std::size_t i = 0; i < queued; ++i) {
      if (impl.runQueuedBlock() && returnAfterSourceHandled) return;
    }
    while (impl.fireDueTimer(monotonicSeconds())) {
      if (returnAfterSourceHandled) return;
    }

    double now = monotonicSeconds();
    double wait = impl.waitBound(now, deadline - now);
    std::vector<pollfd> fds = impl.pollSet();
    timespec timeout{};
    timeout.tv_sec = static_cast<time_t>(wait);
    timeout.tv_nsec = static_cast<long>((wait - static_cast<double>(timeout.tv_sec)) * 1e9);
    int ready = ::ppoll(fds.data(), fds.size(), &timeout, nullptr);
    if (ready > 0) {
      if (fds[0].revents != 0) impl.drainWake(fds[0].fd);
      for (std::size_t i = 1; i < fds.size(); ++i) {
        if (fds[i].revents == 0) continue;
        bool invalid = (fds[i].revents & POLLNVAL) != 0;
        std::shared_ptr<Block> onReadable = impl.watcherFor(fds[i].fd, invalid);
        if (!onReadable || invalid) continue;
        runGuarded(*onReadable);
        if (returnAfterSourceHandled) return;
      }
    }
    if (monotonicSeconds() >= deadline) return;
  }
}

std::vector<std::string> RunLoop::modes() const { return {"kCFRunLoopDefaultMode"}; }

}  // namespace qdx

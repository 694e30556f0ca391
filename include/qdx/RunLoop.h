#pragma once
// Run loops: each thread may have one. The process main thread's loop is the
// "main queue": the SDK posts its completions, view changes and timers to
// it, so a host runs it on its main thread (runFor / runUntil / runOnce),
// as an app's event loop would. A loop only does work while its own thread
// runs it.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"

namespace qdx {

class QDX_EXPORT RunLoop {
 public:
  using Block = std::function<void()>;
  using TimerId = std::uint64_t;

  // The loop of the process main thread (the thread whose id is the pid).
  static RunLoop& main();
  // The calling thread's loop, created on first use.
  static RunLoop& current();
  // True on the process main thread.
  static bool isMainThread();

  // Queues block to run on this loop's thread, after every block queued
  // before it. Safe from any thread, including the loop's own.
  void post(Block block);

  // Queues block on this loop and waits until it has run. When called on
  // the loop's own thread the block runs at once.
  void postAndWait(Block block);

  // Schedules fire every interval seconds (once if !repeats), first after
  // one interval. Safe from any thread.
  TimerId addTimer(double intervalSeconds, bool repeats, Block fire);
  void cancelTimer(TimerId id);

  // Calls onReadable on this loop's thread whenever fd is readable.
  // Only async-signal-safe writers should feed such descriptors.
  void watchReadable(int fd, Block onReadable);
  void unwatch(int fd);

  // Serves queued blocks, timers and watched descriptors for the given time.
  // Must be called on the loop's own thread.
  void runFor(double seconds);
  // Serves events until predicate() holds (checked after every event and at
  // least every 10 ms) or the timeout passes. Returns predicate().
  bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);
  // Serves events for at most seconds; returns after the first handled
  // event when returnAfterSourceHandled is true.
  void runOnce(double seconds, bool returnAfterSourceHandled);

  // The names of the loop's modes. There is one: "kCFRunLoopDefaultMode".
  std::vector<std::string> modes() const;

  ~RunLoop();

 private:
  RunLoop();
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qdx

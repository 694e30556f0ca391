#pragma once
// Run loops: each thread may have one. The process main thread's loop is the
// "main queue": the SDK posts its completions, view changes, timers and
// animation steps to it, so a host runs it on its main thread (runFor /
// runUntil / runOnce), as an app's event loop would. A loop only does work
// while its own thread runs it.
//
// A host with a frame loop of its own (SDL, GLFW, a game engine) does not
// hand its thread over: each frame it calls pump(), sleeps at most
// secondsUntilNextDeadline(), and lets the wake handler end the sleep early
// when another thread posts a block.
//
// Timers measure time on the platform's monotonic clock (the one the
// platform seam provides), so a test that steps that clock fires them
// without sleeping; runFor, runUntil and runOnce bound how long they block
// in real time.
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

  // Serves, without waiting, the blocks queued before the call, the timers
  // due now and the watched descriptors that are readable. Returns whether
  // anything ran. Must be called on the loop's own thread.
  bool pump();
  // Seconds until this loop next has work: 0 when a block is queued, the
  // time to the earliest timer (an animation step is one) otherwise, never
  // negative, and +infinity when nothing is scheduled. Safe from any thread.
  double secondsUntilNextDeadline() const;
  // Sets the handler called whenever a block is posted or a timer added,
  // from the posting thread (any thread), so a host sleeping in its own
  // loop can wake up (an SDL host pushes a user event). It must be quick and
  // must not call back into this loop. An empty function removes it.
  void setWakeHandler(std::function<void()> handler);

  // The names of the loop's modes. There is one: "kCFRunLoopDefaultMode".
  std::vector<std::string> modes() const;

  ~RunLoop();

 private:
  RunLoop();
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qdx

#pragma once
// A named serial queue: one worker thread runs the posted blocks one at a
// time, in the order they were posted.
//
// The destructor stops taking blocks, lets the worker finish the ones
// already queued and joins it. When the last owner lets go on the worker
// itself (a block dropped the final reference), the worker is detached
// instead and finishes on its own; it only touches state it shares, never
// the destroyed queue.
#include <functional>
#include <memory>
#include <string>

namespace qdx {

class SerialQueue {
 public:
  using Block = std::function<void()>;

  // Starts the worker thread of a queue called name.
  explicit SerialQueue(std::string name);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& name() const { return name_; }
  // Queues block behind every block posted before it. Safe from any thread;
  // ignored once the queue is being destroyed.
  void post(Block block);
  // True on this queue's worker thread.
  bool isCurrent() const;

 private:
  struct State;
  std::string name_;
  std::shared_ptr<State> state_;
};

}  // namespace qdx

#include "platform/serial_queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace qdx {

struct SerialQueue::State {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<Block> blocks;
  bool stopping = false;
  std::thread worker;

  // Runs blocks until stopping is set and nothing is left. Holds itself
  // alive through self, so a detached worker outlives the queue safely.
  static void run(const std::shared_ptr<State>& self) {
    for (;;) {
      Block block;
      {
        std::unique_lock<std::mutex> hold(self->mutex);
        self->wake.wait(hold, [&] { return self->stopping || !self->blocks.empty(); });
        if (self->blocks.empty()) return;
        block = std::move(self->blocks.front());
        self->blocks.pop_front();
      }
      block();
    }
  }
};

SerialQueue::SerialQueue(std::string name)
    : name_(std::move(name)), state_(std::make_shared<State>()) {
  state_->worker = std::thread([state = state_] { State::run(state); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard<std::mutex> hold(state_->mutex);
    state_->stopping = true;
  }
  state_->wake.notify_one();
  // The worker cannot join itself: it finishes the queue detached.
  if (isCurrent()) {
    state_->worker.detach();
  } else {
    state_->worker.join();
  }
}

void SerialQueue::post(Block block) {
  {
    std::lock_guard<std::mutex> hold(state_->mutex);
    if (state_->stopping) return;
    state_->blocks.push_back(std::move(block));
  }
  state_->wake.notify_one();
}

bool SerialQueue::isCurrent() const { return std::this_thread::get_id() == state_->worker.get_id(); }

}  // namespace qdx

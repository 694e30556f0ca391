#pragma once
// A network whose exchanges are held open until released: each then
// answers 200 with "bytes of <url>". For showing what does and does not
// wait on a stalled download. Installed in place of the current Env for its
// lifetime; releases whatever it still holds when it goes.
#include <condition_variable>
#include <mutex>

#include "platform/env_wrapper.h"

namespace qdx {

class HeldDownloads : public EnvWrapper {
 public:
  HeldDownloads() : EnvWrapper(Env::Default()) { Env::Install(this); }
  ~HeldDownloads() override {
    release();
    if (Env::Default() == this) Env::Install(target());
  }
  HeldDownloads(const HeldDownloads&) = delete;
  HeldDownloads& operator=(const HeldDownloads&) = delete;

  HttpResponse performHttp(const HttpRequest& request) override {
    std::unique_lock<std::mutex> lock(mutex_);
    ++started_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return released_; });
    HttpResponse response;
    response.arrived = true;
    response.status = 200;
    response.body = "bytes of " + request.url;
    return response;
  }

  // Waits until count exchanges have started (and are held).
  void awaitStarted(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return started_ >= count; });
  }
  // Lets every held exchange, and every later one, answer.
  void release() {
    std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }
  // How many exchanges have started so far.
  int started() {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int started_ = 0;
  bool released_ = false;
};

}  // namespace qdx

#pragma once
// An Env that holds chosen HTTP exchanges at a gate until the test opens
// it, so a test can stop the world at "this request has started and not
// yet been sent" and look around without racing the flow. It wraps the
// installed Env (normally a TestEnv), installs itself in its place for its
// lifetime and forwards everything else.
#include <condition_variable>
#include <mutex>
#include <string>

#include "platform/env_wrapper.h"

namespace qdx {

class HttpGateEnv : public EnvWrapper {
 public:
  // Holds every exchange whose URL contains urlPart. Wraps and replaces the
  // Env installed now; opens the gate and reinstalls that Env when it ends.
  explicit HttpGateEnv(std::string urlPart) : EnvWrapper(Env::Default()), urlPart_(std::move(urlPart)) {
    Env::Install(this);
  }
  ~HttpGateEnv() override {
    open();
    if (Env::Default() == this) Env::Install(target());
  }
  HttpGateEnv(const HttpGateEnv&) = delete;
  HttpGateEnv& operator=(const HttpGateEnv&) = delete;

  // How many held exchanges have reached the gate so far.
  int arrived() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return arrived_;
  }
  // Lets every held exchange, and every later one, through.
  void open() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      open_ = true;
    }
    changed_.notify_all();
  }

  HttpResponse performHttp(const HttpRequest& request) override {
    if (request.url.find(urlPart_) != std::string::npos) {
      std::unique_lock<std::mutex> lock(mutex_);
      ++arrived_;
      changed_.wait(lock, [this] { return open_; });
    }
    return EnvWrapper::performHttp(request);
  }

 private:
  const std::string urlPart_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int arrived_ = 0;
  bool open_ = false;
};

}  // namespace qdx

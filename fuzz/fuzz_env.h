#pragma once
// The platform of the fuzz targets that run SDK code: no socket, no disk
// store, no real clock. Every HTTP exchange is answered by the target's
// stub (or refused), the stores are maps in memory, the clock stands still,
// the network reads as Wi-Fi and log lines are dropped. Files (the image
// cache, crash logs) go to a temporary home of the process's own.
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/env_wrapper.h"
#include "platform/posix_env.h"
#include "qdx/RunLoop.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "transport/QDXHttpClient.h"

namespace qdx::fuzzing {

class MemoryStore : public KeyValueBackend {
 public:
  Json get(const std::string& key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = values_.find(key);
    return found == values_.end() ? Json() : found->second;
  }
  void set(const std::string& key, const Json& value) override {
    std::lock_guard<std::mutex> lock(mutex_);
    if (value.is_null()) {
      values_.erase(key);
    } else {
      values_[key] = value;
    }
  }
  void remove(const std::string& key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    values_.erase(key);
  }
  std::vector<std::string> keys() override {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> out;
    for (const auto& entry : values_) out.push_back(entry.first);
    return out;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    values_.clear();
  }

 private:
  std::mutex mutex_;
  std::map<std::string, Json> values_;
};

class MemoryKeychain : public SecureItemBackend {
 public:
  bool add(const std::string& service, const std::string& account,
           const std::string& data) override {
    std::lock_guard<std::mutex> lock(mutex_);
    return items_.emplace(std::make_pair(service, account), data).second;
  }
  std::optional<std::string> copyMatching(const std::string& service,
                                          const std::string& account) override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = items_.find({service, account});
    if (found == items_.end()) return std::nullopt;
    return found->second;
  }
  bool remove(const std::string& service, const std::string& account) override {
    std::lock_guard<std::mutex> lock(mutex_);
    return items_.erase({service, account}) > 0;
  }
  std::vector<std::pair<std::string, std::string>> items() override {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& entry : items_) out.push_back(entry.first);
    return out;
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::string> items_;
};

class FuzzEnv : public EnvWrapper {
 public:
  using Exchange = std::function<HttpResponse(const HttpRequest&)>;

  // The one platform of the process, installed on first use.
  static FuzzEnv& shared() {
    static FuzzEnv* env = new FuzzEnv();
    return *env;
  }

  // Answers every exchange from now on (nullptr: none arrives).
  void setExchange(Exchange exchange) {
    std::lock_guard<std::mutex> lock(mutex_);
    exchange_ = std::move(exchange);
  }

  MemoryStore& memoryStore() { return store_; }

  // Empties the local store and stores the host identity every envelope
  // needs (the reference server's test app).
  void startAfresh() {
    store_.clear();
    QDXUserDefaults::saveToLocal(10001, keys::kAppId);
    QDXUserDefaults::saveToLocal("QDXDemoAppKey2016", keys::kAppKey);
    QDXUserDefaults::saveToLocal("AppStore", keys::kChannel);
    QDXUserDefaults::saveToLocal("1.0", keys::kAppVersion);
  }

  // Runs queued main-queue blocks until no asynchronous post is in flight.
  static void drainMainQueue() {
    RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 5);
    RunLoop::main().runFor(0);
  }

  double now() override { return 1700000000.25; }
  unsigned dataNetworkCode() override { return 5; }
  void log(const std::string&) override {}
  bool openURL(const std::string&) override { return true; }
  KeyValueBackend& localStore() override { return store_; }
  SecureItemBackend& keychain() override { return keychain_; }
  double requestTimeoutSeconds() override { return 0.05; }
  double downloadTimeoutSeconds() override { return 0.05; }
  HttpResponse performHttp(const HttpRequest& request) override {
    Exchange exchange;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      exchange = exchange_;
    }
    if (!exchange) return HttpResponse{false, 0, "", "no network in a fuzz target"};
    return exchange(request);
  }

 private:
  FuzzEnv() : EnvWrapper(&posix_) {
    std::string home = "/tmp/qdx-fuzz-home-" + std::to_string(::getpid()) + "-XXXXXX";
    if (::mkdtemp(home.data()) != nullptr) posix_.setHomeDirectory(home);
    posix_.setBundleInfo("CFBundleShortVersionString", "1.0");
    posix_.setBundleInfo("CFBundleIdentifier", "com.example.fuzz");
    // The demo's interface files stand in for a host's.
    posix_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
    Env::Install(this);
  }

  PosixEnv posix_;
  MemoryStore store_;
  MemoryKeychain keychain_;
  std::mutex mutex_;
  Exchange exchange_;
};

}  // namespace qdx::fuzzing

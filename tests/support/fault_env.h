#pragma once
// An Env that fails chosen file reads and writes, for tests of what the SDK
// does when the disk lets it down. It wraps the installed Env (normally a
// TestEnv), installs itself in its place for its lifetime and forwards
// everything it does not fail. A refused read or write touches nothing.
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/env_wrapper.h"

namespace qdx {

class FaultEnv : public EnvWrapper {
 public:
  // Wraps and replaces the Env installed now; reinstalls it when it ends.
  FaultEnv() : EnvWrapper(Env::Default()) { Env::Install(this); }
  ~FaultEnv() override {
    if (Env::Default() == this) Env::Install(target());
  }
  FaultEnv(const FaultEnv&) = delete;
  FaultEnv& operator=(const FaultEnv&) = delete;

  // From now on, atomic writes to a path containing pathPart fail.
  void failWritesTo(std::string pathPart) {
    std::lock_guard<std::mutex> lock(mutex_);
    writeFaults_.push_back(std::move(pathPart));
  }
  // From now on, reads of a path containing pathPart fail (the file still
  // exists as far as fileExists is concerned).
  void failReadsOf(std::string pathPart) {
    std::lock_guard<std::mutex> lock(mutex_);
    readFaults_.push_back(std::move(pathPart));
  }

  // How many writes and reads were refused so far.
  int refusedWrites() const { return refusedWrites_.load(); }
  int refusedReads() const { return refusedReads_.load(); }

  std::optional<std::string> readFile(const std::string& path) override {
    if (matches(readFaults_, path)) {
      refusedReads_.fetch_add(1);
      return std::nullopt;
    }
    return EnvWrapper::readFile(path);
  }
  bool writeFileAtomically(const std::string& path, const std::string& contents) override {
    if (matches(writeFaults_, path)) {
      refusedWrites_.fetch_add(1);
      return false;
    }
    return EnvWrapper::writeFileAtomically(path, contents);
  }

 private:
  bool matches(const std::vector<std::string>& parts, const std::string& path) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const std::string& part : parts) {
      if (path.find(part) != std::string::npos) return true;
    }
    return false;
  }

  mutable std::mutex mutex_;
  std::vector<std::string> writeFaults_;
  std::vector<std::string> readFaults_;
  std::atomic<int> refusedWrites_{0};
  std::atomic<int> refusedReads_{0};
};

}  // namespace qdx

#pragma once
// EnvWrapper forwards every Env call to a target Env, in the manner of
// LevelDB's EnvWrapper: a subclass overrides only the calls it changes
// (a test platform with a fixed clock, one that injects file faults) and
// inherits the rest from the target.
#include "platform/env.h"

namespace qdx {

class EnvWrapper : public Env {
 public:
  // Forwards to target, which is not owned and must outlive the wrapper
  // (it may not be constructed yet: the constructor only keeps the pointer).
  explicit EnvWrapper(Env* target) : target_(target) {}

  // The Env every call is forwarded to.
  Env* target() const { return target_; }

  std::optional<std::string> bundleInfo(const std::string& key) override {
    return target_->bundleInfo(key);
  }
  ScreenMetrics mainScreen() override { return target_->mainScreen(); }
  std::string systemVersion() override { return target_->systemVersion(); }
  std::string machineIdentifier() override { return target_->machineIdentifier(); }
  std::string advertisingIdentifier() override { return target_->advertisingIdentifier(); }
  unsigned dataNetworkCode() override { return target_->dataNetworkCode(); }
  int applicationState() override { return target_->applicationState(); }
  bool setApplicationState(int state) override { return target_->setApplicationState(state); }
  std::string locale() override { return target_->locale(); }
  std::string bundleResourceDirectory() override { return target_->bundleResourceDirectory(); }

  double requestTimeoutSeconds() override { return target_->requestTimeoutSeconds(); }
  double downloadTimeoutSeconds() override { return target_->downloadTimeoutSeconds(); }

  double now() override { return target_->now(); }
  double monotonicNow() override { return target_->monotonicNow(); }

  std::string homeDirectory() override { return target_->homeDirectory(); }
  std::string documentsDirectory() override { return target_->documentsDirectory(); }
  std::string cachesDirectory() override { return target_->cachesDirectory(); }

  std::optional<std::string> readFile(const std::string& path) override {
    return target_->readFile(path);
  }
  bool fileExists(const std::string& path) override { return target_->fileExists(path); }
  bool writeFileAtomically(const std::string& path, const std::string& contents) override {
    return target_->writeFileAtomically(path, contents);
  }
  std::optional<std::vector<std::string>> listDirectory(const std::string& directory) override {
    return target_->listDirectory(directory);
  }
  bool removeFile(const std::string& path) override { return target_->removeFile(path); }
  bool createDirectories(const std::string& directory) override {
    return target_->createDirectories(directory);
  }

  bool startThread(const std::string& name, std::function<void()> work) override {
    return target_->startThread(name, std::move(work));
  }

  bool openURL(const std::string& url) override { return target_->openURL(url); }
  void log(const std::string& line) override { target_->log(line); }
  KeyValueBackend& localStore() override { return target_->localStore(); }
  SecureItemBackend& keychain() override { return target_->keychain(); }
  HttpResponse performHttp(const HttpRequest& request) override {
    return target_->performHttp(request);
  }

 private:
  Env* const target_;
};

}  // namespace qdx

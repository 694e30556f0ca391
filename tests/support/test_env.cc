#include "support/test_env.h"

#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

namespace qdx {

namespace {

std::string makeTemporaryRoot() {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                        "/qdx-test-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (::mkdtemp(buffer.data()) == nullptr) {
    std::perror("qdx TestEnv: mkdtemp");
    std::abort();
  }
  return std::string(buffer.data());
}

// The TestEnv installed most recently, so that a nested one (a simulated
// restart) hands the platform back to the outer one when it ends.
TestEnv* installedTestEnv = nullptr;

}  // namespace

TestEnv::TestEnv() : EnvWrapper(&posix_), root_(makeTemporaryRoot()), ownsRoot_(true) {
  configure();
}

TestEnv::TestEnv(std::string existingRoot)
    : EnvWrapper(&posix_), root_(std::move(existingRoot)), ownsRoot_(false) {
  configure();
}

TestEnv* TestEnv::installed() { return installedTestEnv; }

void TestEnv::configure() {
  setHomeDirectory(root_ + "/home");
  setKeychainDirectory(root_ + "/keychain");
  setDataNetworkCode(5);
  setMainScreen(ScreenMetrics{375, 667, 2});
  setBundleInfo("CFBundleIdentifier", "com.example.qdxhost");
  setBundleInfo("CFBundleShortVersionString", "1.0");
  setApplicationState(0);
  setLogSink([this](const std::string& line) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      logLines_.push_back(line);
    }
    std::fprintf(stderr, "[log] %s\n", line.c_str());
  });
  setOpenURLHandler([this](const std::string& url) {
    std::lock_guard<std::mutex> lock(mutex_);
    openedURLs_.push_back(url);
    return true;
  });
  outer_ = installedTestEnv;
  installedTestEnv = this;
  Env::Install(this);
}

namespace {
std::mutex probesMutex;
std::vector<std::function<bool()>>& backgroundWorkProbes() {
  static auto* probes = new std::vector<std::function<bool()>>();
  return *probes;
}

bool backgroundWorkRunning() {
  std::lock_guard<std::mutex> lock(probesMutex);
  for (const auto& running : backgroundWorkProbes()) {
    if (running()) return true;
  }
  return false;
}

// Background work a test started (asynchronous posts, detached start-up
// threads) may still be using this platform: give it time to finish before
// the platform goes away, so no thread logs into a destroyed sink.
void waitForBackgroundWork() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (backgroundWorkRunning() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}
}  // namespace

void TestEnv::addBackgroundWorkProbe(std::function<bool()> running) {
  std::lock_guard<std::mutex> lock(probesMutex);
  backgroundWorkProbes().push_back(std::move(running));
}

TestEnv::~TestEnv() {
  if (outer_ == nullptr) waitForBackgroundWork();
  if (installedTestEnv == this) installedTestEnv = outer_;
  if (Env::Default() == this) Env::Install(outer_);
  if (ownsRoot_ && std::getenv("QDX_KEEP_TEST_DIRS") == nullptr) {
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }
}

void TestEnv::setTimeouts(double requestSeconds, double downloadSeconds) {
  std::lock_guard<std::mutex> lock(mutex_);
  requestTimeout_ = requestSeconds;
  downloadTimeout_ = downloadSeconds;
}

double TestEnv::requestTimeoutSeconds() {
  std::lock_guard<std::mutex> lock(mutex_);
  return requestTimeout_ ? *requestTimeout_ : EnvWrapper::requestTimeoutSeconds();
}

double TestEnv::downloadTimeoutSeconds() {
  std::lock_guard<std::mutex> lock(mutex_);
  return downloadTimeout_ ? *downloadTimeout_ : EnvWrapper::downloadTimeoutSeconds();
}

namespace {

// The wall clock and the monotonic clock are test clocks alike: unfixed they
// read the real clock; a step fixes them at their real reading first.
void stepClock(std::mutex& mutex, std::optional<double>& fixed, double real, double seconds) {
  std::lock_guard<std::mutex> lock(mutex);
  fixed = fixed.value_or(real) + seconds;
}

template <typename RealClock>
double readClock(std::mutex& mutex, const std::optional<double>& fixed, RealClock real) {
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (fixed) return *fixed;
  }
  return real();
}

}  // namespace

void TestEnv::setNow(double secondsSince1970) {
  std::lock_guard<std::mutex> lock(mutex_);
  fixedNow_ = secondsSince1970;
}

void TestEnv::advance(double seconds) { stepClock(mutex_, fixedNow_, posix_.now(), seconds); }

double TestEnv::now() { return readClock(mutex_, fixedNow_, [this] { return posix_.now(); }); }

void TestEnv::setMonotonicNow(double seconds) {
  std::lock_guard<std::mutex> lock(mutex_);
  fixedMonotonic_ = seconds;
}

void TestEnv::advanceMonotonic(double seconds) {
  stepClock(mutex_, fixedMonotonic_, posix_.monotonicNow(), seconds);
}

double TestEnv::monotonicNow() {
  return readClock(mutex_, fixedMonotonic_, [this] { return posix_.monotonicNow(); });
}

std::vector<std::string> TestEnv::logLines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return logLines_;
}

void TestEnv::clearLog() {
  std::lock_guard<std::mutex> lock(mutex_);
  logLines_.clear();
}

bool TestEnv::logContains(const std::string& text) const { return logCount(text) > 0; }

std::size_t TestEnv::logCount(const std::string& text) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::size_t count = 0;
  for (const std::string& line : logLines_) {
    if (line.find(text) != std::string::npos) ++count;
  }
  return count;
}

std::vector<std::string> TestEnv::openedURLs() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return openedURLs_;
}

}  // namespace qdx

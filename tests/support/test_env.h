#pragma once
// The platform for tests: an EnvWrapper around a PosixEnv of its own,
// rooted in a fresh temporary directory, with captured log lines and opened
// URLs and an optional fixed clock. It installs itself as Env::Default()
// for its lifetime.
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/env_wrapper.h"
#include "platform/posix_env.h"

namespace qdx {

class TestEnv : public EnvWrapper {
 public:
  // A fresh root (qdx-test-XXXXXX under $TMPDIR or /tmp), removed again by
  // the destructor unless QDX_KEEP_TEST_DIRS is set.
  TestEnv();
  // Reuses existingRoot (made by an earlier TestEnv, e.g. in a parent
  // process) to simulate a restart; the destructor leaves it in place.
  // A TestEnv made while another is installed reinstalls that one when it
  // ends. In a forked child, make a new TestEnv on the parent's root rather
  // than using the parent's: open database connections do not cross fork().
  explicit TestEnv(std::string existingRoot);
  ~TestEnv() override;
  TestEnv(const TestEnv&) = delete;
  TestEnv& operator=(const TestEnv&) = delete;

  // The temporary root: home is tempRoot()/home, the keychain lives in
  // tempRoot()/keychain.
  const std::string& tempRoot() const { return root_; }

  // Fixes the clock at seconds since 1970 (until then now() is real).
  void setNow(double secondsSince1970);
  // Moves the fixed clock forward (fixing it at the real time first when
  // it was not fixed yet).
  void advance(double seconds);
  double now() override;

  // Every line logged so far, in order.
  std::vector<std::string> logLines() const;
  void clearLog();
  // True when some logged line contains text.
  bool logContains(const std::string& text) const;
  // How many logged lines contain text.
  std::size_t logCount(const std::string& text) const;

  // Every URL the SDK asked to open, in order (each one "succeeds").
  std::vector<std::string> openedURLs() const;

  // The TestEnv made most recently and still alive, or nullptr.
  static TestEnv* installed();

  // Background work a test may leave running (asynchronous posts, detached
  // threads) must stop using the platform before the outermost TestEnv
  // ends. The test support of each layer that starts such work adds a probe
  // that says whether some of it still runs; the destructor waits, up to
  // 15 seconds, until no probe does. The platform itself starts none.
  static void addBackgroundWorkProbe(std::function<bool()> running);

  // The wrapped POSIX platform, for what only it offers.
  PosixEnv& posix() { return posix_; }

  // The wrapped PosixEnv's configuration, forwarded (see posix_env.h).
  // setLogSink and setOpenURLHandler replace the capture above.
  void setBundleInfo(const std::string& key, const std::string& value) {
    posix_.setBundleInfo(key, value);
  }
  void removeBundleInfo(const std::string& key) { posix_.removeBundleInfo(key); }
  void setMainScreen(ScreenMetrics screen) { posix_.setMainScreen(screen); }
  void setSystemVersion(std::string version) { posix_.setSystemVersion(std::move(version)); }
  void setMachineIdentifier(std::string machine) { posix_.setMachineIdentifier(std::move(machine)); }
  void setAdvertisingIdentifier(std::string idfa) { posix_.setAdvertisingIdentifier(std::move(idfa)); }
  void setDataNetworkCode(unsigned code) { posix_.setDataNetworkCode(code); }
  void setLocale(std::string locale) { posix_.setLocale(std::move(locale)); }
  void setBundleResourceDirectory(std::string dir) { posix_.setBundleResourceDirectory(std::move(dir)); }
  void setHomeDirectory(std::string home) { posix_.setHomeDirectory(std::move(home)); }
  void setKeychainDirectory(std::string dir) { posix_.setKeychainDirectory(std::move(dir)); }
  void setCaFile(std::string path) { posix_.setCaFile(std::move(path)); }
  void setConnectTo(std::vector<std::string> mappings) { posix_.setConnectTo(std::move(mappings)); }
  void setLogSink(std::function<void(const std::string&)> sink) { posix_.setLogSink(std::move(sink)); }
  void setOpenURLHandler(std::function<bool(const std::string&)> handler) {
    posix_.setOpenURLHandler(std::move(handler));
  }
  std::string keychainDirectory() { return posix_.keychainDirectory(); }
  std::string caFile() { return posix_.caFile(); }
  std::vector<std::string> connectTo() { return posix_.connectTo(); }

 private:
  void configure();

  // Wrapped by the EnvWrapper base, which only keeps its address while it
  // is being built.
  PosixEnv posix_;
  std::string root_;
  bool ownsRoot_;
  TestEnv* outer_ = nullptr;
  mutable std::mutex mutex_;
  std::optional<double> fixedNow_;
  std::vector<std::string> logLines_;
  std::vector<std::string> openedURLs_;
};

}  // namespace qdx

#pragma once
// The platform for tests: a PosixEnv rooted in a fresh temporary directory,
// with captured log lines and opened URLs and an optional fixed clock. It
// installs itself as Env::Default() for its lifetime.
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix_env.h"

namespace qdx {

class TestEnv : public PosixEnv {
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

 private:
  void configure();

  std::string root_;
  bool ownsRoot_;
  TestEnv* outer_ = nullptr;
  mutable std::mutex mutex_;
  std::optional<double> fixedNow_;
  std::vector<std::string> logLines_;
  std::vector<std::string> openedURLs_;
};

}  // namespace qdx

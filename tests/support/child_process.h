#pragma once
// Runs test code in a forked child process: for restarts (the child writes,
// the parent reads), kills in mid-work, and crashes. The child leaves with
// _exit, so no gtest or atexit machinery of the parent runs twice.
#include <sys/types.h>

#include <functional>
#include <string>

namespace qdx {

struct ChildStatus {
  bool exited = false;   // ended through exit / _exit
  int exitCode = -1;     // when exited
  bool signaled = false; // ended by a signal
  int signal = 0;        // when signaled
  bool timedOut = false; // wait() gave up and killed it with SIGKILL

  // True when the child exited with code 0.
  bool succeeded() const { return exited && exitCode == 0; }
  // "exit 3", "signal 9", "timed out": for test failure messages.
  std::string describe() const;
};

class ChildProcess {
 public:
  // Forks; the child runs body and exits with its result (an escaping
  // exception exits with 250). Returns in the parent at once.
  static ChildProcess start(const std::function<int()>& body);

  // Forks, runs body in the child and waits for it.
  static ChildStatus run(const std::function<int()>& body, double timeoutSeconds = 60);

  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;
  // Kills and reaps a child still running.
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  // Sends sig to the child.
  void kill(int sig);
  // Waits for the child to end; after timeoutSeconds it is killed with
  // SIGKILL and reported as timed out.
  ChildStatus wait(double timeoutSeconds = 60);

 private:
  explicit ChildProcess(pid_t pid) : pid_(pid) {}
  pid_t pid_;
  bool reaped_ = false;
};

}  // namespace qdx

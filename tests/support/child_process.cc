#include "support/child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace qdx {

namespace {

ChildStatus statusFrom(int raw) {
  ChildStatus status;
  if (WIFEXITED(raw)) {
    status.exited = true;
    status.exitCode = WEXITSTATUS(raw);
  } else if (WIFSIGNALED(raw)) {
    status.signaled = true;
    status.signal = WTERMSIG(raw);
  }
  return status;
}

void sleepBriefly() {
  timespec pause{0, 2'000'000};  // 2 ms
  ::nanosleep(&pause, nullptr);
}

}  // namespace

std::string ChildStatus::describe() const {
  if (timedOut) return "timed out";
  if (exited) return "exit " + std::to_string(exitCode);
  if (signaled) return "signal " + std::to_string(signal);
  return "unknown";
}

ChildProcess ChildProcess::start(const std::function<int()>& body) {
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid < 0) {
    std::perror("qdx ChildProcess: fork");
    std::abort();
  }
  if (pid == 0) {
    int code = 250;
    try {
      code = body();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "child: uncaught exception: %s\n", error.what());
    } catch (...) {
      std::fprintf(stderr, "child: uncaught exception\n");
    }
    std::fflush(nullptr);
    ::_exit(code);
  }
  return ChildProcess(pid);
}

ChildStatus ChildProcess::run(const std::function<int()>& body, double timeoutSeconds) {
  ChildProcess child = start(body);
  return child.wait(timeoutSeconds);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(other.pid_), reaped_(other.reaped_) {
  other.reaped_ = true;
}

ChildProcess::~ChildProcess() {
  if (!reaped_) {
    ::kill(pid_, SIGKILL);
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
  }
}

void ChildProcess::kill(int sig) {
  if (!reaped_) ::kill(pid_, sig);
}

ChildStatus ChildProcess::wait(double timeoutSeconds) {
  if (reaped_) return ChildStatus{};
  timespec start{};
  ::clock_gettime(CLOCK_MONOTONIC, &start);
  while (true) {
    int raw = 0;
    pid_t done = ::waitpid(pid_, &raw, WNOHANG);
    if (done == pid_) {
      reaped_ = true;
      return statusFrom(raw);
    }
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    double elapsed = static_cast<double>(now.tv_sec - start.tv_sec) +
                     static_cast<double>(now.tv_nsec - start.tv_nsec) / 1e9;
    if (elapsed >= timeoutSeconds) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &raw, 0);
      reaped_ = true;
      ChildStatus status = statusFrom(raw);
      status.timedOut = true;
      return status;
    }
    sleepBriefly();
  }
}

}  // namespace qdx

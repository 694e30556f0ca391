#include "platform/env.h"

#include <atomic>
#include <chrono>

#include "platform/posix_env.h"

namespace qdx {

namespace {

std::atomic<Env*> installedEnv{nullptr};

}  // namespace

// Made once, on first need, and never destroyed: threads we started may
// still be using it while the process exits.
PosixEnv& PosixEnv::processDefault() {
  static PosixEnv* const env = new PosixEnv();
  return *env;
}

Env* Env::Default() {
  Env* env = installedEnv.load(std::memory_order_acquire);
  return env != nullptr ? env : &PosixEnv::processDefault();
}

void Env::Install(Env* env) { installedEnv.store(env, std::memory_order_release); }

bool Env::setApplicationState(int) { return false; }

double Env::requestTimeoutSeconds() { return 10; }

double Env::downloadTimeoutSeconds() { return 60; }

double Env::monotonicNow() {
  auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(sinceStart).count();
}

}  // namespace qdx

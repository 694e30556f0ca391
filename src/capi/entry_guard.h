#pragma once
// What every C entry point shares: nothing thrown inside the SDK crosses
// into a C host, and a refused call says why in one debug line.
#include <exception>
#include <string>

#include "platform/log_gate.h"
#include "qdx/RunLoop.h"

namespace qdx::capi {

// Writes "<function>: <why>" as a debug line.
inline void refuse(const char* function, const std::string& why) {
  debugLog(std::string(function) + ": " + why);
}

// True on the process main thread; otherwise logs that function was
// called elsewhere.
inline bool onMainThread(const char* function) {
  if (RunLoop::isMainThread()) return true;
  refuse(function, "called off the main thread");
  return false;
}

// Runs body and returns what it returns; an exception escaping it is
// caught, logged with function's name, and gives failed instead.
template <typename Result, typename Body>
Result guarded(const char* function, Result failed, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    try {
      refuse(function, std::string("failed inside: ") + e.what());
    } catch (...) {
    }
  } catch (...) {
    try {
      refuse(function, "failed inside");
    } catch (...) {
    }
  }
  return failed;
}

// The same for entry points that return nothing.
template <typename Body>
void guardedVoid(const char* function, Body&& body) noexcept {
  guarded(function, 0, [&] {
    body();
    return 0;
  });
}

}  // namespace qdx::capi

#pragma once
// Runs a piece of work so that nothing thrown inside it reaches
// the caller: the host never sees an exception from the SDK. A failure is
// logged (while debugging) with what was being done, and the work is
// abandoned.
#include <exception>
#include <string>

#include "sdk/QDXLog.h"

namespace qdx {

template <typename Work>
void noThrow(const char* what, Work&& work) {
  try {
    work();
  } catch (const std::exception& e) {
    debugLog(std::string(what) + " failed: " + e.what());
  } catch (...) {
    debugLog(std::string(what) + " failed");
  }
}

}  // namespace qdx

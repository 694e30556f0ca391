#pragma once
// Runs a piece of work so that nothing thrown inside it reaches
// the caller: the host never sees an exception from the SDK. A failure is
// logged (while debugging) with what was being done, and the work is
// abandoned.
#include <exception>
#include <string>

#include "platform/log_gate.h"

namespace qdx {

// Runs work; whatever it throws is caught and handed to onFailure as the
// exception's what() text, or nullptr for a throw that is no
// std::exception. For callers whose failure line has a fixed form.
template <typename Work, typename OnFailure>
void noThrow(Work&& work, OnFailure&& onFailure) {
  try {
    work();
  } catch (const std::exception& e) {
    onFailure(e.what());
  } catch (...) {
    onFailure(nullptr);
  }
}

// Runs work; a throw is logged as "<what> failed: <reason>" (or
// "<what> failed") while debugging.
template <typename Work>
void noThrow(const char* what, Work&& work) {
  noThrow(work, [what](const char* reason) {
    debugLog(reason ? std::string(what) + " failed: " + reason : std::string(what) + " failed");
  });
}

}  // namespace qdx

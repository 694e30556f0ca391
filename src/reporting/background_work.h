#pragma once
// Detached threads started by the SDK (registration, image warm-up, the
// global configuration, the banner and wall flows). Nothing thrown escapes them, and the
// number still running can be read, so that a shutdown (or a test) can
// wait until none of them touches the platform any more.
#include <functional>

namespace qdx {

// Runs work on a new detached thread. An exception thrown by work is
// logged (while debugging) with `what` and dropped. If no thread can be
// started, logs and drops the work.
void runDetached(const char* what, std::function<void()> work);

// How many runDetached() works have not finished yet.
int detachedWorkInFlight();

}  // namespace qdx

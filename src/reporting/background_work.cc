#include "reporting/background_work.h"

#include <atomic>
#include <string>

#include "common/no_throw.h"
#include "platform/env.h"
#include "sdk/QDXLog.h"

namespace qdx {

namespace {
std::atomic<int> inFlight{0};
}  // namespace

void runDetached(const char* what, std::function<void()> work) {
  inFlight.fetch_add(1);
  const bool started = Env::Default()->startThread(what, [what, work = std::move(work)] {
    noThrow(what, work);
    inFlight.fetch_sub(1);
  });
  if (!started) {
    inFlight.fetch_sub(1);
    debugLog(std::string(what) + " not started: no thread could be made");
  }
}

int detachedWorkInFlight() { return inFlight.load(); }

}  // namespace qdx

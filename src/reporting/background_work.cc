#include "reporting/background_work.h"

#include <atomic>
#include <exception>
#include <string>
#include <thread>

#include "common/no_throw.h"
#include "sdk/QDXLog.h"

namespace qdx {

namespace {
std::atomic<int> inFlight{0};
}  // namespace

void runDetached(const char* what, std::function<void()> work) {
  inFlight.fetch_add(1);
  try {
    std::thread([what, work = std::move(work)] {
      noThrow(what, work);
      inFlight.fetch_sub(1);
    }).detach();
  } catch (const std::exception& e) {
    inFlight.fetch_sub(1);
    debugLog(std::string(what) + " not started: " + e.what());
  }
}

int detachedWorkInFlight() { return inFlight.load(); }

}  // namespace qdx

#include "reporting/background_work.h"

#include <atomic>
#include <exception>
#include <string>
#include <thread>

#include "sdk/QDXLog.h"

namespace qdx {

namespace {
std::atomic<int> inFlight{0};
}  // namespace

void runDetached(const char* what, std::function<void()> work) {
  inFlight.fetch_add(1);
  try {
    std::thread([what, work = std::move(work)] {
      try {
        work();
      } catch (const std::exception& e) {
        debugLog(std::string(what) + " stopped: " + e.what());
      } catch (...) {
        debugLog(std::string(what) + " stopped by an unknown error");
      }
      inFlight.fetch_sub(1);
    }).detach();
  } catch (const std::exception& e) {
    inFlight.fetch_sub(1);
    debugLog(std::string(what) + " not started: " + e.what());
  }
}

int detachedWorkInFlight() { return inFlight.load(); }

}  // namespace qdx

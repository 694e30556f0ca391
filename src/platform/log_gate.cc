#include "platform/log_gate.h"

#include "platform/env.h"

namespace qdx {

std::atomic<bool> mydebug{false};

void debugLog(const std::string& line) {
  if (mydebug.load()) Env::Default()->log(line);
}

void logAlways(const std::string& line) { Env::Default()->log(line); }

}  // namespace qdx

#include "sdk/QDXLog.h"

#include "platform/env.h"

namespace qdx {

std::atomic<bool> mydebug{false};

void QDXLog::setDebug(bool debug) { mydebug.store(debug); }

void debugLog(const std::string& line) {
  if (mydebug.load()) Env::Default()->log(line);
}

void logAlways(const std::string& line) { Env::Default()->log(line); }

}  // namespace qdx

#pragma once
// The debug switch and the log convention: every diagnostic of the SDK is
// one line through the platform's log sink, written only while the switch
// is on. The JSON codec's two failure messages use logAlways().
#include <atomic>
#include <string>

namespace qdx {

// The process-wide debug flag, false at load.
extern std::atomic<bool> mydebug;

class QDXLog {
 public:
  // Sets mydebug.
  static void setDebug(bool debug);
};

// Writes line through Env::Default()->log() when mydebug is on.
void debugLog(const std::string& line);
// Writes line through Env::Default()->log() whatever mydebug says.
void logAlways(const std::string& line);

}  // namespace qdx

#pragma once
// The debug switch and the log gate: every diagnostic of the SDK is one
// line through the platform's log sink (Env::log), written only while the
// switch is on. The gate lives with the platform so that every layer, the
// platform and the kit included, logs through it; the facade's QDXLog
// (src/sdk/QDXLog.h) is the one that turns it on and off.
#include <atomic>
#include <string>

namespace qdx {

// The process-wide debug flag, false at load; set by QDXLog::setDebug.
extern std::atomic<bool> mydebug;

// Writes line through Env::Default()->log() when mydebug is on.
void debugLog(const std::string& line);
// Writes line through Env::Default()->log() whatever mydebug says (the JSON
// codec's two failure messages).
void logAlways(const std::string& line);

}  // namespace qdx

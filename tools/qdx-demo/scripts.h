#pragma once
// The scripted host sessions: online (every kind of ad against the server)
// and offline (an offline start and what it keeps for later).
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "session.h"

namespace qdx::demo {

struct SessionSettings {
  std::string channel;
  std::int64_t appId = 0;
  std::string appKey;
  bool debug = false;
  double runSeconds = 0;  // extra main-loop time after the first start
  bool freshDevice = true;  // the keychain held nothing before this run
  // Runs the next start of the app as a new process on the same device,
  // online. The process runs until whileRunning returns, then writes its
  // screen to screenshotPath and ends; returns its exit code.
  std::function<int(const std::string& screenshotPath, const std::function<void()>& whileRunning)>
      relaunch;
  // The device's local store as "KEY = VALUE" lines.
  std::function<std::vector<std::string>()> storeListing;
  std::string outDir;
};

void runOnlineSession(Session& session, const SessionSettings& settings);
void runOfflineSession(Session& session, const SessionSettings& settings);

}  // namespace qdx::demo

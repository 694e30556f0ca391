#pragma once
// Shared set-up of the reporting tests: a fresh test platform holding what
// start-up stores before any report (app id, app key, channel), optionally
// with the reference server behind it, and the headers all its tests use.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "common/json_access.h"
#include "identity/QDXKeyChain.h"
#include "qdx/RunLoop.h"
#include "common/json.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/property_list_file.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXDictionaryAndJSON.h"

namespace qdx::testing {

namespace fs = std::filesystem;

inline constexpr std::int64_t kTestAppId = 10001;

// Stores the identity every envelope and event needs.
inline void storeHostIdentity() {
  QDXUserDefaults::saveToLocal(kTestAppId, "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(ReferenceServer::kAppKey, "QDX_APP_KEY");
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
}

// What the local store holds under key.
inline Json stored(const std::string& key) { return QDXUserDefaults::getObjectFromLocal(key); }

// The pending list as parsed groups.
inline std::vector<Json> pendingGroups() {
  std::vector<Json> groups;
  for (const Json& text : stored("QDX_REPORT_EVENT_LIST")) {  // none when nothing is stored
    groups.push_back(QDXDictionaryAndJSON::dictionaryFromJsonString(json::asString(text)));
  }
  return groups;
}

// Serves the main run loop (where asynchronous completions arrive) until
// predicate holds or timeoutSeconds pass; predicate is also checked every
// 10 ms, so it may wait for work done on other threads.
inline bool serveMainUntil(const std::function<bool()>& predicate, double timeoutSeconds = 10) {
  return RunLoop::main().runUntil(predicate, timeoutSeconds);
}

// A test platform with the identity stored (no server), logging as while
// debugging so that the debug-only messages can be checked.
class LocalReportingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    storeHostIdentity();
    QDXLog::setDebug(true);
  }
  TestEnv env_;
};

// A test platform pointed at a running reference server.
class ServerReportingTest : public LocalReportingTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    server_.configure(env_);
    LocalReportingTest::SetUp();
  }
  // Lets asynchronous completions of answers already journaled run.
  static void settle() { RunLoop::main().runFor(0.3); }
  // The deciphered bodies posted to endpoint so far.
  std::vector<Json> bodiesFor(const std::string& endpoint) const {
    std::vector<Json> bodies;
    for (const Json& entry : server_.entriesFor(endpoint)) bodies.push_back(entry["body"]);
    return bodies;
  }
  ReferenceServer server_;
};

}  // namespace qdx::testing

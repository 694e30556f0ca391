#pragma once
// One reference server (in this process, on loopback) and a PosixEnv
// installed and pointed at it, with the host identity every envelope needs;
// shared by the benchmarks that talk to the server.
#include <stdlib.h>

#include <memory>
#include <string>

#include "ad_server.h"
#include "platform/posix_env.h"
#include "qdx/RunLoop.h"
#include "common/json.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "transport/QDXHttpClient.h"

namespace qdx::bench {

struct ReferenceFixture {
  // A server whose ad lists hold catalogSize apps.
  explicit ReferenceFixture(int catalogSize = server::ServerOptions().catalogSize) {
    char dir[] = "/tmp/qdx-bench-XXXXXX";
    root = mkdtemp(dir) ? dir : "/tmp";
    server::ServerOptions options;
    options.apps[server::kDefaultAppId] = server::kDefaultAppKey;
    options.catalogSize = catalogSize;
    options.journalPath = root + "/journal.jsonl";
    options.certPath = QDX_TEST_SERVER_CERT;
    options.keyPath = QDX_TEST_SERVER_KEY;
    adServer = std::make_unique<server::AdServer>(options);
    std::string error;
    started = adServer->start(error);

    env = new PosixEnv();  // lives for the process, like the server's clients
    Env::Install(env);
    env->setHomeDirectory(root + "/home");
    env->setKeychainDirectory(root + "/keychain");
    env->setCaFile(QDX_TEST_CA_FILE);
    env->setConnectTo({"api.qdx.example:443:127.0.0.1:" + std::to_string(adServer->port())});
    QDXUserDefaults::saveToLocal(Json(10001), qdx::keys::kAppId);
    QDXUserDefaults::saveToLocal(Json(server::kDefaultAppKey), qdx::keys::kAppKey);
    QDXUserDefaults::saveToLocal(Json("AppStore"), qdx::keys::kChannel);
  }
  std::string root;
  std::unique_ptr<server::AdServer> adServer;
  PosixEnv* env = nullptr;
  bool started = false;
};

// Between timed rounds: lets the asynchronous reports' answers arrive on
// the main queue, as in a host, then empties the pending event list. Show
// reports stay pending when a later report moves the session before their
// answer comes (the acknowledgement deletes under the session of its own
// time), and a list that grew from round to round would make each round
// slower than the last.
inline void settleReports() {
  RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15);
  QDXUserDefaults::removeObjectFromLocal(keys::kReportEventList);
}

// The run's one fixture, made on first use.
inline ReferenceFixture& referenceFixture() {
  static ReferenceFixture* shared = new ReferenceFixture();
  return *shared;
}

}  // namespace qdx::bench

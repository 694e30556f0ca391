// A signed, enciphered post through QDXHttpClient to the reference server on
// loopback (run in this process): the first request of a thread (new TCP
// connection and TLS handshake) and warm requests on a kept connection.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <thread>

#include "ad_server.h"
#include "platform/posix_env.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXHttpClient.h"

namespace {

using qdx::Json;

// One server and one configured PosixEnv for the whole run.
struct Fixture {
  Fixture() {
    char dir[] = "/tmp/qdx-http-bench-XXXXXX";
    root = mkdtemp(dir) ? dir : "/tmp";
    qdx::server::ServerOptions options;
    options.apps[qdx::server::kDefaultAppId] = qdx::server::kDefaultAppKey;
    options.journalPath = root + "/journal.jsonl";
    options.certPath = QDX_TEST_SERVER_CERT;
    options.keyPath = QDX_TEST_SERVER_KEY;
    server = std::make_unique<qdx::server::AdServer>(options);
    std::string error;
    started = server->start(error);

    auto* env = dynamic_cast<qdx::PosixEnv*>(qdx::Env::Default());
    env->setHomeDirectory(root + "/home");
    env->setKeychainDirectory(root + "/keychain");
    env->setCaFile(QDX_TEST_CA_FILE);
    env->setConnectTo({"api.qdx.example:443:127.0.0.1:" + std::to_string(server->port())});
    qdx::QDXUserDefaults::saveToLocal(Json(10001), "QDX_APP_ID");
    qdx::QDXUserDefaults::saveToLocal(Json(qdx::server::kDefaultAppKey), "QDX_APP_KEY");
    qdx::QDXUserDefaults::saveToLocal(Json("AppStore"), "QDX_CHANNEL");
  }
  std::string root;
  std::unique_ptr<qdx::server::AdServer> server;
  bool started = false;
};

Fixture& fixture() {
  static Fixture* shared = new Fixture();
  return *shared;
}

const Json& eventBody() {
  static const Json body = {
      {"events", Json::array({{{"adid", "50001"}, {"type", 2}, {"ubit", "banner上部展示"}}})}};
  return body;
}

const std::string kURL = std::string(qdx::kQDXApiBase) + "/qdx/report_event";

void BM_FirstPostOfAThread(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  for (auto _ : state) {
    bool ok = false;
    // A new thread has no connection yet: this pays for TCP and TLS.
    std::thread([&] {
      ok = qdx::QDXHttpClient::shareHttpClient()
               .synPostUseConnectionWithURL(kURL, eventBody())
               .has_value();
    }).join();
    if (!ok) return state.SkipWithError("post failed");
  }
}
BENCHMARK(BM_FirstPostOfAThread)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WarmPost(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  auto& client = qdx::QDXHttpClient::shareHttpClient();
  client.synPostUseConnectionWithURL(kURL, eventBody());  // opens the connection
  for (auto _ : state) {
    if (!client.synPostUseConnectionWithURL(kURL, eventBody())) {
      return state.SkipWithError("post failed");
    }
  }
}
BENCHMARK(BM_WarmPost)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_WarmImageDownload(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  auto& client = qdx::QDXHttpClient::shareHttpClient();
  const std::string url = std::string(qdx::kQDXApiBase) + "/qdx/assets/wall/1.png";
  std::size_t size = client.downloadImageFromString(url).value_or("").size();
  for (auto _ : state) {
    if (!client.downloadImageFromString(url)) return state.SkipWithError("download failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}
BENCHMARK(BM_WarmImageDownload)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

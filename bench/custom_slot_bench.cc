// QDXAdLoader::loadAdWithType for 3 views of each custom-slot kind against
// the reference server (in this process, on loopback), warm: connection
// open and the artwork in the image cache. The time is the caller's: the
// ad-list request, the request reports, the views and their show reports.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <memory>
#include <string>

#include "ad_server.h"
#include "platform/posix_env.h"
#include "platform/run_loop.h"
#include "qdx/QDXAdLoader.h"
#include "sdk/QDXUserDefaults.h"

namespace {

using qdx::Json;

struct Fixture {
  Fixture() {
    char dir[] = "/tmp/qdx-slot-bench-XXXXXX";
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
    env->setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
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

void BM_LoadThreeViews(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  const auto type = static_cast<std::int32_t>(state.range(0));
  qdx::QDXAdLoader loader;
  std::size_t views = 0;
  auto load = [&] {
    loader.loadAdWithType(type, 3, {320, 120}, [&](const auto& got) { views = got.size(); });
  };
  load();  // warms the connection and the image cache
  for (auto _ : state) {
    load();
    state.PauseTiming();
    // The show reports' answers arrive on the main queue, as in a host.
    qdx::RunLoop::main().runFor(0.05);
    state.ResumeTiming();
  }
  if (views != 3) state.SkipWithError("fewer than 3 views");
}
BENCHMARK(BM_LoadThreeViews)->Arg(7)->Arg(8)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

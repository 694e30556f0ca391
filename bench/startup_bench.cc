// Start-up cost on the calling thread: initWithChannel with no network, so
// only the local store, the clock and the timer registration are measured.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/posix_env.h"
#include "qdx/QDXAD.h"

namespace {

// One PosixEnv in a fresh temporary home for the whole run, offline.
qdx::PosixEnv& offlineEnv() {
  static qdx::PosixEnv* env = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "qdx-startup-XXXXXX").string();
    const char* root = mkdtemp(pattern.data());
    if (root == nullptr) std::abort();
    auto* e = new qdx::PosixEnv();
    e->setHomeDirectory(std::string(root) + "/home");
    e->setKeychainDirectory(std::string(root) + "/keychain");
    e->setDataNetworkCode(0);
    e->setLogSink([](const std::string&) {});
    qdx::Env::Install(e);
    return e;
  }();
  return *env;
}

const std::string kAppKey = "bench-app-key-0123456789";

// Every start after the first: app id, key, channel and version are
// unchanged, so only the use-time start and the run stamp are written.
void BM_StartupOfflineUnchangedIdentity(benchmark::State& state) {
  offlineEnv();
  qdx::QDXAD::initWithChannel("AppStore", 10001, kAppKey);
  for (auto _ : state) {
    auto facade = qdx::QDXAD::initWithChannel("AppStore", 10001, kAppKey);
    benchmark::DoNotOptimize(facade.get());
  }
}
BENCHMARK(BM_StartupOfflineUnchangedIdentity);

// Each start changes the app id and the channel, so they are written too.
void BM_StartupOfflineChangedIdentity(benchmark::State& state) {
  offlineEnv();
  // Two ids taken in turn: every start is a change, and the store keeps
  // two run stamps instead of growing by one per iteration.
  std::int64_t appId = 20001;
  for (auto _ : state) {
    appId = appId == 20001 ? 20002 : 20001;
    auto facade = qdx::QDXAD::initWithChannel(appId % 2 ? "Xiaomi" : "Huawei", appId, kAppKey);
    benchmark::DoNotOptimize(facade.get());
  }
}
BENCHMARK(BM_StartupOfflineChangedIdentity);

}  // namespace

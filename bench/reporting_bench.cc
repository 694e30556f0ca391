// Filing one event as the pending list grows, and image cache hits from
// memory and from disk.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "platform/posix_env.h"
#include "reporting/QDXEvent.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXImageCache.h"
#include "sdk/store_keys.h"

namespace qdx {
namespace {

// A POSIX platform in a fresh temporary home, installed for one benchmark.
class BenchPlatform {
 public:
  BenchPlatform() {
    char pattern[] = "/tmp/qdx-bench-XXXXXX";
    root_ = ::mkdtemp(pattern);
    env_.setHomeDirectory(root_ + "/home");
    env_.setKeychainDirectory(root_ + "/keychain");
    env_.setLogSink([](const std::string&) {});
    env_.setDataNetworkCode(0);  // nothing leaves the machine
    Env::Install(&env_);
    QDXUserDefaults::saveToLocal(10001, qdx::keys::kAppId);
  }
  ~BenchPlatform() {
    Env::Install(nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  PosixEnv& env() { return env_; }

 private:
  std::string root_;
  PosixEnv env_;
};

Json pendingListOf(std::int64_t groups) {
  Json list = Json::array();
  for (std::int64_t i = 0; i < groups; ++i) {
    Json event = {{"event_id", i + 1}, {"type", 1}, {"sub_type", 1}, {"adid", "ad"},
                  {"ubit", "BANNER"}, {"from_appid", 10001}, {"to_appid", "app"},
                  {"s_time", 1700000000}, {"e_time", 1700000000}, {"adtype", 1}};
    Json group = {{"id", std::to_string(1700000000000 + i)}, {"event_list", Json::array({event})}};
    list.push_back(group.dump(2));
  }
  return list;
}

// One show event of a session not yet pending: walks every stored group and
// files one new group.
void BM_FileEventOfNewSession(benchmark::State& state) {
  BenchPlatform platform;
  const Json list = pendingListOf(state.range(0));
  QDXEvent event;
  event.event_id = 999999;
  event.type = 1;
  event.sub_type = 1;
  event.ubit = "BANNER";
  event.adid = "ad-new";
  event.to_appid = "app-new";
  event.adtype = 1;
  const Json dic = event.getEventDictinary();
  for (auto _ : state) {
    state.PauseTiming();
    QDXUserDefaults::saveToLocal(list, qdx::keys::kReportEventList);
    state.ResumeTiming();
    benchmark::DoNotOptimize(event.getEventListDictionary("new-session", dic, 999999));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_FileEventOfNewSession)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)
    ->Complexity();

std::string imageBytes() { return std::string(20 * 1024, '\x7f'); }

void BM_ImageCacheMemoryHit(benchmark::State& state) {
  BenchPlatform platform;
  QDXImageCache cache;
  const std::string url = assetURL(assets::kClose120);
  std::ofstream(cache.filePathForURL(url), std::ios::binary) << imageBytes();
  cache.getImageFromString(url);  // now in memory
  for (auto _ : state) benchmark::DoNotOptimize(cache.getImageFromString(url));
}
BENCHMARK(BM_ImageCacheMemoryHit);

void BM_ImageCacheDiskHit(benchmark::State& state) {
  BenchPlatform platform;
  const std::string url = assetURL(assets::kClose120);
  {
    QDXImageCache writer;
    std::ofstream(writer.filePathForURL(url), std::ios::binary) << imageBytes();
  }
  for (auto _ : state) {
    state.PauseTiming();
    auto cache = std::make_unique<QDXImageCache>();  // a later launch: empty memory
    state.ResumeTiming();
    benchmark::DoNotOptimize(cache->getImageFromString(url));
  }
}
BENCHMARK(BM_ImageCacheDiskHit);

}  // namespace
}  // namespace qdx

// A memory hit of the image cache while another thread's download stalls
// (goal: under 1 ms), beside the same hit with no download running, from
// the same run. The download is held open by a test double, so it stalls
// for the whole measurement.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <thread>

#include "platform/posix_env.h"
#include "support/held_downloads.h"
#include "transport/QDXImageCache.h"

namespace {

const std::string kKnownURL = "https://cdn.example/known.png";

// A platform of its own and a cache holding one image in memory.
struct CacheFixture {
  CacheFixture() {
    char dir[] = "/tmp/qdx-bench-XXXXXX";
    env = new qdx::PosixEnv();
    env->setHomeDirectory(std::string(mkdtemp(dir) ? dir : "/tmp") + "/home");
    env->setDataNetworkCode(5);
    qdx::Env::Install(env);
    cache = new qdx::QDXImageCache();
    auto entry = std::make_shared<qdx::QDXImageDataInfo>();
    entry->imageData = std::string(40 * 1024, 'x');  // a banner-sized PNG
    cache->cleanOldMemoryCache(entry, kKnownURL);
  }
  qdx::PosixEnv* env;
  qdx::QDXImageCache* cache;
};

CacheFixture& fixture() {
  static CacheFixture* shared = new CacheFixture();
  return *shared;
}

void BM_Baseline_MemoryHit(benchmark::State& state) {
  qdx::QDXImageCache& cache = *fixture().cache;
  for (auto _ : state) benchmark::DoNotOptimize(cache.getImageFromString(kKnownURL));
}
BENCHMARK(BM_Baseline_MemoryHit)->Unit(benchmark::kMicrosecond);

void BM_MemoryHitWhileADownloadStalls(benchmark::State& state) {
  qdx::QDXImageCache& cache = *fixture().cache;
  // The benchmark runs this function several times (to size the iteration
  // count, then per repetition). Each run stalls on a URL the cache has
  // never seen: a URL fetched by an earlier run is a memory hit and would
  // start no download to wait for.
  static int run = 0;
  const std::string stalledURL = "https://cdn.example/stalled-" + std::to_string(++run) + ".png";
  auto network = std::make_unique<qdx::HeldDownloads>();
  std::thread downloader([&] { cache.getImageFromString(stalledURL); });
  network->awaitStarted(1);
  for (auto _ : state) benchmark::DoNotOptimize(cache.getImageFromString(kKnownURL));
  network->release();
  downloader.join();
  network.reset();
}
BENCHMARK(BM_MemoryHitWhileADownloadStalls)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

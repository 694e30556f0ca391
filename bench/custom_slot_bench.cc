// QDXAdLoader::loadAdWithType for 3 views of each custom-slot kind against
// the reference server (in this process, on loopback), warm: connection
// open and the artwork in the image cache. The time is the caller's: the
// ad-list request, the request reports, the views and their show reports.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>

#include "qdx/RunLoop.h"
#include "qdx/QDXAdLoader.h"
#include "reference_fixture.h"

namespace {

void BM_LoadThreeViews(benchmark::State& state) {
  qdx::bench::ReferenceFixture& fixture = qdx::bench::referenceFixture();
  if (!fixture.started) return state.SkipWithError("server did not start");
  fixture.env->setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
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
    qdx::bench::settleReports();
    state.ResumeTiming();
  }
  if (views != 3) state.SkipWithError("fewer than 3 views");
}
BENCHMARK(BM_LoadThreeViews)->Arg(7)->Arg(8)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// Peak resident memory of a feed of 20 native banners (custom slot type 7)
// whose artwork is 2048 x 312 pixels, each app its own picture: the
// loader's views are built and kept, as a host's feed keeps them (goal:
// under 150 MB at the peak). Each banner holds its artwork and a blurred
// copy; the baseline is the process's peak before the feed, from the same
// run.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <string>
#include <vector>

#include "qdx/QDXAdLoader.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/View.h"
#include "reference_fixture.h"
#include "transport/QDXImageCache.h"

namespace {

constexpr int kBanners = 20;

double peakResidentMB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // ru_maxrss is in KiB
}

// Puts a 2048 x 312 PNG for each catalog app's artwork where the image
// cache looks first, so the feed needs no image download.
void seedArtwork() {
  qdx::QDXImageCache& cache = qdx::QDXImageCache::shareInstance();
  for (int i = 1; i <= kBanners; ++i) {
    auto view = std::make_shared<qdx::kit::View>(qdx::kit::Rect(0, 0, 2048, 312));
    view->setBackgroundColor(qdx::kit::Color(i / 20.0, 0.4, 1 - i / 20.0, 1));
    const std::string url =
        "https://api.qdx.example/qdx/assets/banner/" + std::to_string(i) + ".png";
    qdx::Env::Default()->writeFileAtomically(cache.filePathForURL(url),
                                             qdx::kit::renderPng(view, 1));
  }
}

void BM_NativeBannerFeedPeakMemory(benchmark::State& state) {
  static qdx::bench::ReferenceFixture* fixture = new qdx::bench::ReferenceFixture(kBanners);
  if (!fixture->started) return state.SkipWithError("server did not start");
  seedArtwork();
  const double before = peakResidentMB();
  std::vector<std::shared_ptr<qdx::kit::View>> feed;
  for (auto _ : state) {
    qdx::QDXAdLoader loader;
    loader.loadAdWithType(7, kBanners, {375, 57}, [&](const auto& views) { feed = views; });
    qdx::RunLoop::main().runFor(0.3);  // the views' own blocks add their pictures
  }
  if (feed.size() != kBanners) state.SkipWithError("fewer than 20 banners");
  state.counters["peak_rss_MB"] = peakResidentMB();
  state.counters["peak_rss_before_feed_MB"] = before;
  qdx::bench::settleReports();
}
BENCHMARK(BM_NativeBannerFeedPeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

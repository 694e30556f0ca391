// The recommend wall's first display with a long list: from loadWithData
// until every queued insertion has run (the spinner stops), for 50 apps
// whose artwork sits in the disk cache. Only cards 0 and 1 load their
// images at build time; the baseline builds the same wall after loading
// and decoding every card's images, which is what an eager wall would do.
// Counters report how many images the memory cache holds afterwards.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "qdx/kit/Renderer.h"
#include "kit/decoded_image_memo.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Kit.h"
#include "platform/posix_env.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXImageCache.h"
#include "ui/QDXRecommendWallVC.h"

namespace {

using namespace qdx;

std::string iconURL(int k) { return "https://api.qdx.example/bench/icon" + std::to_string(k) + ".png"; }
std::string backURL(int k) { return "https://api.qdx.example/bench/back" + std::to_string(k) + ".png"; }

// PNG bytes of a w x h colour ramp, so the file is not trivially small.
std::string rampPng(int w, int h, int seed) {
  std::vector<std::uint32_t> px(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      px[static_cast<std::size_t>(y) * w + x] = 0xFF000000u | (static_cast<std::uint32_t>((x + seed) & 0xFF) << 16) |
                                                 (static_cast<std::uint32_t>(y & 0xFF) << 8) | 0x80;
  auto view = std::make_shared<kit::ImageView>(kit::Rect(0, 0, w, h));
  view->setImage(kit::Image::imageWithPixels(w, h, std::move(px)));
  return kit::renderPng(view, 1);
}

// One test platform for the run: a 375 x 667 screen, the artwork of kApps
// cards written to the disk cache, and the API host on a closed loopback
// port so nothing leaves the machine.
constexpr int kApps = 50;
PosixEnv& benchEnv() {
  static PosixEnv* env = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "qdx-wall-XXXXXX").string();
    const char* root = mkdtemp(pattern.data());
    if (root == nullptr) std::abort();
    auto* e = new PosixEnv();
    e->setHomeDirectory(std::string(root) + "/home");
    e->setKeychainDirectory(std::string(root) + "/keychain");
    e->setLogSink([](const std::string&) {});
    Env::Install(e);
    e->setMainScreen({375, 667, 2});
    e->setConnectTo({"api.qdx.example:443:127.0.0.1:1"});
    auto seed = [](const std::string& url, const std::string& bytes) {
      std::ofstream(QDXImageCache::shareInstance().filePathForURL(url), std::ios::binary) << bytes;
    };
    for (int k = 0; k < kApps; ++k) {
      seed(backURL(k), rampPng(640, 470, k));
      seed(iconURL(k), rampPng(120, 120, k));
    }
    seed(assetURL(assets::kButtonArrow), rampPng(40, 40, 0));
    seed(assetURL(assets::kRecommendClose), rampPng(40, 40, 1));
    return e;
  }();
  return *env;
}

std::shared_ptr<QDXRecommendWallVC> filledWall() {
  auto wall = QDXRecommendWallVC::initWithAdRequest(nullptr);
  for (int k = 0; k < kApps; ++k) {
    wall->appNames().push_back("应用 " + std::to_string(k));
    wall->icons().push_back(iconURL(k));
    wall->backImages().push_back(backURL(k));
    wall->descriptions().push_back("一个好玩的应用");
    wall->expands().push_back("FF8000");
    wall->numberArrM().push_back(k);
  }
  wall->view();  // viewDidLoad: the spinner starts
  return wall;
}

void buildAndShow(const std::shared_ptr<QDXRecommendWallVC>& wall) {
  wall->loadWithData();
  RunLoop::main().runUntil([&] { return !wall->indicatorView()->isAnimating(); }, 30);
}

void reportCache(benchmark::State& state) {
  QDXImageCache& cache = QDXImageCache::shareInstance();
  state.counters["cached_images"] = static_cast<double>(cache.memoryCacheKeys().size());
  state.counters["cache_kb"] = cache.cacheSize();
}

// Times fresh walls from loadWithData to the spinner's stop; an eager
// wall first loads and decodes the images of every card.
void timeFirstDisplay(benchmark::State& state, bool eager) {
  benchEnv();
  for (auto _ : state) {
    state.PauseTiming();
    auto wall = filledWall();
    // Every round decodes afresh, as a wall shown for the first time does.
    kit::DecodedImageMemo::shared().clear();
    state.ResumeTiming();
    for (int k = 0; eager && k < kApps; ++k) {
      for (const std::string& url : {backURL(k), iconURL(k)})
        benchmark::DoNotOptimize(kit::Image::imageWithData(QDXImageCache::shareInstance().getImageFromString(url)));
    }
    buildAndShow(wall);
  }
  reportCache(state);
}

void BM_WallFirstDisplay(benchmark::State& state) { timeFirstDisplay(state, false); }
void BM_Baseline_EagerWallFirstDisplay(benchmark::State& state) { timeFirstDisplay(state, true); }

BENCHMARK(BM_WallFirstDisplay)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Baseline_EagerWallFirstDisplay)->Unit(benchmark::kMillisecond);

}  // namespace

// How long drawing takes: decoding a banner's artwork, and rendering a full
// wall-like screen (paged cards with images, texts, buttons and dots) at
// the device scale. The goal is well under a 60 Hz frame (16 ms) for the
// decode and a few frames for a full-screen snapshot.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "qdx/kit/Renderer.h"
#include "qdx/kit/Kit.h"
#include "wall_scene.h"

namespace {

using namespace qdx::kit;
using qdx::bench::installScreen;
using qdx::bench::pattern;
using qdx::bench::wallScene;

void BM_DecodeBannerPng(benchmark::State& state) {
  installScreen();
  auto art = std::make_shared<ImageView>(Rect(0, 0, 720, 110));
  art->setImage(pattern(720, 110));
  std::string png = renderPng(art, 1);
  for (auto _ : state) benchmark::DoNotOptimize(Image::imageWithData(png));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(png.size()));
}
BENCHMARK(BM_DecodeBannerPng)->Unit(benchmark::kMillisecond);

void BM_RenderWallScreen(benchmark::State& state) {
  installScreen();
  auto scene = wallScene(375, 667);
  renderImage(scene);  // warm the font caches
  for (auto _ : state) benchmark::DoNotOptimize(renderImage(scene));
}
BENCHMARK(BM_RenderWallScreen)->Unit(benchmark::kMillisecond);

void BM_RenderWallScreenPng(benchmark::State& state) {
  installScreen();
  auto scene = wallScene(375, 667);
  renderPng(scene);
  for (auto _ : state) benchmark::DoNotOptimize(renderPng(scene));
}
BENCHMARK(BM_RenderWallScreenPng)->Unit(benchmark::kMillisecond);

}  // namespace

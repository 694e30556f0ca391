// The native banner's backdrop blur: QDXBannerAdView::boxblurImage on the
// 720 x 110 banner artwork at blur number 0.5 (a 21 x 21 kernel), beside
// OpenCV's cv::blur with the same kernel and edge rule (BORDER_REPLICATE)
// on the same four-channel bytes, measured in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "kit/box_convolve.h"
#include "qdx/kit/Image.h"
#include "ui/QDXBannerAdView.h"

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 110;
constexpr int kKernel = 21;

// A banner-like picture: gradients and stripes, premultiplied and opaque.
const std::vector<std::uint32_t>& artworkPixels() {
  static const std::vector<std::uint32_t> pixels = [] {
    std::vector<std::uint32_t> px(kWidth * kHeight);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const std::uint32_t r = static_cast<std::uint32_t>(x * 255 / kWidth);
        const std::uint32_t g = static_cast<std::uint32_t>(y * 255 / kHeight);
        const std::uint32_t b = (x / 12 + y / 12) % 2 ? 230u : 40u;
        px[static_cast<std::size_t>(y * kWidth + x)] = 0xFF000000u | r << 16 | g << 8 | b;
      }
    }
    return px;
  }();
  return pixels;
}

void BM_BoxblurImage(benchmark::State& state) {
  auto image = qdx::kit::Image::imageWithPixels(kWidth, kHeight, artworkPixels());
  for (auto _ : state) benchmark::DoNotOptimize(qdx::QDXBannerAdView::boxblurImage(image, 0.5));
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_BoxblurImage)->Unit(benchmark::kMicrosecond);

void BM_BoxConvolve8888(benchmark::State& state) {
  std::vector<std::uint32_t> out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(qdx::kit::boxConvolve8888(artworkPixels(), kWidth, kHeight, kKernel, kKernel, out));
  }
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_BoxConvolve8888)->Unit(benchmark::kMicrosecond);

void BM_Baseline_OpenCvBlur(benchmark::State& state) {
  std::vector<std::uint32_t> pixels = artworkPixels();
  const cv::Mat src(kHeight, kWidth, CV_8UC4, pixels.data());
  cv::Mat dst;
  for (auto _ : state) {
    cv::blur(src, dst, cv::Size(kKernel, kKernel), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_Baseline_OpenCvBlur)->Unit(benchmark::kMicrosecond);

}  // namespace

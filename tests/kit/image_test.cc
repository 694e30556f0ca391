// Decoding PNG and JPEG bytes, and refusing everything else.
#include "qdx/kit/Image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "kit/image_decode.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/View.h"
#include "platform/log_gate.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

std::string sampleJpeg() {  // 16 x 8, red on the left, blue on the right
  std::ifstream in(QDX_SOURCE_DIR "/tests/kit/testdata/red_left_blue_right.jpg", std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// A JPEG keeps its size and colours; bytes that do not decode give no image.
TEST(ImageDecoding, JpegKeepsItsSizeAndColoursAndUndecodableBytesGiveNoImage) {
  const std::string png = renderPng(std::make_shared<View>(Rect(0, 0, 3, 2)), 1);
  const std::string jpeg = sampleJpeg();
  ASSERT_FALSE(png.empty());
  ASSERT_FALSE(jpeg.empty());
  const std::optional<std::string> bad[] = {
      std::nullopt,
      std::string(),
      std::string("<html>404 not found</html>"),
      png.substr(0, png.size() / 2),                       // a cut-off download
      png.substr(0, 8) + std::string(200, 'x'),            // a signature, then garbage
      jpeg.substr(0, 40),
      std::string("\xFF\xD8\xFF", 3) + std::string(100, '\0'),
  };
  for (const auto& data : bad) EXPECT_EQ(Image::imageWithData(data), nullptr);
  auto image = Image::imageWithData(jpeg);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), (Size{16, 8}));
  Color left = image->colorAt(2, 4), right = image->colorAt(13, 4);
  EXPECT_GT(left.red, 0.9);
  EXPECT_LT(left.blue, 0.1);
  EXPECT_GT(right.blue, 0.9);
  EXPECT_LT(right.red, 0.1);
  EXPECT_EQ(left.alpha, 1);
}

// sampleJpeg() with the size in its frame header changed: the header
// claims what the data cannot hold, as a hostile file would.
std::string jpegClaiming(unsigned width, unsigned height) {
  std::string jpeg = sampleJpeg();
  for (std::size_t i = 2; i + 9 < jpeg.size(); ++i) {
    const auto marker = static_cast<unsigned char>(jpeg[i + 1]);
    if (static_cast<unsigned char>(jpeg[i]) == 0xFF && (marker == 0xC0 || marker == 0xC2)) {
      jpeg[i + 5] = static_cast<char>(height >> 8);
      jpeg[i + 6] = static_cast<char>(height & 0xFF);
      jpeg[i + 7] = static_cast<char>(width >> 8);
      jpeg[i + 8] = static_cast<char>(width & 0xFF);
      return jpeg;
    }
  }
  return "";
}

// A side over 4096 pixels is refused before any pixel is allocated, with a
// line saying so; 4096 itself still decodes.
TEST(ImageDecoding, ASideOverFourThousandAndNinetySixPixelsIsRefusedWithALogLine) {
  TestEnv env;
  mydebug.store(true);
  const std::string wide = renderPng(std::make_shared<View>(Rect(0, 0, 4097, 1)), 1);
  const std::string tall = renderPng(std::make_shared<View>(Rect(0, 0, 1, 4097)), 1);
  const std::string widest = renderPng(std::make_shared<View>(Rect(0, 0, 4096, 2)), 1);
  const std::string hostileJpeg = jpegClaiming(8000, 8000);
  ASSERT_FALSE(hostileJpeg.empty());

  for (const std::string& refused : {wide, tall, hostileJpeg}) {
    EXPECT_TRUE(exceedsPixelBudget(refused));
    EXPECT_EQ(Image::imageWithData(refused), nullptr);
  }
  EXPECT_TRUE(env.logContains("an image of 4097 x 1 pixels is over the 4096-pixel limit"));
  EXPECT_TRUE(env.logContains("an image of 8000 x 8000 pixels is over the 4096-pixel limit"));

  EXPECT_FALSE(exceedsPixelBudget(widest));
  ASSERT_NE(Image::imageWithData(widest), nullptr);
  EXPECT_EQ(Image::imageWithData(widest)->size(), (Size{4096, 2}));
  EXPECT_FALSE(exceedsPixelBudget(sampleJpeg()));
  EXPECT_FALSE(exceedsPixelBudget("<html>404</html>")) << "not an image: the decoder's call";
  mydebug.store(false);
}

}  // namespace
}  // namespace qdx::kit

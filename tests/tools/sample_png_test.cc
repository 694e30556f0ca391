// The demo's --sample-png option draws the toolkit's sample scene.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "qdx/kit/Image.h"
#include "support/test_env.h"

namespace qdx {
namespace {

int runDemo(const std::string& args) {
  const std::string command = std::string("QDX_SCREEN=320x568@2 ") + QDX_DEMO_BINARY + " " + args +
                              " > /dev/null 2>&1";
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST(DemoSamplePng, WritesTheSceneAtTheScreenScale) {
  TestEnv env;
  const std::string path = env.tempRoot() + "/scene.png";
  ASSERT_EQ(runDemo("--sample-png " + path), 0);
  auto image = kit::Image::imageWithData(readFile(path));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelWidth(), 640);  // 320 points at scale 2
  EXPECT_EQ(image->pixelHeight(), 440);
  // The banner's artwork starts orange at its left edge, below a light top.
  kit::Color banner = image->colorAt(4, 60);
  EXPECT_GT(banner.red, 0.8);
  EXPECT_LT(banner.blue, 0.2);
  EXPECT_GT(image->colorAt(4, 4).blue, 0.9);

  EXPECT_NE(runDemo("--sample-png " + env.tempRoot() + "/no/such/dir/scene.png"), 0);
  EXPECT_EQ(runDemo("--sample-png"), 2);
}

}  // namespace
}  // namespace qdx

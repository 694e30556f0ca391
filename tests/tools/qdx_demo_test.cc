// Runs the demo program as a host would and reads what it prints, and the
// sample scene its --sample-png option draws.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qdx/kit/Image.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

struct DemoRun {
  int exitCode = -1;
  std::string output;  // stdout and stderr together
};

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Runs the demo with its own home and keychain under root, none of the
// caller's QDX_* settings, plus extraEnv ("NAME=value ...").
DemoRun runDemo(const std::string& root, const std::string& args, const std::string& extraEnv = "") {
  const std::string output = root + "/demo-output";
  const std::string command = "env -u QDX_CONNECT_TO -u QDX_CA_FILE -u QDX_NETWORK QDX_HOME=" +
                              root + "/demo-home QDX_KEYCHAIN_DIR=" + root + "/demo-keychain " +
                              extraEnv + " " + QDX_DEMO_BINARY + " " + args + " > " + output + " 2>&1";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(output)};
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

void expectAllIn(const DemoRun& run, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_TRUE(contains(run.output, part)) << part << "\n" << run.output;
}

TEST(QdxDemoTest, OfflineRunPrintsWhatStartUpStoredAndLogsOnlyWhileDebugging) {
  TestEnv env;
  const DemoRun run = runDemo(env.tempRoot(), "--offline --channel '' --app-id 77 --run-seconds 0.2");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  expectAllIn(run, {"network code: 0", "local store (6 keys):", "  QDX_APP_ID = 77\n",
                    "  QDX_CHANNEL = \"AppStore\"\n", "  770000 = \"", "keychain (0 items):"});
  EXPECT_FALSE(contains(run.output, "SDK初始化没有网络连接")) << "logged without --debug";
  const DemoRun debug = runDemo(env.tempRoot(), "--offline --debug --run-seconds 0");
  ASSERT_EQ(debug.exitCode, 0) << debug.output;
  expectAllIn(debug, {"SDK初始化没有网络连接"});
}

TEST(QdxDemoTest, OnlineRunRegistersOnceAgainstItsOwnServer) {
  TestEnv env;
  const DemoRun first = runDemo(env.tempRoot(), "--run-seconds 1.5");
  ASSERT_EQ(first.exitCode, 0) << first.output;
  expectAllIn(first, {"server: reference server on 127.0.0.1:", "POST reg_dev signature=valid",
                      "  QDX_Dev_ID = \""});

  // The keychain keeps the device id: the next start does not register.
  const DemoRun second = runDemo(env.tempRoot(), "--run-seconds 1.0");
  ASSERT_EQ(second.exitCode, 0) << second.output;
  EXPECT_TRUE(contains(second.output, "server journal (")) << second.output;
  EXPECT_FALSE(contains(second.output, "reg_dev")) << second.output;
}

TEST(QdxDemoTest, ConnectToGivenUsesThatServerAsItIs) {
  TestEnv env;
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const DemoRun run = runDemo(env.tempRoot(), "--run-seconds 1.5",
                          "QDX_CONNECT_TO=" + server.connectTo() +
                              " QDX_CA_FILE=" + QDX_TEST_CA_FILE);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  expectAllIn(run, {"server: as QDX_CONNECT_TO says", "POST reg_dev signature=valid"});
  EXPECT_FALSE(contains(run.output, "reference server on")) << run.output;
  EXPECT_TRUE(server.waitForEntries("reg_dev", 1, 1));
}

TEST(QdxDemoTest, BadOptionsExitWithUsage) {
  TestEnv env;
  for (const char* args : {"--app-id 12x", "--run-seconds -1", "--channel", "--bogus"}) {
    const DemoRun run = runDemo(env.tempRoot(), args);
    EXPECT_EQ(run.exitCode, 2) << args;
    expectAllIn(run, {"usage: qdx-demo"});
  }
  EXPECT_EQ(runDemo(env.tempRoot(), "--sample-png").exitCode, 2);
}

TEST(QdxDemoTest, SamplePngDrawsTheSceneAtTheScreenScale) {
  TestEnv env;
  const std::string path = env.tempRoot() + "/scene.png";
  ASSERT_EQ(runDemo(env.tempRoot(), "--sample-png " + path, "QDX_SCREEN=320x568@2").exitCode, 0);
  auto image = kit::Image::imageWithData(readFile(path));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelWidth(), 640);  // 320 points at scale 2
  EXPECT_EQ(image->pixelHeight(), 440);
  // The banner's artwork starts orange at its left edge, below a light top.
  kit::Color banner = image->colorAt(4, 60);
  EXPECT_GT(banner.red, 0.8);
  EXPECT_LT(banner.blue, 0.2);
  EXPECT_GT(image->colorAt(4, 4).blue, 0.9);
  EXPECT_NE(runDemo(env.tempRoot(), "--sample-png " + env.tempRoot() + "/no/such/dir/scene.png").exitCode, 0);
}

}  // namespace
}  // namespace qdx

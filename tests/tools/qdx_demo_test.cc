// Runs the demo program as a host would and reads what it prints.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

struct DemoRun {
  int exitCode = -1;
  std::string output;  // stdout and stderr together
};

// Runs the demo with its own home and keychain under root, none of the
// caller's QDX_* settings, plus extraEnv ("NAME=value ...").
DemoRun runDemo(const std::string& root, const std::string& args, const std::string& extraEnv = "") {
  const std::string command = "env -u QDX_CONNECT_TO -u QDX_CA_FILE -u QDX_NETWORK QDX_HOME=" +
                              root + "/demo-home QDX_KEYCHAIN_DIR=" + root + "/demo-keychain " +
                              extraEnv + " " + QDX_DEMO_BINARY + " " + args + " 2>&1";
  DemoRun run;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer;
  size_t n;
  while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) run.output.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(QdxDemoTest, OfflineRunPrintsWhatStartUpStored) {
  TestEnv env;
  const DemoRun run = runDemo(env.tempRoot(), "--offline --channel '' --app-id 77 --run-seconds 0.2");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(contains(run.output, "network code: 0")) << run.output;
  EXPECT_TRUE(contains(run.output, "local store (6 keys):")) << run.output;
  EXPECT_TRUE(contains(run.output, "  QDX_APP_ID = 77\n")) << run.output;
  EXPECT_TRUE(contains(run.output, "  QDX_CHANNEL = \"AppStore\"\n")) << run.output;
  EXPECT_TRUE(contains(run.output, "  770000 = \"")) << run.output;
  EXPECT_TRUE(contains(run.output, "keychain (0 items):")) << run.output;
  EXPECT_FALSE(contains(run.output, "SDK初始化没有网络连接")) << "logged without --debug";
}

TEST(QdxDemoTest, DebugSwitchShowsTheOfflineLine) {
  TestEnv env;
  const DemoRun run = runDemo(env.tempRoot(), "--offline --debug --run-seconds 0");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(contains(run.output, "SDK初始化没有网络连接")) << run.output;
}

TEST(QdxDemoTest, OnlineRunRegistersOnceAgainstItsOwnServer) {
  TestEnv env;
  const DemoRun first = runDemo(env.tempRoot(), "--run-seconds 1.5");
  ASSERT_EQ(first.exitCode, 0) << first.output;
  EXPECT_TRUE(contains(first.output, "server: reference server on 127.0.0.1:")) << first.output;
  EXPECT_TRUE(contains(first.output, "POST reg_dev signature=valid")) << first.output;
  EXPECT_TRUE(contains(first.output, "  QDX_Dev_ID = \"")) << first.output;

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
  EXPECT_TRUE(contains(run.output, "server: as QDX_CONNECT_TO says")) << run.output;
  EXPECT_FALSE(contains(run.output, "reference server on")) << run.output;
  EXPECT_TRUE(server.waitForEntries("reg_dev", 1, 1));
  EXPECT_TRUE(contains(run.output, "POST reg_dev signature=valid")) << run.output;
}

TEST(QdxDemoTest, BadOptionsExitWithUsage) {
  TestEnv env;
  for (const char* args : {"--app-id 12x", "--run-seconds -1", "--channel", "--bogus"}) {
    const DemoRun run = runDemo(env.tempRoot(), args);
    EXPECT_EQ(run.exitCode, 2) << args;
    EXPECT_TRUE(contains(run.output, "usage: qdx-demo")) << args << "\n" << run.output;
  }
}

}  // namespace
}  // namespace qdx

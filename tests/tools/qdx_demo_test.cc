// Runs the demo program as a newcomer would: the scripted host session must
// pass its own checks, keep the cipher trace out of its progress lines, and
// leave a gallery that a browser renders with every image loaded. Also its
// offline session, a run whose checks fail, its options and the sample
// scene.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <regex>
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
  std::string output;  // what the terminal showed: stdout and stderr
};

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

int shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs the demo with none of the caller's QDX_* settings, plus extraEnv
// ("NAME=value ...").
DemoRun runDemo(const std::string& root, const std::string& args, const std::string& extraEnv = "") {
  const std::string output = root + "/demo-output";
  const int code = shell("env -u QDX_CONNECT_TO -u QDX_CA_FILE -u QDX_NETWORK -u QDX_HOME "
                         "-u QDX_KEYCHAIN_DIR " + extraEnv + " " + QDX_DEMO_BINARY + " " + args +
                         " > " + output + " 2>&1");
  return {code, readFile(output)};
}

// Runs the demo pointed at server through QDX_CONNECT_TO, trusting the
// test CA, as a developer points it at a server of their own.
DemoRun runDemoAgainst(const ReferenceServer& server, const std::string& root,
                       const std::string& args) {
  return runDemo(root, args,
                 "QDX_CONNECT_TO=" + server.connectTo() + " QDX_CA_FILE=" + QDX_TEST_CA_FILE);
}

std::size_t countLines(const std::string& text, const std::regex& pattern) {
  std::size_t n = 0;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) n += std::regex_search(line, pattern) ? 1 : 0;
  return n;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// Opens gallery/index.html in headless Chromium from a page beside it that
// counts the gallery's sections and its images, loaded or broken, and
// returns that page's verdict line ("gallery-check sections=N images=N
// loaded=N broken=LIST"), or what went wrong.
std::string galleryVerdictInChromium(const std::string& gallery, const std::string& profile) {
  std::ofstream(gallery + "/check.html") << R"(<!DOCTYPE html><html><body>
<iframe id="g" src="index.html" width="1200" height="900"></iframe><pre id="r">pending</pre>
<script>
document.getElementById('g').addEventListener('load', function () {
  var doc = this.contentDocument, out = 'gallery-check';
  if (!doc) { out += ' unreadable'; } else {
    var images = Array.prototype.slice.call(doc.images);
    var ok = function (i) { return i.complete && i.naturalWidth > 0; };
    out += ' sections=' + doc.querySelectorAll('section').length + ' images=' + images.length +
           ' loaded=' + images.filter(ok).length + ' broken=' +
           images.filter(function (i) { return !ok(i); }).map(function (i) {
             return i.getAttribute('src'); }).join(',');
  }
  document.getElementById('r').textContent = out + ' end';
});
</script></body></html>
)";
  const std::string dom = gallery + "/check-dom.html";
  const int code = shell(
      "timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
      "--disable-background-networking --disable-component-update --disable-sync "
      "--user-data-dir=" + profile + " --allow-file-access-from-files --virtual-time-budget=15000 "
      "--dump-dom file://" + gallery + "/check.html > " + dom + " 2>/dev/null");
  const std::string page = readFile(dom);
  std::smatch verdict;
  if (std::regex_search(page, verdict, std::regex("gallery-check[^<]* end"))) return verdict.str();
  return "chromium exited with " + std::to_string(code) + " and no verdict";
}

TEST(QdxDemoTest, TheHostSessionPassesItsChecksAndItsGalleryRendersInChromium) {
  TestEnv env;
  const std::string out = env.tempRoot() + "/gallery";
  const DemoRun run = runDemo(env.tempRoot(), "--out " + out);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_EQ(countLines(run.output, std::regex("^ok ")), 17u) << run.output;
  EXPECT_TRUE(contains(run.output, "gallery: " + out + "/index.html")) << run.output;
  // The cipher's trace went to the gallery, not between the progress lines.
  EXPECT_EQ(countLines(run.output, std::regex("^[0-9A-F]{16,}$")), 0u) << run.output;
  const std::string html = readFile(out + "/index.html");
  EXPECT_TRUE(std::regex_search(html, std::regex("Cipher trace \\([1-9][0-9]* lines")));
  EXPECT_EQ(html.find("<script"), std::string::npos) << "the gallery is static";
  for (const char* shown : {"onADShowedWithADRequest type 1, 375.00 x 57.29", "reg_dev",
                            "get_recommend_list", "https://apps.qdx.invalid/"}) {
    EXPECT_TRUE(contains(html, shown)) << shown;
  }
  auto feed = kit::Image::imageWithData(readFile(out + "/14-feed.png"));
  ASSERT_NE(feed, nullptr);
  EXPECT_EQ(feed->pixelWidth(), 750) << "375 points at scale 2";

  EXPECT_EQ(galleryVerdictInChromium(out, env.tempRoot() + "/chromium"),
            "gallery-check sections=17 images=17 loaded=17 broken= end");
}

TEST(QdxDemoTest, OfflineSessionKeepsItsReportsForTheNextStartOnline) {
  TestEnv env;
  const std::string out = env.tempRoot() + "/gallery";
  const DemoRun run = runDemo(env.tempRoot(), "--offline --out " + out);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_EQ(countLines(run.output, std::regex("^ok ")), 4u) << run.output;
  const std::string html = readFile(out + "/index.html");
  EXPECT_TRUE(contains(html, "QDX_USE_TIME_EVENT_LIST = {&quot;id&quot;")) << "kept while offline";
  EXPECT_TRUE(contains(html, "&quot;type&quot;:2")) << "and sent by the next start";
}

TEST(QdxDemoTest, AFailedCheckFailsTheRunAndShowsInTheGallery) {
  TestEnv env;
  ReferenceServer server({.faults = {"reg_dev:garbage"}});
  ASSERT_TRUE(server.running());
  const std::string out = env.tempRoot() + "/gallery";
  const DemoRun run = runDemoAgainst(server, env.tempRoot(), "--out " + out);
  EXPECT_EQ(run.exitCode, 1) << run.output;
  EXPECT_TRUE(contains(run.output, "server: as QDX_CONNECT_TO says")) << run.output;
  EXPECT_TRUE(contains(run.output, "check failed: the activation went out once")) << run.output;
  EXPECT_TRUE(contains(readFile(out + "/index.html"), "a check failed"));
  EXPECT_FALSE(server.entriesFor("get_recommend_list").empty()) << "the given server was used";
}

// A server that shows no journal (not the reference server, as the demo
// sees it): the host-side checks still count, each step says its
// server-side checks were not made, and no start waits for a journal.
TEST(QdxDemoTest, AnotherServerLeavesServerSideChecksUncheckedAndNoStepWaitsOnAJournal) {
  TestEnv env;
  ReferenceServer::Options hidden;
  hidden.noControl = true;
  ReferenceServer server(hidden);
  ASSERT_TRUE(server.running());
  const std::string out = env.tempRoot() + "/gallery";
  const DemoRun run = runDemoAgainst(server, env.tempRoot(), "--no-server --out " + out);
  EXPECT_EQ(run.exitCode, 0) << run.output;
  EXPECT_TRUE(contains(run.output, "server: as QDX_CONNECT_TO says")) << run.output;
  EXPECT_TRUE(contains(run.output, "server-side checks: not checked: another server")) << run.output;
  EXPECT_TRUE(contains(run.output, "requests unseen")) << run.output;
  const std::string html = readFile(out + "/index.html");
  EXPECT_TRUE(contains(html, "not checked: another server")) << "in the gallery";
  EXPECT_TRUE(contains(html, "none: another server, whose journal the demo cannot see"));
  // The own server's start waits up to 15 s for its journal; none here.
  std::istringstream lines(run.output);
  std::string line;
  const std::regex step("^ok .* ([0-9.]+) s ");
  std::size_t steps = 0;
  while (std::getline(lines, line)) {
    std::smatch took;
    if (!std::regex_search(line, took, step)) continue;
    ++steps;
    EXPECT_LT(std::stod(took[1]), 15.0) << line;
  }
  EXPECT_GE(steps, 10u) << run.output;
  EXPECT_FALSE(server.entriesFor("report_event").empty()) << "the given server was used";
}

TEST(QdxDemoTest, BadOptionsExitWithUsage) {
  TestEnv env;
  for (const char* args : {"--app-id 12x", "--run-seconds -1", "--channel", "--bogus", "--out"}) {
    const DemoRun run = runDemo(env.tempRoot(), args);
    EXPECT_EQ(run.exitCode, 2) << args;
    EXPECT_TRUE(contains(run.output, "usage: qdx-demo")) << args;
  }
  EXPECT_EQ(runDemo(env.tempRoot(), "--sample-png").exitCode, 2);
}

TEST(QdxDemoTest, TheLiveWindowWithoutADisplaySaysSoAndExitsWith2) {
  TestEnv env;
  const DemoRun run = runDemo(env.tempRoot(), "--window --no-server --out " + env.tempRoot(),
                              "DISPLAY= WAYLAND_DISPLAY= SDL_VIDEODRIVER=");
  EXPECT_EQ(run.exitCode, 2) << run.output;
  EXPECT_TRUE(contains(run.output, "qdx-demo: ")) << run.output;
  EXPECT_TRUE(contains(run.output, "no display")) << run.output;
  EXPECT_FALSE(contains(run.output, "window ready")) << run.output;
  for (const char* args : {"--window --scale 0", "--window --scale 9", "--window --scale x"}) {
    EXPECT_EQ(runDemo(env.tempRoot(), args).exitCode, 2) << args;
  }
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

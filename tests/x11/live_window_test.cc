// The live window through a real X server: Xvfb picks a free display,
// qdx-demo --window runs against the reference server, and xdotool plays
// the user: a click on the banner, W for the recommend wall, a drag of the
// wall to its second page, Escape. The test waits on the demo's output
// lines (with deadlines), then checks the server's journal, the exit code
// and a screenshot of the root window. It skips only when Xvfb cannot start.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/json_access.h"
#include "qdx/kit/Image.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXApiBase.h"

namespace qdx {
namespace {

using Clock = std::chrono::steady_clock;

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Starts argv with extra environment settings; its standard output (and
// error, when merged) goes to outFd when it is not -1.
pid_t spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            int outFd, int keepFd = -1) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  for (const std::string& setting : env) {
    const auto eq = setting.find('=');
    if (eq == std::string::npos) {
      ::unsetenv(setting.c_str());
    } else {
      ::setenv(setting.substr(0, eq).c_str(), setting.substr(eq + 1).c_str(), 1);
    }
  }
  if (outFd >= 0) ::dup2(outFd, STDOUT_FILENO);
  const int devnull = ::open("/dev/null", O_RDWR);
  ::dup2(devnull, STDIN_FILENO);
  if (keepFd < 0) ::dup2(devnull, STDERR_FILENO);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  ::execvp(args[0], args.data());
  ::_exit(127);
}

// An X server of its own on the display it chose (-displayfd).
class VirtualDisplay {
 public:
  VirtualDisplay() {
    int fds[2];
    if (::pipe(fds) != 0) {
      failure_ = "no pipe";
      return;
    }
    pid_ = spawn({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0", "1280x1024x24",
                  "-nolisten", "tcp", "-noreset"},
                 {}, -1);
    ::close(fds[1]);
    std::string number;
    pollfd watch{fds[0], POLLIN, 0};
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while (number.find('\n') == std::string::npos && Clock::now() < deadline) {
      if (::poll(&watch, 1, 200) <= 0) continue;
      char buffer[32];
      const ssize_t got = ::read(fds[0], buffer, sizeof buffer);
      if (got <= 0) break;
      number.append(buffer, std::size_t(got));
    }
    ::close(fds[0]);
    if (number.find('\n') == std::string::npos) {
      failure_ = "Xvfb did not report a display within 20 s (is the xvfb package installed?)";
      return;
    }
    display_ = ":" + number.substr(0, number.find('\n'));
  }
  ~VirtualDisplay() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  bool running() const { return !display_.empty(); }
  const std::string& display() const { return display_; }
  const std::string& failure() const { return failure_; }

 private:
  pid_t pid_ = -1;
  std::string display_;
  std::string failure_;
};

// The demo as a child process, its output lines collected as they come.
class DemoProcess {
 public:
  DemoProcess(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    std::vector<std::string> argv = {QDX_DEMO_BINARY};
    argv.insert(argv.end(), args.begin(), args.end());
    pid_ = spawn(argv, env, fds[1], STDERR_FILENO);
    ::close(fds[1]);
    reader_ = std::thread([this, fd = fds[0]] {
      std::string pending;
      char buffer[4096];
      ssize_t got;
      while ((got = ::read(fd, buffer, sizeof buffer)) > 0) {
        pending.append(buffer, std::size_t(got));
        std::size_t end;
        while ((end = pending.find('\n')) != std::string::npos) {
          std::lock_guard<std::mutex> lock(mutex_);
          lines_.push_back(pending.substr(0, end));
          pending.erase(0, end + 1);
          changed_.notify_all();
        }
      }
      ::close(fd);
    });
  }
  ~DemoProcess() {
    if (pid_ > 0 && !exited_) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    if (reader_.joinable()) reader_.join();
  }

  // Waits until a line starting with prefix arrives (counting from the
  // first line); returns it, or nothing after the deadline.
  std::optional<std::string> waitForLine(const std::string& prefix, double seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    std::optional<std::string> found;
    changed_.wait_for(lock, std::chrono::duration<double>(seconds), [&] {
      for (const std::string& line : lines_) {
        if (line.rfind(prefix, 0) == 0) {
          found = line;
          return true;
        }
      }
      return false;
    });
    return found;
  }

  // Waits for the program to end by itself; its exit code, or -1 when it
  // did not end within the deadline or did not exit normally.
  int waitForExit(double seconds) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    int status = 0;
    while (Clock::now() < deadline) {
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        exited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return -1;
  }

  std::string transcript() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const std::string& line : lines_) text += line + "\n";
    return text;
  }

 private:
  pid_t pid_ = -1;
  bool exited_ = false;
  std::thread reader_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

// Runs an X client on display (for at most 30 s); its standard output.
std::string onDisplay(const std::string& display, const std::string& command) {
  std::string output;
  FILE* pipe =
      ::popen(("DISPLAY=" + display + " timeout 30 " + command + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return output;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
  ::pclose(pipe);
  return output;
}

// The window's place on the root window, from xdotool's shell output.
struct Geometry {
  int x = 0, y = 0, width = 0, height = 0;
};
std::optional<Geometry> windowGeometry(const std::string& display, const std::string& window) {
  std::map<std::string, int> values;
  std::istringstream lines(onDisplay(display, "xdotool getwindowgeometry --shell " + window));
  std::string line;
  while (std::getline(lines, line)) {
    const auto eq = line.find('=');
    if (eq != std::string::npos) values[line.substr(0, eq)] = std::atoi(line.c_str() + eq + 1);
  }
  if (!values.count("WIDTH") || values["WIDTH"] <= 0) return std::nullopt;
  return Geometry{values["X"], values["Y"], values["WIDTH"], values["HEIGHT"]};
}

bool waitForJournal(const ReferenceServer& server, int subType, int adType,
                    const std::string& toAppId, double seconds) {
  const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
  while (Clock::now() < deadline) {
    if (testing::journalHolds(server, subType, adType, toAppId)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

double channelDistance(const kit::Color& a, const kit::Color& b) {
  return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green),
                   std::abs(a.blue - b.blue)});
}

TEST(LiveWindowTest, BannerClickWallDragAndEscapeThroughARealXServer) {
  VirtualDisplay x;
  if (!x.running()) GTEST_SKIP() << "Xvfb cannot start: " << x.failure();
  TestEnv env;
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const std::string& display = x.display();

  DemoProcess demo({"--window", "--no-server", "--out", env.tempRoot() + "/out"},
                   {"DISPLAY=" + display, "QDX_CONNECT_TO=" + server.connectTo(),
                    std::string("QDX_CA_FILE=") + QDX_TEST_CA_FILE, "QDX_HOME", "QDX_NETWORK",
                    "QDX_KEYCHAIN_DIR", "QDX_SCREEN", "WAYLAND_DISPLAY"});
  ASSERT_TRUE(demo.waitForLine("window ready", 30)) << demo.transcript();
  ASSERT_TRUE(demo.waitForLine("onADShowedWithADRequest type 1", 30)) << demo.transcript();

  const std::string window = onDisplay(display, "xdotool search --sync --name '^qdx demo$'");
  ASSERT_FALSE(window.empty()) << "no window titled \"qdx demo\"";
  const std::string windowId = window.substr(0, window.find('\n'));
  const auto place = windowGeometry(display, windowId);
  ASSERT_TRUE(place);
  EXPECT_EQ(place->width, 375);
  EXPECT_EQ(place->height, 667);

  // The banner as the screen shows it: the root window's pixels where the
  // bottom banner is, against the artwork the server serves for it. Wait
  // for the picture to settle first (the banner arrives after its show).
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const std::string shot = env.tempRoot() + "/root.png";
  onDisplay(display, "import -window root " + shot);
  auto screen = kit::Image::imageWithData(readFile(shot));
  ASSERT_NE(screen, nullptr) << "no screenshot of the root window";
  HttpRequest request;
  request.url = std::string(kQDXApiBase) + "/qdx/assets/banner/1.png";
  const HttpResponse artworkAnswer = env.posix().performHttp(request);
  auto artwork = kit::Image::imageWithData(artworkAnswer.body);
  ASSERT_NE(artwork, nullptr);
  const double bannerHeight = 375.0 * 110 / 720;
  const double bannerTop = 667 - bannerHeight;
  for (const auto& [fx, fy] : {std::pair{0.02, 0.3}, {0.02, 0.9}, {0.3, 0.05}, {0.6, 0.95}}) {
    const kit::Color shown = screen->colorAt(place->x + int(fx * 375),
                                             place->y + int(bannerTop + fy * bannerHeight));
    const kit::Color drawn = artwork->colorAt(int(fx * 720), int(fy * 110));
    EXPECT_LT(channelDistance(shown, drawn), 0.08)
        << "at " << fx << ", " << fy << " of the banner";
  }
  const kit::Color above = screen->colorAt(place->x + 4, place->y + int(bannerTop) - 30);
  EXPECT_GT(channelDistance(above, artwork->colorAt(4, 33)), 0.08) << "the banner ends at its top";

  // A click on the banner.
  const int clickX = place->x + 150, clickY = place->y + int(bannerTop + bannerHeight / 2);
  onDisplay(display, "xdotool mousemove --sync " + std::to_string(clickX) + " " +
                         std::to_string(clickY) + " click 1");
  EXPECT_TRUE(demo.waitForLine("onADClicked", 20)) << demo.transcript();
  EXPECT_TRUE(demo.waitForLine("store link opened: https://apps.qdx.invalid/", 20))
      << demo.transcript();

  // W: the recommend wall; then a drag of its cards one page on. No window
  // manager gives the window the keyboard: the test does.
  onDisplay(display, "xdotool windowfocus --sync " + windowId + " key w");
  ASSERT_TRUE(demo.waitForLine("onADShowedWithADRequest type 4", 30)) << demo.transcript();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the cross-dissolve
  const int dragY = place->y + 300;
  std::string drag = "xdotool mousemove --sync " + std::to_string(place->x + 320) + " " +
                     std::to_string(dragY) + " mousedown 1";
  for (int step = 1; step <= 8; ++step) {
    drag += " mousemove --sync " + std::to_string(place->x + 320 - step * 32) + " " +
            std::to_string(dragY) + " sleep 0.02";
  }
  drag += " mouseup 1";
  onDisplay(display, drag);
  EXPECT_TRUE(waitForJournal(server, testing::kShowEvent, 4, "20002", 20))
      << "no show event for the wall's second app\n"
      << demo.transcript();

  // Escape ends the program by itself, with code 0.
  onDisplay(display, "xdotool windowfocus --sync " + windowId + " key Escape");
  EXPECT_EQ(demo.waitForExit(20), 0) << demo.transcript();

  EXPECT_TRUE(testing::journalHolds(server, testing::kClickEvent, 1)) << "the banner's click";
}

}  // namespace
}  // namespace qdx

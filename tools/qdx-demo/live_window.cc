#include "live_window.h"

#include <unistd.h>

#include <cstdio>

#if QDX_DEMO_WINDOW
#include <atomic>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host_app.h"
#include "qdx/PosixPlatform.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXAdLoader.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Kit.h"
#include "qdx_sdl2.h"
#include "stdout_capture.h"
#endif

namespace qdx::demo {

#if !QDX_DEMO_WINDOW

int runLiveWindow(const Options&, const std::function<bool()>&) {
  std::fprintf(stderr, "qdx-demo: this build has no live window: SDL2 was not found when it "
                       "was configured (install libsdl2-dev, then configure again)\n");
  return 2;
}

#else

namespace {

using namespace qdx::kit;

constexpr double kWidth = 375, kHeight = 667;

// Where the event lines go: the terminal's standard output, while the
// SDK's cipher trace is captured into a file beside the gallery.
std::FILE* gConsole = stdout;

// One line per event, whole lines from any thread.
void say(const std::string& line) {
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  std::fprintf(gConsole, "%s\n", line.c_str());
  std::fflush(gConsole);
}

// What a callback line says in a word or two, for the status line.
std::string shortName(const std::string& line) {
  static const std::pair<const char*, const char*> kNames[] = {
      {"onADLoaded", "loaded"},   {"onNoAD", "no ad"},
      {"onADClicked", "clicked"}, {"onADShowedWithADRequest", "showed"},
      {"onADClosedWithADRequest", "closed"}};
  for (const auto& [method, word] : kNames) {
    if (line.rfind(method, 0) != 0) continue;
    std::string name = word;
    const auto type = line.find(" type ");
    if (type != std::string::npos) name += " (type " + line.substr(type + 6, 1) + ")";
    return name;
  }
  return "";
}

// The status line across the top of the screen: the SDK's latest
// callbacks, newest last. Main thread only.
class StatusLine {
 public:
  explicit StatusLine(const std::shared_ptr<Window>& window)
      : window_(window), label_(std::make_shared<Label>(Rect(4, 2, kWidth - 8, 16))) {
    label_->setFont(Font::systemFontOfSize(11));
    label_->setTextColor(Color::white());
    label_->setTextAlignment(TextAlignmentCenter);
    label_->setText("SDK: starting");
    label_->setUserInteractionEnabled(false);  // taps fall through to the ads below
    // A dark band, so the line reads over the host's feed and the wall alike.
    label_->setBackgroundColor(Color::rgba(0, 0, 0, 0.55));
    label_->layer().cornerRadius = 4;
    raise();
  }
  void add(const std::string& word) {
    words_.push_back(word);
    if (words_.size() > 3) words_.pop_front();
    std::string text = "SDK:";
    for (const std::string& w : words_) text += (text.size() > 4 ? " › " : " ") + w;
    label_->setText(text);
  }
  // Keeps the line above a new root screen.
  void raise() {
    label_->removeFromSuperview();
    window_->addSubview(label_);
  }
  // Keeps the line on top of what is presented (the recommend wall covers
  // the window while it is up): moves it when the top screen changed, so a
  // frame with no change moves nothing.
  void follow() {
    const auto top = window_->topPresentedViewController();
    const bool presented = top && top != window_->rootViewController();
    const std::shared_ptr<View> target = presented ? top->view() : window_;
    if (label_->superview() == target) return;
    label_->removeFromSuperview();
    target->addSubview(label_);
  }

 private:
  std::shared_ptr<Window> window_;
  std::shared_ptr<Label> label_;
  std::deque<std::string> words_;
};

// F: custom slots 7, 8 and 9 into the feed. The loader blocks on the
// network, so it runs on a thread of its own and the views are placed on
// the main thread when they have all arrived.
void loadFeed(HostApp& app, StatusLine& status, std::atomic<bool>& loading) {
  if (loading.exchange(true)) return;
  say("loading custom slots 7, 8 and 9");
  std::thread([&app, &status, &loading] {
    QDXAdLoader loader;
    loader.setADDelegate(app.delegate());
    auto views = std::make_shared<std::vector<std::shared_ptr<View>>>();
    const std::pair<std::int32_t, Size> kSlots[] = {
        {7, Size{355, 133.125}}, {8, Size{375, 80}}, {9, Size{375, 250}}};
    for (const auto& [type, size] : kSlots) {
      loader.loadAdWithType(type, 1, size, [&, type = type, size = size](
                                               const std::vector<std::shared_ptr<View>>& got) {
        app.delegate()->note("loader block: " + std::to_string(got.size()) +
                             " view(s) of type " + std::to_string(type));
        if (got.empty()) return;
        // A native banner comes without a frame: the host gives it its slot.
        if (type == 7) got.front()->setFrame(Rect(0, 0, size.width, size.height));
        views->push_back(got.front());
      });
    }
    RunLoop::main().post([&app, &status, &loading, views] {
      app.showFeed(*views);
      status.raise();
      say("feed shown with " + std::to_string(views->size()) + " ad view(s)");
      loading = false;
    });
  }).detach();
}

}  // namespace

int runLiveWindow(const Options& options, const std::function<bool()>& startServer) {
  PosixPlatform::setMainScreen(kWidth, kHeight, options.scale);
  HostApp app;
  StatusLine status(app.window());

  sdl::WindowOptions look;
  look.title = "qdx demo";
  look.scale = options.scale;
  std::string error;
  auto host = sdl::Host::open(app.window(), look, error);
  if (!host) {
    std::fprintf(stderr, "qdx-demo: cannot open the window: %s\n", error.c_str());
    return 2;
  }
  if (!startServer()) return 1;
  std::error_code ignored;
  std::filesystem::create_directories(options.outDir, ignored);
  StdoutCapture capture;
  if (capture.begin(options.outDir + "/window-cipher-trace.txt")) {
    gConsole = capture.console();
  } else {
    std::fprintf(stderr, "qdx-demo: cannot write into %s: the SDK's trace goes to stdout\n",
                 options.outDir.c_str());
  }

  // Every callback and store link, printed at once and kept on screen.
  app.delegate()->setListener([&status](const std::string& line) {
    say(line);
    const std::string word = shortName(line);
    if (!word.empty()) RunLoop::main().post([&status, word] { status.add(word); });
  });
  app.setOpenedListener([](const std::string& url) { say("store link opened: " + url); });
  if (!app.startSdk(options.channel, options.appId, options.appKey, options.debug)) {
    std::fprintf(stderr, "qdx-demo: the SDK did not start\n");
    return 1;
  }
  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(3, 0, 0, app.home()->view()));

  std::atomic<bool> loading{false};
  bool ready = false;
  host->run(
      [&](const SDL_Event& event) {
        if (event.type != SDL_KEYDOWN || event.key.repeat) return true;
        switch (event.key.keysym.sym) {
          case SDLK_ESCAPE:
            return false;
          case SDLK_w:
            say("requesting the recommend wall");
            QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(4));
            return true;
          case SDLK_f:
            loadFeed(app, status, loading);
            return true;
          default:
            return true;
        }
      },
      [&ready, &status] {
        if (!ready) say("window ready");
        ready = true;
        status.follow();
      });
  const sdl::FrameStats stats = host->stats();
  host.reset();
  say("window closed after " + std::to_string(stats.framesPresented) + " frames, " +
      std::to_string(stats.pixelsUploaded) + " pixels uploaded");
  // A loader thread may still be at work with the app: leave without
  // unwinding it.
  std::fflush(nullptr);
  ::_exit(0);
}

#endif

}  // namespace qdx::demo

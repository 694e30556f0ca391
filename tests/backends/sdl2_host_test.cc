// The SDL2 backend on SDL's display-less "dummy" video driver: the window's
// size and letterbox, pointer events through it (a press that leaves the
// window is cancelled), uploads of only what was redrawn, wake-ups from
// other threads folded into one event, and what it refuses to open.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>

#include "qdx/RunLoop.h"
#include "qdx/kit/Kit.h"
#include "qdx_sdl2.h"
#include "support/test_env.h"

namespace qdx::sdl {
namespace {

using kit::Rect;

class SdlHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("SDL_VIDEODRIVER", "dummy", 1);
    button->setFrame(Rect(10, 10, 80, 40));
    window->setBackgroundColor(kit::Color::white());
    button->setBackgroundColor(kit::Color::rgba(0.2, 0.4, 0.8, 1));
    button->addAction([this](const std::shared_ptr<kit::Control>&) { ++taps; },
                      kit::ControlEventTouchUpInside);
    window->addSubview(button);
  }

  std::unique_ptr<Host> open(double scale = 1) {
    WindowOptions options;
    options.title = "test";
    options.scale = scale;
    std::string error;
    auto host = Host::open(window, options, error);
    EXPECT_NE(host, nullptr) << error;
    return host;
  }

  // Queues a mouse event at window coordinates and serves it.
  void mouse(Host& host, Uint32 type, int x, int y) {
    SDL_Event event{};
    event.type = type;
    if (type == SDL_MOUSEMOTION) {
      event.motion.windowID = SDL_GetWindowID(host.sdlWindow());
      event.motion.x = x;
      event.motion.y = y;
      event.motion.state = SDL_BUTTON_LMASK;
    } else {
      event.button.windowID = SDL_GetWindowID(host.sdlWindow());
      event.button.button = SDL_BUTTON_LEFT;
      event.button.x = x;
      event.button.y = y;
    }
    SDL_PushEvent(&event);
    host.step(nullptr);
  }

  void windowEvent(Host& host, Uint8 what) {
    SDL_Event event{};
    event.type = SDL_WINDOWEVENT;
    event.window.windowID = SDL_GetWindowID(host.sdlWindow());
    event.window.event = what;
    SDL_PushEvent(&event);
    host.step(nullptr);
  }

  TestEnv env;
  std::shared_ptr<kit::Window> window = std::make_shared<kit::Window>(Rect(0, 0, 100, 200));
  std::shared_ptr<kit::Button> button = std::make_shared<kit::Button>();
  int taps = 0;
};

TEST_F(SdlHostTest, OpensAtThePicturesSizeAndLetterboxesWhenResizedNeverStretching) {
  auto host = open(2);
  ASSERT_TRUE(host);
  int w = 0, h = 0;
  SDL_GetWindowSize(host->sdlWindow(), &w, &h);
  EXPECT_EQ(w, 200);
  EXPECT_EQ(h, 400);
  host->step(nullptr);
  SDL_Rect picture = host->pictureRect();
  EXPECT_EQ(picture.w, 200);
  EXPECT_EQ(picture.h, 400);

  // Wider than the picture: bars left and right, the picture's aspect kept.
  SDL_SetWindowSize(host->sdlWindow(), 400, 400);
  host->step(nullptr);
  picture = host->pictureRect();
  EXPECT_EQ(picture.x, 100);
  EXPECT_EQ(picture.y, 0);
  EXPECT_EQ(picture.w, 200);
  EXPECT_EQ(picture.h, 400);
  kit::Point point;
  ASSERT_TRUE(host->toPoints(199, 199, point));
  EXPECT_NEAR(point.x, 50, 0.5);
  EXPECT_NEAR(point.y, 100, 0.5);
  EXPECT_FALSE(host->toPoints(50, 200, point)) << "a bar is not the picture";

  // Taller: bars above and below.
  SDL_SetWindowSize(host->sdlWindow(), 200, 800);
  host->step(nullptr);
  picture = host->pictureRect();
  EXPECT_EQ(picture.y, 200);
  EXPECT_EQ(picture.h, 400);
}

TEST_F(SdlHostTest, ATinyWindowStillShowsTheWholePictureAndTakesTaps) {
  auto host = open(1);
  ASSERT_TRUE(host);
  SDL_SetWindowSize(host->sdlWindow(), 1, 1);  // the window keeps a minimum size
  host->step(nullptr);
  const SDL_Rect picture = host->pictureRect();
  ASSERT_GT(picture.w, 0);
  EXPECT_NEAR(double(picture.h) / picture.w, 2.0, 0.1) << "the aspect is kept";
  const int x = picture.x + picture.w / 2, y = picture.y + picture.h * 30 / 200;
  mouse(*host, SDL_MOUSEBUTTONDOWN, x, y);
  mouse(*host, SDL_MOUSEBUTTONUP, x, y);
  EXPECT_EQ(taps, 1);
}

TEST_F(SdlHostTest, APressThatLeavesTheWindowIsCancelled) {
  auto host = open(1);
  ASSERT_TRUE(host);
  host->step(nullptr);
  mouse(*host, SDL_MOUSEBUTTONDOWN, 50, 30);
  mouse(*host, SDL_MOUSEBUTTONUP, 50, 30);
  ASSERT_EQ(taps, 1) << "a click is a tap";

  mouse(*host, SDL_MOUSEBUTTONDOWN, 50, 30);
  windowEvent(*host, SDL_WINDOWEVENT_LEAVE);
  mouse(*host, SDL_MOUSEBUTTONUP, 50, 30);
  EXPECT_EQ(taps, 1) << "the press was cancelled when the pointer left";

  mouse(*host, SDL_MOUSEBUTTONDOWN, 50, 30);
  mouse(*host, SDL_MOUSEMOTION, 500, 30);  // off the window
  mouse(*host, SDL_MOUSEBUTTONUP, 50, 30);
  EXPECT_EQ(taps, 1) << "a drag off the picture cancels too";

  mouse(*host, SDL_MOUSEBUTTONDOWN, 50, 30);
  windowEvent(*host, SDL_WINDOWEVENT_FOCUS_LOST);
  mouse(*host, SDL_MOUSEBUTTONUP, 50, 30);
  EXPECT_EQ(taps, 1) << "and so does losing the focus";
}

TEST_F(SdlHostTest, OnlyRedrawnRectanglesAreUploadedAndARestingWindowPresentsNothing) {
  auto host = open(2);
  ASSERT_TRUE(host);
  host->step(nullptr);
  EXPECT_EQ(host->stats().pixelsUploaded, 200u * 400u) << "the first frame is whole";
  const auto frames = host->stats().framesPresented;
  EXPECT_GE(frames, 1u);

  for (int i = 0; i < 3; ++i) host->step(nullptr);
  EXPECT_EQ(host->stats().framesPresented, frames) << "nothing changed, nothing presented";

  auto dot = std::make_shared<kit::View>(Rect(40, 150, 10, 10));
  dot->setBackgroundColor(kit::Color::rgba(1, 0, 0, 1));
  window->addSubview(dot);
  host->step(nullptr);
  const auto uploaded = host->stats().pixelsUploaded - 200u * 400u;
  EXPECT_GE(uploaded, 20u * 20u);
  EXPECT_LE(uploaded, 24u * 24u) << "only the dot's area went to the texture";
  EXPECT_EQ(host->stats().framesPresented, frames + 1);
}

TEST_F(SdlHostTest, PostsFromAnotherThreadWakeTheLoopWithOneEvent) {
  auto host = open(1);
  ASSERT_TRUE(host);
  host->step(nullptr);
  int ran = 0;
  std::thread poster([&ran] {
    for (int i = 0; i < 50; ++i) RunLoop::main().post([&ran] { ++ran; });
  });
  poster.join();
  SDL_PumpEvents();
  EXPECT_EQ(SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_USEREVENT, SDL_LASTEVENT), 1);
  EXPECT_EQ(RunLoop::main().secondsUntilNextDeadline(), 0);
  host->step(nullptr);
  EXPECT_EQ(ran, 50);
}

TEST_F(SdlHostTest, EndsWhenTheHostSaysSo) {
  auto host = open(1);
  ASSERT_TRUE(host);
  windowEvent(*host, SDL_WINDOWEVENT_SHOWN);
  SDL_Event key{};
  key.type = SDL_KEYDOWN;
  key.key.keysym.sym = SDLK_ESCAPE;
  SDL_PushEvent(&key);
  int heard = 0;
  host->run([&heard](const SDL_Event& event) {
    ++heard;
    return event.type != SDL_KEYDOWN;
  });
  EXPECT_GE(heard, 1) << "the key reached the host and ended the loop";
}

TEST_F(SdlHostTest, EndsWhenTheWindowIsClosed) {
  auto host = open(1);
  ASSERT_TRUE(host);
  host->step(nullptr);
  SDL_Event close{};
  close.type = SDL_WINDOWEVENT;
  close.window.windowID = SDL_GetWindowID(host->sdlWindow());
  close.window.event = SDL_WINDOWEVENT_CLOSE;
  ASSERT_EQ(SDL_PushEvent(&close), 1) << SDL_GetError();
  EXPECT_FALSE(host->step(nullptr));
}

TEST_F(SdlHostTest, RefusesBadScalesAndWindowsWithoutASize) {
  std::string error;
  WindowOptions options;
  for (double scale : {0.0, -1.0, 9.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
    options.scale = scale;
    EXPECT_EQ(Host::open(window, options, error), nullptr) << scale;
    EXPECT_NE(error.find("scale"), std::string::npos) << error;
  }
  options.scale = 1;
  EXPECT_EQ(Host::open(std::make_shared<kit::Window>(Rect(0, 0, 0, 0)), options, error), nullptr);
  EXPECT_NE(error.find("no size"), std::string::npos) << error;
  EXPECT_EQ(Host::open(nullptr, options, error), nullptr);
}

}  // namespace
}  // namespace qdx::sdl

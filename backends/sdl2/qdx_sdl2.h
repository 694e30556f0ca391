#pragma once
// The reference SDL2 backend: shows a qdx::kit::Window in a desktop window
// and feeds it the mouse. It uses only the library's public headers, so a
// host either links it (the optional CMake target qdx::sdl, built when SDL2
// is found) or copies these two files into its own tree, as one does with
// Dear ImGui's backends.
//
// The loop it runs is the one the RunLoop header describes for a host with
// a frame loop of its own: pump the SDK's main queue, draw what changed,
// then sleep in SDL_WaitEventTimeout until the next input event, the SDK's
// next deadline (a timer, an animation step) or a wake-up, which the
// RunLoop's wake handler sends as an SDL user event when another thread
// posts to the main queue.
//
// Call everything on the process main thread: SDL's video calls and the kit
// both want it.
#include <SDL.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qdx/kit/Surface.h"
#include "qdx/kit/Window.h"

namespace qdx::sdl {

struct WindowOptions {
  std::string title = "qdx";
  // Pixels per point of the drawing; the window opens at the kit window's
  // size times this, shrunk (aspect kept) when the display is smaller.
  double scale = 1;
  bool resizable = true;
  // Where the window shows no ad picture (the bars around a letterboxed
  // picture), as opaque RGB.
  std::uint8_t background[3] = {24, 24, 28};
};

// Counters a host or a benchmark can read.
struct FrameStats {
  std::uint64_t framesPresented = 0;
  std::uint64_t rectsUploaded = 0;
  std::uint64_t pixelsUploaded = 0;  // texture pixels written, summed over frames
  std::uint64_t wakeUps = 0;         // loop iterations that ended a sleep
};

class Host {
 public:
  // Opens an SDL window showing window at options.scale. On failure
  // (SDL_Init cannot reach a display, no renderer, a window of zero size)
  // returns nullptr and sets error to one line saying why.
  static std::unique_ptr<Host> open(std::shared_ptr<kit::Window> window,
                                    const WindowOptions& options, std::string& error);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Called for every SDL event the SDK's views did not take (keys, clicks
  // on the host's own parts); return false to end run().
  using EventHandler = std::function<bool(const SDL_Event& event)>;
  // Called after each frame reaches the screen.
  using FrameHandler = std::function<void()>;

  // Serves the SDK and the window until the window is closed (SDL_QUIT or
  // the close button), onEvent returns false, or stop() is called. The
  // first frame is drawn and presented before the first wait.
  void run(const EventHandler& onEvent, const FrameHandler& onFrame = nullptr);
  // Ends run() after the current iteration. Main thread only.
  void stop() { running_ = false; }

  // One iteration of run() without its wait: pumps the main queue, handles
  // the events already queued, draws and presents what changed. Returns
  // false once the window asked to close or onEvent returned false.
  bool step(const EventHandler& onEvent, const FrameHandler& onFrame = nullptr);

  // Maps a position in SDL window coordinates to kit window points, through
  // the letterbox; false outside the picture or while it has no size.
  bool toPoints(int x, int y, kit::Point& out) const;
  // Where the picture goes in renderer output pixels (aspect kept, centred).
  SDL_Rect pictureRect() const { return picture_; }

  SDL_Window* sdlWindow() const { return window_; }
  kit::Surface& surface() { return *surface_; }
  const FrameStats& stats() const { return stats_; }

 private:
  Host() = default;
  bool handle(const SDL_Event& event, const EventHandler& onEvent);
  bool handlePointer(const SDL_Event& event);
  void layoutPicture();
  bool drawAndPresent(const FrameHandler& onFrame);
  int waitMilliseconds() const;

  SDL_Window* window_ = nullptr;
  SDL_Renderer* renderer_ = nullptr;
  SDL_Texture* texture_ = nullptr;
  std::unique_ptr<kit::Surface> surface_;
  std::vector<std::uint8_t> pixels_;
  int stride_ = 0;
  SDL_Rect picture_{0, 0, 0, 0};
  WindowOptions options_;
  Uint32 wakeEvent_ = 0;
  struct WakeFlag;
  std::shared_ptr<WakeFlag> wake_;
  bool pressed_ = false;  // a button went down on the picture and is not up yet
  bool needsPresent_ = true;
  bool running_ = false;
  bool closing_ = false;
  FrameStats stats_;
};

}  // namespace qdx::sdl

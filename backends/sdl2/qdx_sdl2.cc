#include "qdx_sdl2.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "qdx/RunLoop.h"

namespace qdx::sdl {

// Set while a wake-up event is queued and not yet handled, so that a burst
// of posts from other threads queues one event, not one per post.
struct Host::WakeFlag {
  std::atomic<bool> pending{false};
  Uint32 type = 0;
};

namespace {

constexpr double kMaxScale = 8;

// Why SDL could not reach a display, in words a user can act on.
std::string displayError() {
  std::string why = SDL_GetError();
  const char* display = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  if ((display == nullptr || *display == '\0') && (wayland == nullptr || *wayland == '\0')) {
    return "no display to open a window on (DISPLAY and WAYLAND_DISPLAY are not set): " + why;
  }
  return "cannot reach the display (" + std::string(display ? display : wayland) + "): " + why;
}

// Premultiplied colour over what is already there: one plus one-minus-alpha.
SDL_BlendMode premultipliedBlend() {
  return SDL_ComposeCustomBlendMode(SDL_BLENDFACTOR_ONE, SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA,
                                    SDL_BLENDOPERATION_ADD, SDL_BLENDFACTOR_ONE,
                                    SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA, SDL_BLENDOPERATION_ADD);
}

double eventSeconds(const SDL_Event& event) { return event.common.timestamp / 1000.0; }

}  // namespace

std::unique_ptr<Host> Host::open(std::shared_ptr<kit::Window> window, const WindowOptions& options,
                                 std::string& error) {
  if (!window) {
    error = "no kit window to show";
    return nullptr;
  }
  if (!std::isfinite(options.scale) || options.scale <= 0 || options.scale > kMaxScale) {
    error = "the scale must be a number above 0 and at most 8";
    return nullptr;
  }
  std::unique_ptr<Host> host(new Host());
  host->options_ = options;
  host->surface_ = std::make_unique<kit::Surface>(window, options.scale);
  const int width = host->surface_->pixelWidth();
  const int height = host->surface_->pixelHeight();
  if (width <= 0 || height <= 0) {
    error = "the kit window has no size to show";
    return nullptr;
  }

  // A drag that leaves the window must be told so (a leave event), not be
  // followed outside it.
  SDL_SetHint(SDL_HINT_MOUSE_AUTO_CAPTURE, "0");
  SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
  SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    error = displayError();
    return nullptr;
  }
  // With no display SDL falls back to a video driver that shows nothing
  // ("offscreen"); a window nobody can see is no window, unless the host
  // asked for that driver by name (tests do).
  const std::string driver = SDL_GetCurrentVideoDriver() ? SDL_GetCurrentVideoDriver() : "";
  const char* asked = SDL_GetHint(SDL_HINT_VIDEODRIVER);
  if ((driver == "offscreen" || driver == "dummy") &&
      (asked == nullptr || std::string(asked).find(driver) == std::string::npos)) {
    SDL_SetError("SDL found only its \"%s\" video driver", driver.c_str());
    error = displayError();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return nullptr;
  }

  // The window opens at the picture's size, shrunk (aspect kept) to what
  // the display can show.
  int windowWidth = width, windowHeight = height;
  SDL_Rect usable;
  if (SDL_GetDisplayUsableBounds(0, &usable) == 0 && usable.w > 0 && usable.h > 0) {
    const double fit = std::min({1.0, double(usable.w) / width, double(usable.h) / height});
    windowWidth = std::max(1, int(std::lround(width * fit)));
    windowHeight = std::max(1, int(std::lround(height * fit)));
  }
  Uint32 flags = SDL_WINDOW_ALLOW_HIGHDPI | SDL_WINDOW_HIDDEN;
  if (options.resizable) flags |= SDL_WINDOW_RESIZABLE;
  host->window_ = SDL_CreateWindow(options.title.c_str(), SDL_WINDOWPOS_CENTERED,
                                   SDL_WINDOWPOS_CENTERED, windowWidth, windowHeight, flags);
  if (host->window_ == nullptr) {
    error = std::string("cannot create a window: ") + SDL_GetError();
    return nullptr;
  }
  SDL_SetWindowMinimumSize(host->window_, std::max(1, windowWidth / 6),
                           std::max(1, windowHeight / 6));
  host->renderer_ = SDL_CreateRenderer(host->window_, -1, 0);
  if (host->renderer_ == nullptr) {
    error = std::string("cannot create a renderer: ") + SDL_GetError();
    return nullptr;
  }
  host->texture_ = SDL_CreateTexture(host->renderer_, SDL_PIXELFORMAT_BGRA32,
                                     SDL_TEXTUREACCESS_STREAMING, width, height);
  if (host->texture_ == nullptr) {
    error = std::string("cannot create a texture: ") + SDL_GetError();
    return nullptr;
  }
  // Renderers without custom blending draw straight alpha over the
  // background, which is exact for the opaque and the clear pixels.
  if (SDL_SetTextureBlendMode(host->texture_, premultipliedBlend()) != 0) {
    SDL_SetTextureBlendMode(host->texture_, SDL_BLENDMODE_BLEND);
  }
  host->stride_ = width * 4;
  host->pixels_.assign(std::size_t(host->stride_) * height, 0);

  host->wakeEvent_ = SDL_RegisterEvents(1);
  if (host->wakeEvent_ == Uint32(-1)) {
    error = "SDL has no user event left for wake-ups";
    return nullptr;
  }
  host->wake_ = std::make_shared<WakeFlag>();
  host->wake_->type = host->wakeEvent_;
  std::weak_ptr<WakeFlag> wake = host->wake_;
  RunLoop::main().setWakeHandler([wake] {
    auto flag = wake.lock();
    if (!flag || flag->pending.exchange(true)) return;
    SDL_Event event{};
    event.type = flag->type;
    if (SDL_PushEvent(&event) != 1) flag->pending = false;
  });

  SDL_ShowWindow(host->window_);
  host->layoutPicture();
  return host;
}

Host::~Host() {
  if (wake_) RunLoop::main().setWakeHandler({});
  if (texture_) SDL_DestroyTexture(texture_);
  if (renderer_) SDL_DestroyRenderer(renderer_);
  if (window_) SDL_DestroyWindow(window_);
  if (window_ || renderer_ || texture_) SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

void Host::layoutPicture() {
  int outWidth = 0, outHeight = 0;
  if (SDL_GetRendererOutputSize(renderer_, &outWidth, &outHeight) != 0 || outWidth <= 0 ||
      outHeight <= 0) {
    picture_ = {0, 0, 0, 0};
    return;
  }
  // Letterbox: the largest picture of the surface's aspect that fits,
  // centred. The ad is never stretched.
  const double fit = std::min(double(outWidth) / surface_->pixelWidth(),
                              double(outHeight) / surface_->pixelHeight());
  const int w = std::max(1, int(std::lround(surface_->pixelWidth() * fit)));
  const int h = std::max(1, int(std::lround(surface_->pixelHeight() * fit)));
  picture_ = {(outWidth - w) / 2, (outHeight - h) / 2, w, h};
  needsPresent_ = true;
}

bool Host::toPoints(int x, int y, kit::Point& out) const {
  int windowWidth = 0, windowHeight = 0, outWidth = 0, outHeight = 0;
  SDL_GetWindowSize(window_, &windowWidth, &windowHeight);
  if (SDL_GetRendererOutputSize(renderer_, &outWidth, &outHeight) != 0) return false;
  if (windowWidth <= 0 || windowHeight <= 0 || picture_.w <= 0 || picture_.h <= 0) return false;
  // Window coordinates to output pixels (they differ on high-density displays).
  const double px = (x + 0.5) * outWidth / windowWidth;
  const double py = (y + 0.5) * outHeight / windowHeight;
  if (px < picture_.x || py < picture_.y || px >= picture_.x + picture_.w ||
      py >= picture_.y + picture_.h) {
    return false;
  }
  const kit::Rect bounds = surface_->window()->bounds();
  out.x = (px - picture_.x) / picture_.w * bounds.width();
  out.y = (py - picture_.y) / picture_.h * bounds.height();
  return true;
}

bool Host::handlePointer(const SDL_Event& event) {
  kit::Point point;
  switch (event.type) {
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button != SDL_BUTTON_LEFT || event.button.which == SDL_TOUCH_MOUSEID) {
        return false;
      }
      if (!toPoints(event.button.x, event.button.y, point)) return false;
      if (pressed_) surface_->pointerCancel();
      pressed_ = true;
      return surface_->pointerDown(point, eventSeconds(event));
    case SDL_MOUSEMOTION:
      if (!pressed_) return false;
      if (!toPoints(event.motion.x, event.motion.y, point)) {
        // Off the picture mid-drag: the gesture is lost, as when a finger
        // slides off a phone's screen.
        pressed_ = false;
        surface_->pointerCancel();
        return true;
      }
      return surface_->pointerMove(point, eventSeconds(event));
    case SDL_MOUSEBUTTONUP:
      if (event.button.button != SDL_BUTTON_LEFT || !pressed_) return false;
      pressed_ = false;
      if (!toPoints(event.button.x, event.button.y, point)) {
        surface_->pointerCancel();
        return true;
      }
      return surface_->pointerUp(point, eventSeconds(event));
    default:
      return false;
  }
}

bool Host::handle(const SDL_Event& event, const EventHandler& onEvent) {
  if (event.type == wakeEvent_) {
    wake_->pending = false;  // the pump that follows serves what was posted
    return true;
  }
  switch (event.type) {
    case SDL_QUIT:
      return false;
    case SDL_WINDOWEVENT:
      switch (event.window.event) {
        case SDL_WINDOWEVENT_CLOSE:
          return false;
        case SDL_WINDOWEVENT_SIZE_CHANGED:
        case SDL_WINDOWEVENT_RESIZED:
          layoutPicture();
          break;
        case SDL_WINDOWEVENT_LEAVE:
        case SDL_WINDOWEVENT_FOCUS_LOST:
        case SDL_WINDOWEVENT_HIDDEN:
        case SDL_WINDOWEVENT_MINIMIZED:
          if (pressed_) {
            pressed_ = false;
            surface_->pointerCancel();
          }
          break;
        default:
          needsPresent_ = true;  // exposed, shown, restored: show the picture again
          break;
      }
      return true;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
    case SDL_MOUSEMOTION:
      if (handlePointer(event)) return true;
      break;
    default:
      break;
  }
  return onEvent ? onEvent(event) : true;
}

bool Host::drawAndPresent(const FrameHandler& onFrame) {
  if (surface_->needsDisplay()) {
    const int width = surface_->pixelWidth(), height = surface_->pixelHeight();
    for (const kit::Rect& dirty :
         surface_->draw(pixels_.data(), stride_, kit::PixelFormat::BGRA8Premultiplied)) {
      // Only the redrawn rectangles go to the texture.
      const int x0 = std::clamp(int(std::floor(dirty.x())), 0, width);
      const int y0 = std::clamp(int(std::floor(dirty.y())), 0, height);
      const int x1 = std::clamp(int(std::ceil(dirty.maxX())), 0, width);
      const int y1 = std::clamp(int(std::ceil(dirty.maxY())), 0, height);
      if (x1 <= x0 || y1 <= y0) continue;
      const SDL_Rect area{x0, y0, x1 - x0, y1 - y0};
      SDL_UpdateTexture(texture_, &area, pixels_.data() + std::size_t(y0) * stride_ + x0 * 4,
                        stride_);
      ++stats_.rectsUploaded;
      stats_.pixelsUploaded += std::uint64_t(area.w) * area.h;
      needsPresent_ = true;
    }
  }
  if (!needsPresent_) return false;
  SDL_SetRenderDrawColor(renderer_, options_.background[0], options_.background[1],
                         options_.background[2], 255);
  SDL_RenderClear(renderer_);
  if (picture_.w > 0 && picture_.h > 0) SDL_RenderCopy(renderer_, texture_, nullptr, &picture_);
  SDL_RenderPresent(renderer_);
  needsPresent_ = false;
  ++stats_.framesPresented;
  if (onFrame) onFrame();
  return true;
}

bool Host::step(const EventHandler& onEvent, const FrameHandler& onFrame) {
  SDL_Event event;
  while (!closing_ && SDL_PollEvent(&event)) {
    if (!handle(event, onEvent)) closing_ = true;
  }
  RunLoop::main().pump();
  drawAndPresent(onFrame);
  return !closing_;
}

int Host::waitMilliseconds() const {
  const double seconds = RunLoop::main().secondsUntilNextDeadline();
  if (std::isinf(seconds)) return -1;
  // Round up: waking a little early would only find nothing due yet.
  return int(std::clamp(std::ceil(seconds * 1000), 0.0, 60000.0));
}

void Host::run(const EventHandler& onEvent, const FrameHandler& onFrame) {
  running_ = true;
  while (running_ && step(onEvent, onFrame)) {
    const int wait = waitMilliseconds();
    SDL_Event event;
    const int got = wait < 0 ? SDL_WaitEvent(&event) : SDL_WaitEventTimeout(&event, wait);
    ++stats_.wakeUps;
    if (got == 1 && !handle(event, onEvent)) closing_ = true;
  }
  running_ = false;
}

}  // namespace qdx::sdl

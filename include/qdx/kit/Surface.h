#pragma once
// A window on a real screen: the kit draws a window (its tree, the
// controllers presented over it and its alerts) into pixels the host owns,
// and takes the host's pointer events. Only what changed since the last
// draw is drawn again, and animations (presentations, the page settle, the
// activity indicator's spin) step on the main run loop, so a host with a
// frame loop of its own asks needsDisplay() each frame and draws then.
//
// Call it on the main thread, like the rest of the kit.
#include <cstdint>
#include <memory>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {

// Four bytes a pixel, colour premultiplied by alpha, in memory order.
enum class PixelFormat { BGRA8Premultiplied, RGBA8Premultiplied };

class GestureTracker;
class DamageTracker;
struct SurfaceTarget;

class QDX_EXPORT Surface {
 public:
  // Shows window (and its presented controllers and alerts) at scale pixels
  // per point. A null window or a scale that is not a positive finite
  // number gives a surface of zero size that draws nothing.
  Surface(std::shared_ptr<Window> window, double scale);
  ~Surface();
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;

  // The window's width (height) times the scale, rounded; 0 when it cannot
  // be drawn (no window, an empty or non-finite size, more than 16384
  // pixels a side).
  int pixelWidth() const;
  int pixelHeight() const;

  // True when something on screen changed since the last draw (a view, an
  // animation step), or nothing was drawn yet.
  bool needsDisplay() const;

  // Draws what changed since the last draw into pixels: pixelHeight rows of
  // stride bytes, each starting with pixelWidth pixels in format. Where no
  // view draws, the pixels are transparent (0, 0, 0, 0), so a host can lay
  // the window over its own scene. Bytes past a row's pixels are never
  // touched. Returns the rectangles redrawn, in pixels (repainted, or
  // moved there inside the buffer when a scroll view scrolled by whole
  // pixels); empty when nothing changed. The first draw, and a draw into
  // another buffer (another address, stride, format or size), redraws
  // everything; otherwise the buffer must still hold what the last draw
  // left there.
  // A null buffer, a stride smaller than a row or a surface of zero size
  // draws nothing, logs why and returns empty.
  std::vector<Rect> draw(std::uint8_t* pixels, int stride,
                         PixelFormat format = PixelFormat::BGRA8Premultiplied);

  // Pointer input in window points; seconds on a monotonic clock (the same
  // clock for every event). Each returns true when the SDK's views took the
  // event: the host then ignores it. An event outside every view that takes
  // touches, or on a transparent container's empty area (a plain view with
  // no visible background, the window itself), returns false, as does a point that is not finite or lies more
  // than a million points away, or a time earlier than the last event's
  // (each logged).
  //
  // A down and an up within 10 points and 0.5 s tap what is under the
  // finger; moving further starts a drag of the scroll view under it and
  // cancels a button. A paging scroll view follows the finger, resists
  // past its ends when it bounces, and on release settles (animated) on
  // the page the position and velocity point to, at most one page on.
  // While an alert is on screen every pointer goes to it.
  bool pointerDown(Point point, double seconds);
  bool pointerMove(Point point, double seconds);
  bool pointerUp(Point point, double seconds);
  // The host lost the pointer (the window lost focus): a pending tap is
  // dropped and a drag settles as if released without velocity.
  void pointerCancel();

  // The window shown.
  std::shared_ptr<Window> window() const { return window_; }
  double scale() const { return scale_; }

 private:
  std::shared_ptr<Window> window_;
  double scale_;
  std::unique_ptr<GestureTracker> gestures_;
  std::unique_ptr<DamageTracker> damage_;
  std::unique_ptr<SurfaceTarget> lastTarget_;
  bool drawn_ = false;
  std::uint64_t drawnStamp_ = 0;
  void* backing_ = nullptr;  // the bitmap drawn into when the host's buffer cannot be
};

}  // namespace qdx::kit

#include "qdx/kit/Surface.h"

#include <cairo.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <string>

#include "kit/damage_tracker.h"
#include "kit/display_stamp.h"
#include "kit/gesture_tracker.h"
#include "kit/main_thread.h"
#include "kit/painter.h"
#include "kit/scene.h"
#include "platform/log_gate.h"

namespace qdx::kit {
namespace {

// Bitmaps larger than this (in pixels per side) are refused.
constexpr int kMaxPixelSide = 16384;

int pixelSide(double points, double scale) {
  double pixels = std::round(points * scale);
  if (!(pixels >= 1 && pixels <= kMaxPixelSide)) return 0;
  return static_cast<int>(pixels);
}

// cairo's ARGB32 is a native-endian word: BGRA bytes on a little-endian
// machine, which the host's buffer can then take directly.
bool drawsDirectly(PixelFormat format, int stride) {
  return format == PixelFormat::BGRA8Premultiplied && std::endian::native == std::endian::little &&
         stride % 4 == 0;
}

// Copies rect of an ARGB32 bitmap into the host's buffer in format.
void copyOut(const std::uint8_t* from, int fromStride, std::uint8_t* to, int toStride, PixelFormat format,
             const PixelRect& r) {
  for (int y = r.y; y < r.y + r.height; ++y) {
    const auto* src = reinterpret_cast<const std::uint32_t*>(from + static_cast<std::size_t>(y) * fromStride) + r.x;
    std::uint8_t* dst = to + static_cast<std::size_t>(y) * toStride + static_cast<std::size_t>(r.x) * 4;
    for (int x = 0; x < r.width; ++x, dst += 4) {
      std::uint32_t p = src[x];
      std::uint8_t a = p >> 24, red = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
      if (format == PixelFormat::BGRA8Premultiplied) {
        dst[0] = b, dst[1] = g, dst[2] = red, dst[3] = a;
      } else {
        dst[0] = red, dst[1] = g, dst[2] = b, dst[3] = a;
      }
    }
  }
}

// Applies shift to a bitmap of rows of stride bytes, four bytes a pixel:
// row by row, in the order that reads each source row before it is
// overwritten.
void shiftPixels(std::uint8_t* data, int stride, const PixelShift& shift) {
  const PixelRect& to = shift.to;
  const std::size_t bytes = static_cast<std::size_t>(to.width) * 4;
  auto moveRow = [&](int y) {
    std::uint8_t* row = data + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(to.x) * 4;
    const std::uint8_t* from =
        data + static_cast<std::size_t>(y - shift.dy) * stride + static_cast<std::size_t>(to.x - shift.dx) * 4;
    std::memmove(row, from, bytes);
  };
  if (shift.dy > 0) {
    for (int y = to.y + to.height - 1; y >= to.y; --y) moveRow(y);
  } else {
    for (int y = to.y; y < to.y + to.height; ++y) moveRow(y);
  }
}

// Whether shift reads and writes only inside a width x height bitmap.
bool shiftFits(const PixelShift& shift, int width, int height) {
  const PixelRect& to = shift.to;
  auto inside = [&](int x, int y) {
    return x >= 0 && y >= 0 && x + to.width <= width && y + to.height <= height;
  };
  return !to.empty() && inside(to.x, to.y) && inside(to.x - shift.dx, to.y - shift.dy);
}

}  // namespace

// The buffer last drawn into: a draw into any other starts afresh.
struct SurfaceTarget {
  std::uint8_t* pixels = nullptr;
  int stride = 0;
  PixelFormat format = PixelFormat::BGRA8Premultiplied;
  int width = 0;
  int height = 0;
  bool operator==(const SurfaceTarget&) const = default;
};


Surface::Surface(std::shared_ptr<Window> window, double scale)
    : window_(std::move(window)),
      scale_(std::isfinite(scale) && scale > 0 ? scale : 0),
      gestures_(std::make_unique<GestureTracker>(window_)),
      damage_(std::make_unique<DamageTracker>()),
      lastTarget_(std::make_unique<SurfaceTarget>()) {
  if (!window_) debugLog("qdx: a surface was made without a window; it shows nothing");
  if (scale_ == 0) debugLog("qdx: a surface was made with a scale that is no positive number; it shows nothing");
}

Surface::~Surface() {
  if (backing_) cairo_surface_destroy(static_cast<cairo_surface_t*>(backing_));
}

int Surface::pixelWidth() const {
  return window_ && scale_ > 0 ? pixelSide(window_->bounds().width(), scale_) : 0;
}

int Surface::pixelHeight() const {
  return window_ && scale_ > 0 ? pixelSide(window_->bounds().height(), scale_) : 0;
}

bool Surface::needsDisplay() const { return !drawn_ || display_stamp::current() != drawnStamp_; }

std::vector<Rect> Surface::draw(std::uint8_t* pixels, int stride, PixelFormat format) {
  QDX_KIT_MAIN_THREAD("Surface::draw");
  const int width = pixelWidth(), height = pixelHeight();
  if (width == 0 || height == 0) {
    debugLog("qdx: a surface of zero size draws nothing");
    return {};
  }
  if (pixels == nullptr) {
    debugLog("qdx: a surface was asked to draw into no buffer");
    return {};
  }
  if (stride < width * 4) {
    debugLog("qdx: a surface was asked to draw rows of " + std::to_string(width * 4) +
             " bytes into a stride of " + std::to_string(stride));
    return {};
  }
  SurfaceTarget target{pixels, stride, format, width, height};
  if (!drawn_ || target != *lastTarget_) {
    damage_->forget();
    *lastTarget_ = target;
  } else if (display_stamp::current() == drawnStamp_) {
    return {};
  }
  // Read the stamp first: a change made while drawing shows next time.
  const std::uint64_t stamp = display_stamp::current();
  Damage damage = damage_->collect(*window_, scale_, width, height);
  drawn_ = true;
  drawnStamp_ = stamp;
  // A shift that would leave the bitmap is drawn instead.
  std::erase_if(damage.shifts, [&](const PixelShift& shift) {
    if (shiftFits(shift, width, height)) return false;
    damage.dirty.push_back(shift.to);
    return true;
  });
  if (damage.empty()) return {};
  const std::vector<PixelRect>& dirty = damage.dirty;

  const bool direct = drawsDirectly(format, stride);
  cairo_surface_t* canvas;
  if (direct) {
    canvas = cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_ARGB32, width, height, stride);
  } else {
    auto* backing = static_cast<cairo_surface_t*>(backing_);
    if (!backing || cairo_image_surface_get_width(backing) != width ||
        cairo_image_surface_get_height(backing) != height) {
      if (backing) cairo_surface_destroy(backing);
      backing = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
      backing_ = backing;
    }
    canvas = cairo_surface_reference(backing);
  }
  if (cairo_surface_status(canvas) != CAIRO_STATUS_SUCCESS) {
    debugLog("qdx: a surface could not make its drawing context");
    cairo_surface_destroy(canvas);
    drawn_ = false;
    return {};
  }
  // Scrolled content moves first; the repaints then draw over it.
  if (!damage.shifts.empty()) {
    cairo_surface_flush(canvas);
    std::uint8_t* data = cairo_image_surface_get_data(canvas);
    const int dataStride = cairo_image_surface_get_stride(canvas);
    for (const PixelShift& shift : damage.shifts) shiftPixels(data, dataStride, shift);
    cairo_surface_mark_dirty(canvas);
  }
  cairo_t* cr = cairo_create(canvas);
  // One pass per rectangle: cairo composites exactly under a clip of one
  // whole-pixel rectangle, while a clip of several becomes a mask whose
  // rounding would make a redrawn area differ from a full draw.
  for (const PixelRect& r : dirty) {
    cairo_save(cr);
    cairo_rectangle(cr, r.x, r.y, r.width, r.height);
    cairo_clip(cr);
    // Where no view draws stays transparent, for a host's scene below.
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_paint(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    cairo_scale(cr, scale_, scale_);
    Painter painter(cr);
    paintScene(painter, *window_, SceneOptions{.animated = true});
    cairo_restore(cr);
  }
  cairo_destroy(cr);
  cairo_surface_flush(canvas);
  if (!direct) {
    const std::uint8_t* from = cairo_image_surface_get_data(canvas);
    int fromStride = cairo_image_surface_get_stride(canvas);
    for (const PixelShift& shift : damage.shifts) copyOut(from, fromStride, pixels, stride, format, shift.to);
    for (const PixelRect& r : dirty) copyOut(from, fromStride, pixels, stride, format, r);
  }
  cairo_surface_destroy(canvas);

  // The moved pixels changed too: a host uploads them with the rest.
  std::vector<Rect> redrawn;
  redrawn.reserve(damage.shifts.size() + dirty.size());
  for (const PixelShift& shift : damage.shifts) {
    redrawn.emplace_back(shift.to.x, shift.to.y, shift.to.width, shift.to.height);
  }
  for (const PixelRect& r : dirty) redrawn.emplace_back(r.x, r.y, r.width, r.height);
  return redrawn;
}

bool Surface::pointerDown(Point point, double seconds) {
  QDX_KIT_MAIN_THREAD("Surface::pointerDown");
  return gestures_->down(point, seconds);
}

bool Surface::pointerMove(Point point, double seconds) {
  QDX_KIT_MAIN_THREAD("Surface::pointerMove");
  return gestures_->move(point, seconds);
}

bool Surface::pointerUp(Point point, double seconds) {
  QDX_KIT_MAIN_THREAD("Surface::pointerUp");
  return gestures_->up(point, seconds);
}

void Surface::pointerCancel() {
  QDX_KIT_MAIN_THREAD("Surface::pointerCancel");
  gestures_->cancel();
}

}  // namespace qdx::kit

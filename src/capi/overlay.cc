// The overlay's C entry points: create, destroy, draw, damage, pointer.
#include "capi/overlay.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "capi/entry_guard.h"
#include "qdx/PosixPlatform.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/Color.h"

using qdx::capi::guarded;
using qdx::capi::guardedVoid;
using qdx::capi::onMainThread;
using qdx::capi::refuse;
namespace kit = qdx::kit;

namespace qdx::capi {

void makeDelegateWindow(const Overlay& overlay) {
  kit::Application& app = kit::Application::sharedApplication();
  auto delegate = app.delegate();
  if (!delegate) {
    delegate = std::make_shared<kit::ApplicationDelegate>();
    app.setDelegate(delegate);
  }
  delegate->window = overlay.window;
}

}  // namespace qdx::capi

namespace {

bool positiveFinite(double value) { return std::isfinite(value) && value > 0; }

// The pixels a redrawn rectangle covers, whole pixels outwards.
qdx_rect toPixels(const kit::Rect& r) {
  const double left = std::floor(r.x()), top = std::floor(r.y());
  const double right = std::ceil(r.x() + r.width()), bottom = std::ceil(r.y() + r.height());
  return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
          static_cast<int>(bottom - top)};
}

}  // namespace

extern "C" {

qdx_overlay* qdx_overlay_create(double width_points, double height_points, double scale) {
  constexpr const char* kName = "qdx_overlay_create";
  return guarded(kName, static_cast<qdx_overlay*>(nullptr), [&]() -> qdx_overlay* {
    if (!onMainThread(kName)) return nullptr;
    if (!positiveFinite(width_points) || !positiveFinite(height_points) || !positiveFinite(scale)) {
      refuse(kName, "the size and scale must be positive finite numbers");
      return nullptr;
    }
    auto overlay = std::make_unique<qdx::capi::Overlay>();
    overlay->window = std::make_shared<kit::Window>(kit::Rect(0, 0, width_points, height_points));
    overlay->surface = std::make_unique<kit::Surface>(overlay->window, scale);
    if (overlay->surface->pixelWidth() == 0 || overlay->surface->pixelHeight() == 0) {
      refuse(kName, "the overlay would be larger than 16384 pixels a side");
      return nullptr;
    }
    // Banner geometry and the portrait check follow the main screen.
    qdx::PosixPlatform::setMainScreen(width_points, height_points, scale);
    overlay->root = std::make_shared<kit::ViewController>();
    overlay->root->view()->setFrame(kit::Rect(0, 0, width_points, height_points));
    overlay->root->view()->setBackgroundColor(kit::Color::clear());
    overlay->window->setBackgroundColor(kit::Color::clear());
    overlay->window->setRootViewController(overlay->root);
    overlay->window->makeKeyAndVisible();
    qdx::capi::makeDelegateWindow(*overlay);
    return qdx::capi::handleOf(overlay.release());
  });
}

void qdx_overlay_destroy(qdx_overlay* handle) {
  constexpr const char* kName = "qdx_overlay_destroy";
  guardedVoid(kName, [&] {
    qdx::capi::Overlay* overlay = qdx::capi::overlayOf(handle);
    if (overlay == nullptr) return;
    if (!onMainThread(kName)) return;
    for (auto& [id, slot] : overlay->slots->slots) {
      if (slot.view) slot.view->removeFromSuperview();
    }
    kit::Application& app = kit::Application::sharedApplication();
    app.removeWindow(overlay->window);
    auto delegate = app.delegate();
    if (delegate && delegate->window == overlay->window) delegate->window = nullptr;
    delete overlay;
  });
}

int qdx_overlay_pixel_width(const qdx_overlay* handle) {
  constexpr const char* kName = "qdx_overlay_pixel_width";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    return overlay->surface->pixelWidth();
  });
}

int qdx_overlay_pixel_height(const qdx_overlay* handle) {
  constexpr const char* kName = "qdx_overlay_pixel_height";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    return overlay->surface->pixelHeight();
  });
}

int qdx_overlay_needs_display(const qdx_overlay* handle) {
  constexpr const char* kName = "qdx_overlay_needs_display";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    if (!onMainThread(kName)) return -1;
    return overlay->surface->needsDisplay() ? 1 : 0;
  });
}

int qdx_overlay_draw(qdx_overlay* handle, uint8_t* pixels, int stride, int format) {
  constexpr const char* kName = "qdx_overlay_draw";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    if (!onMainThread(kName)) return -1;
    if (pixels == nullptr) return refuse(kName, "the pixel buffer is NULL"), -1;
    if (format != QDX_FORMAT_BGRA8_PREMULTIPLIED && format != QDX_FORMAT_RGBA8_PREMULTIPLIED) {
      return refuse(kName, "unknown pixel format " + std::to_string(format)), -1;
    }
    const long row = static_cast<long>(overlay->surface->pixelWidth()) * 4;
    if (stride < row) {
      return refuse(kName, "a stride of " + std::to_string(stride) + " bytes is shorter than a row (" +
                               std::to_string(row) + ")"),
             -1;
    }
    const auto drawn = overlay->surface->draw(pixels, stride,
                                              format == QDX_FORMAT_RGBA8_PREMULTIPLIED
                                                  ? kit::PixelFormat::RGBA8Premultiplied
                                                  : kit::PixelFormat::BGRA8Premultiplied);
    overlay->damage.clear();
    for (const kit::Rect& r : drawn) overlay->damage.push_back(toPixels(r));
    return static_cast<int>(overlay->damage.size());
  });
}

int qdx_overlay_damage(const qdx_overlay* handle, qdx_rect* rects, int max) {
  constexpr const char* kName = "qdx_overlay_damage";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    if (max < 0 || (rects == nullptr && max > 0)) {
      return refuse(kName, "room for " + std::to_string(max) + " rectangles at NULL"), -1;
    }
    const int count = static_cast<int>(overlay->damage.size());
    std::copy_n(overlay->damage.begin(), std::min(count, max), rects);
    return count;
  });
}

int qdx_overlay_pointer(qdx_overlay* handle, int kind, double x, double y, double seconds) {
  constexpr const char* kName = "qdx_overlay_pointer";
  return guarded(kName, -1, [&] {
    const auto overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    if (!onMainThread(kName)) return -1;
    if (kind == QDX_POINTER_CANCEL) {
      overlay->surface->pointerCancel();
      return 0;
    }
    if (kind < QDX_POINTER_DOWN || kind > QDX_POINTER_UP) {
      return refuse(kName, "unknown pointer event kind " + std::to_string(kind)), -1;
    }
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(seconds)) {
      return refuse(kName, "the position and time must be finite"), -1;
    }
    const kit::Point at{x, y};
    kit::Surface& surface = *overlay->surface;
    const bool taken = kind == QDX_POINTER_DOWN ? surface.pointerDown(at, seconds)
                       : kind == QDX_POINTER_MOVE ? surface.pointerMove(at, seconds)
                                                  : surface.pointerUp(at, seconds);
    return taken ? 1 : 0;
  });
}

}  // extern "C"

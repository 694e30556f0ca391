#include "qdx/kit/Renderer.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

#include "kit/main_thread.h"
#include "kit/painter.h"
#include "kit/scene.h"
#include "platform/env.h"
#include "qdx/kit/Screen.h"

namespace qdx::kit {
namespace {

// Bitmaps larger than this (in pixels per side) are refused.
constexpr int kMaxBitmapSide = 16384;

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// Renders into a new surface; nullptr when it cannot be made.
cairo_surface_t* renderSurface(const std::shared_ptr<View>& view, double scale) {
  if (!view) return nullptr;
  if (scale <= 0) scale = Screen::mainScreen().scale();
  Rect b = view->bounds();
  double pw = std::ceil(b.width() * scale - 1e-9), ph = std::ceil(b.height() * scale - 1e-9);
  if (!(pw >= 1 && ph >= 1 && pw <= kMaxBitmapSide && ph <= kMaxBitmapSide)) return nullptr;
  cairo_surface_t* surface =
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(pw), static_cast<int>(ph));
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(surface);
    return nullptr;
  }
  cairo_t* cr = cairo_create(surface);
  cairo_scale(cr, scale, scale);
  Painter painter(cr);
  // A snapshot shows the tree as it stands, not halfway through a fade.
  paintScene(painter, *view, SceneOptions{.animated = false});
  cairo_destroy(cr);
  cairo_surface_flush(surface);
  return surface;
}

}  // namespace

std::shared_ptr<Image> renderImage(const std::shared_ptr<View>& view, double scale) {
  QDX_KIT_MAIN_THREAD("kit::renderImage");
  try {
    if (scale <= 0) scale = Screen::mainScreen().scale();
    cairo_surface_t* surface = renderSurface(view, scale);
    if (!surface) return nullptr;
    int w = cairo_image_surface_get_width(surface), h = cairo_image_surface_get_height(surface);
    int stride = cairo_image_surface_get_stride(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(data + static_cast<std::size_t>(y) * stride);
      std::copy(row, row + w, pixels.begin() + static_cast<std::ptrdiff_t>(y) * w);
    }
    cairo_surface_destroy(surface);
    return Image::imageWithPixels(w, h, std::move(pixels), scale);
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::string renderPng(const std::shared_ptr<View>& view, double scale) {
  QDX_KIT_MAIN_THREAD("kit::renderPng");
  try {
    cairo_surface_t* surface = renderSurface(view, scale);
    if (!surface) return {};
    std::string png;
    cairo_status_t status = cairo_surface_write_to_png_stream(surface, appendToString, &png);
    cairo_surface_destroy(surface);
    return status == CAIRO_STATUS_SUCCESS ? png : std::string();
  } catch (const std::exception&) {
    return {};
  }
}

bool writePng(const std::shared_ptr<View>& view, const std::string& path, double scale) {
  std::string png = renderPng(view, scale);
  if (png.empty()) return false;
  return Env::Default()->writeFileAtomically(path, png);
}

}  // namespace qdx::kit

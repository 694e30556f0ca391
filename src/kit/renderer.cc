#include "qdx/kit/Renderer.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "kit/main_thread.h"
#include "kit/painter.h"
#include "platform/env.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/Screen.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {
namespace {

// Bitmaps larger than this (in pixels per side) are refused.
constexpr int kMaxBitmapSide = 16384;

bool invisible(const View& view) {
  return view.isHidden() || view.alpha() <= 0 || view.hidesFromRendering();
}

void drawView(Painter& painter, const View& view, bool isRoot) {
  cairo_t* cr = painter.context();
  if (invisible(view)) return;
  const Layer& layer = view.layer();
  Rect b = view.bounds();
  Rect local(0, 0, b.width(), b.height());
  cairo_save(cr);
  if (!isRoot) cairo_translate(cr, view.frame().x(), view.frame().y());
  bool group = view.alpha() < 1;
  if (group) cairo_push_group(cr);

  if (layer.shadowOpacity > 0 && layer.shadowColor.alpha > 0) {
    // A plain shadow: the bounds' shape, offset, softened by a few rings.
    Rect shadow(layer.shadowOffset.width, layer.shadowOffset.height, b.width(), b.height());
    int rings = std::clamp(static_cast<int>(layer.shadowRadius), 1, 6);
    for (int i = rings; i >= 1; --i) {
      double grow = layer.shadowRadius * i / rings / 2;
      painter.roundedRect(Rect(shadow.x() - grow, shadow.y() - grow, shadow.width() + 2 * grow,
                           shadow.height() + 2 * grow),
                  layer.cornerRadius + grow);
      painter.setColor(layer.shadowColor, layer.shadowOpacity / rings);
      cairo_fill(cr);
    }
  }
  if (auto background = view.backgroundColor(); background && background->alpha > 0) {
    painter.roundedRect(local, layer.cornerRadius);
    painter.setColor(*background);
    cairo_fill(cr);
  }

  cairo_save(cr);
  if (layer.masksToBounds) {
    painter.roundedRect(local, layer.cornerRadius);
    cairo_clip(cr);
  }
  view.drawContent(painter);
  cairo_translate(cr, -b.x(), -b.y());
  for (const auto& child : view.subviews()) drawView(painter, *child, false);
  cairo_restore(cr);

  if (layer.borderWidth > 0 && layer.borderColor.alpha > 0) {
    double half = layer.borderWidth / 2;
    painter.roundedRect(Rect(half, half, b.width() - layer.borderWidth, b.height() - layer.borderWidth),
                std::max(0.0, layer.cornerRadius - half));
    cairo_set_line_width(cr, layer.borderWidth);
    painter.setColor(layer.borderColor);
    cairo_stroke(cr);
  }

  if (group) {
    cairo_pop_group_to_source(cr);
    cairo_paint_with_alpha(cr, view.alpha());
  }
  cairo_restore(cr);
}

// --- Alerts ---------------------------------------------------------------

void drawAlertBox(Painter& painter, const Rect& screen, const std::optional<std::string>& title,
                  const std::optional<std::string>& message,
                  const std::vector<std::string>& buttons) {
  cairo_t* cr = painter.context();
  constexpr double kWidth = 270, kButtonHeight = 44, kPad = 16;
  double textHeight = (title ? 24 : 0) + (message ? 36 : 0);
  double rows = buttons.size() == 2 ? 1 : static_cast<double>(buttons.size());
  double height = kPad * 2 + textHeight + rows * kButtonHeight;
  Rect box(screen.midX() - kWidth / 2, screen.midY() - height / 2, kWidth, height);
  painter.roundedRect(box, 13);
  painter.setColor(Color::rgba(0.97, 0.97, 0.97, 1));
  cairo_fill(cr);
  double y = box.y() + kPad;
  if (title) {
    TextStyle style{Font::boldSystemFontOfSize(17), Color::black(), TextAlignmentCenter, 1};
    painter.drawText(AttributedString(*title), style, Rect(box.x() + kPad, y, kWidth - 2 * kPad, 24));
    y += 24;
  }
  if (message) {
    TextStyle style{Font::systemFontOfSize(13), Color::black(), TextAlignmentCenter, 2};
    painter.drawText(AttributedString(*message), style, Rect(box.x() + kPad, y, kWidth - 2 * kPad, 36));
    y += 36;
  }
  y += kPad;
  TextStyle buttonStyle{Font::systemFontOfSize(17), Color::rgba(0, 122.0 / 255, 1, 1),
                        TextAlignmentCenter, 1};
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    Rect cell = buttons.size() == 2
                    ? Rect(box.x() + i * kWidth / 2, y, kWidth / 2, kButtonHeight)
                    : Rect(box.x(), y + i * kButtonHeight, kWidth, kButtonHeight);
    painter.setColor(Color::rgba(0.8, 0.8, 0.8, 1));
    cairo_rectangle(cr, cell.x(), cell.y(), cell.width(), 0.5);
    cairo_fill(cr);
    painter.drawText(AttributedString(buttons[i]), buttonStyle, cell);
  }
}

void drawPresented(Painter& painter, const Window& window) {
  auto root = window.rootViewController();
  for (auto vc = root ? root->presentedViewController() : nullptr; vc;
       vc = vc->presentedViewController()) {
    drawView(painter, *vc->view(), false);
    if (auto* alert = dynamic_cast<AlertController*>(vc.get())) {
      std::vector<std::string> titles;
      for (const auto& action : alert->actions()) titles.push_back(action->title().value_or(""));
      drawAlertBox(painter, window.bounds(), alert->title(), alert->message(), titles);
    }
  }
}

void drawAlertViews(Painter& painter, const Window& window) {
  cairo_t* cr = painter.context();
  auto& app = Application::sharedApplication();
  if (app.keyWindow().get() != &window) return;
  for (const auto& alert : app.visibleAlertViews()) {
    painter.setColor(Color::rgba(0, 0, 0, 0.4));
    cairo_paint(cr);
    drawAlertBox(painter, window.bounds(), alert->title(), alert->message(), alert->buttonTitles());
  }
}

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
  drawView(painter, *view, true);
  if (auto* window = dynamic_cast<const Window*>(view.get()); window && !invisible(*window)) {
    drawPresented(painter, *window);
    drawAlertViews(painter, *window);
  }
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

#include "qdx/kit/Renderer.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "kit/box_convolve.h"
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

void drawView(Painter& painter, const View& view, bool isRoot);

// What the view itself shows, in its own coordinates (the bounds' size at
// the origin): its background, its content and children (clipped to the
// rounded bounds when it masks to them) and its border.
void drawBody(Painter& painter, const View& view) {
  cairo_t* cr = painter.context();
  const Layer& layer = view.layer();
  const Rect b = view.bounds();
  const Rect local(0, 0, b.width(), b.height());
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
}

// The box blur's passes: three approach a Gaussian closely.
constexpr int kShadowBlurPasses = 3;

// The shadow takes the shape of what the view shows: the alpha of its body
// (rounded background, an image's transparent parts, children within its
// bounds), offset and blurred by the shadow radius as a Gaussian of
// deviation radius / 2. A view that shows nothing casts nothing.
void drawShadow(Painter& painter, const View& view) {
  cairo_t* cr = painter.context();
  const Layer& layer = view.layer();
  const Rect b = view.bounds();
  double dx = 1, dy = 0;
  cairo_user_to_device_distance(cr, &dx, &dy);
  const double scale = std::hypot(dx, dy);  // the kit neither rotates nor skews
  if (!(scale > 0)) return;
  // Three passes of side w spread a point with variance 3 (w^2 - 1) / 12.
  const double sigma = std::max(0.0, layer.shadowRadius) / 2 * scale;
  long side = std::lround(std::sqrt(4 * sigma * sigma + 1));
  if (side % 2 == 0) ++side;
  const double margin = (kShadowBlurPasses * (side - 1) / 2 + 1) / scale;
  const double pw = std::ceil((b.width() + 2 * margin) * scale);
  const double ph = std::ceil((b.height() + 2 * margin) * scale);
  if (!(pw >= 1 && ph >= 1 && pw <= kMaxBitmapSide && ph <= kMaxBitmapSide)) return;
  const int width = static_cast<int>(pw), height = static_cast<int>(ph);

  cairo_surface_t* shape = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  if (cairo_surface_status(shape) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(shape);
    return;
  }
  cairo_t* shapeContext = cairo_create(shape);
  cairo_scale(shapeContext, scale, scale);
  cairo_translate(shapeContext, margin, margin);
  Painter shapePainter(shapeContext);
  drawBody(shapePainter, view);
  cairo_destroy(shapeContext);
  cairo_surface_flush(shape);

  if (side > 1) {
    // Only the alpha matters; the blur treats the four channels alike.
    unsigned char* data = cairo_image_surface_get_data(shape);
    const int stride = cairo_image_surface_get_stride(shape);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height), blurred;
    for (int y = 0; y < height; ++y) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(data + static_cast<std::size_t>(y) * stride);
      std::copy(row, row + width, pixels.begin() + static_cast<std::ptrdiff_t>(y) * width);
    }
    for (int pass = 0; pass < kShadowBlurPasses; ++pass) {
      if (boxConvolve8888(pixels, width, height, side, side, blurred) != kBoxConvolveNoError) break;
      pixels.swap(blurred);
    }
    for (int y = 0; y < height; ++y) {
      auto* row = reinterpret_cast<std::uint32_t*>(data + static_cast<std::size_t>(y) * stride);
      std::copy_n(pixels.begin() + static_cast<std::ptrdiff_t>(y) * width, width, row);
    }
    cairo_surface_mark_dirty(shape);
  }

  cairo_save(cr);
  cairo_translate(cr, layer.shadowOffset.width - margin, layer.shadowOffset.height - margin);
  cairo_scale(cr, 1 / scale, 1 / scale);
  painter.setColor(layer.shadowColor, layer.shadowOpacity);
  cairo_mask_surface(cr, shape, 0, 0);
  cairo_restore(cr);
  cairo_surface_destroy(shape);
}

void drawView(Painter& painter, const View& view, bool isRoot) {
  cairo_t* cr = painter.context();
  if (invisible(view)) return;
  const Layer& layer = view.layer();
  cairo_save(cr);
  if (!isRoot) cairo_translate(cr, view.frame().x(), view.frame().y());
  bool group = view.alpha() < 1;
  if (group) cairo_push_group(cr);

  if (layer.shadowOpacity > 0 && layer.shadowColor.alpha > 0) drawShadow(painter, view);
  drawBody(painter, view);

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

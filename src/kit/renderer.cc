#include "kit/renderer.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>

#include "kit/utf16.h"
#include "qdx/kit/ActivityIndicatorView.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"
#include "qdx/kit/PageControl.h"
#include "qdx/kit/Screen.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {
namespace {

// Bitmaps larger than this (in pixels per side) are refused.
constexpr int kMaxBitmapSide = 16384;

void setColor(cairo_t* cr, const Color& c, double extraAlpha = 1) {
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha * extraAlpha);
}

void roundedRect(cairo_t* cr, const Rect& r, double radius) {
  radius = std::clamp(radius, 0.0, std::min(r.width(), r.height()) / 2);
  if (radius <= 0) {
    cairo_rectangle(cr, r.x(), r.y(), r.width(), r.height());
    return;
  }
  constexpr double kPi = std::numbers::pi;
  cairo_new_sub_path(cr);
  cairo_arc(cr, r.maxX() - radius, r.y() + radius, radius, -kPi / 2, 0);
  cairo_arc(cr, r.maxX() - radius, r.maxY() - radius, radius, 0, kPi / 2);
  cairo_arc(cr, r.x() + radius, r.maxY() - radius, radius, kPi / 2, kPi);
  cairo_arc(cr, r.x() + radius, r.y() + radius, radius, kPi, 3 * kPi / 2);
  cairo_close_path(cr);
}

// --- Text ---------------------------------------------------------------

struct TextStyle {
  std::shared_ptr<Font> font;
  Color color = Color::black();
  TextAlignment alignment = TextAlignmentLeft;
  int lines = 1;
};

PangoLayout* makeLayout(cairo_t* cr, const AttributedString& text, const TextStyle& style,
                        double width) {
  PangoLayout* layout = pango_cairo_create_layout(cr);
  PangoFontDescription* desc = pango_font_description_new();
  auto font = style.font ? style.font : Font::systemFontOfSize(17);
  pango_font_description_set_family(desc, font->familyList().c_str());
  switch (font->weight()) {
    case FontWeight::Bold: pango_font_description_set_weight(desc, PANGO_WEIGHT_BOLD); break;
    case FontWeight::Light: pango_font_description_set_weight(desc, PANGO_WEIGHT_LIGHT); break;
    case FontWeight::Regular: break;
  }
  pango_font_description_set_absolute_size(desc, std::max(1.0, font->pointSize()) * PANGO_SCALE);
  pango_layout_set_font_description(layout, desc);
  pango_font_description_free(desc);

  const std::string& s = text.string();
  pango_layout_set_text(layout, s.c_str(), static_cast<int>(s.size()));
  if (!text.kerns().empty()) {
    PangoAttrList* attrs = pango_attr_list_new();
    for (const auto& k : text.kerns()) {
      PangoAttribute* a = pango_attr_letter_spacing_new(static_cast<int>(k.kern * PANGO_SCALE));
      a->start_index = static_cast<guint>(utf8OffsetOfUtf16Index(s, k.location));
      a->end_index = static_cast<guint>(utf8OffsetOfUtf16Index(s, k.location + k.length));
      pango_attr_list_insert(attrs, a);
    }
    pango_layout_set_attributes(layout, attrs);
    pango_attr_list_unref(attrs);
  }
  if (width > 0) {
    pango_layout_set_width(layout, static_cast<int>(width * PANGO_SCALE));
    if (style.lines == 0) {
      pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    } else {
      pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
      pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
      pango_layout_set_height(layout, -style.lines);
      if (style.lines == 1) pango_layout_set_single_paragraph_mode(layout, TRUE);
    }
  }
  PangoAlignment align = PANGO_ALIGN_LEFT;
  if (style.alignment == TextAlignmentCenter) align = PANGO_ALIGN_CENTER;
  if (style.alignment == TextAlignmentRight) align = PANGO_ALIGN_RIGHT;
  pango_layout_set_alignment(layout, align);
  return layout;
}

// Draws text in box, vertically centred as labels are.
void drawText(cairo_t* cr, const AttributedString& text, const TextStyle& style, const Rect& box) {
  if (text.string().empty()) return;
  PangoLayout* layout = makeLayout(cr, text, style, box.width());
  int w = 0, h = 0;
  pango_layout_get_size(layout, &w, &h);
  double textHeight = static_cast<double>(h) / PANGO_SCALE;
  cairo_save(cr);
  setColor(cr, style.color);
  cairo_move_to(cr, box.x(), box.y() + (box.height() - textHeight) / 2);
  pango_cairo_show_layout(cr, layout);
  cairo_restore(cr);
  g_object_unref(layout);
}

// --- Images -------------------------------------------------------------

void drawImage(cairo_t* cr, const Image& image, const Rect& box) {
  if (box.width() <= 0 || box.height() <= 0) return;
  int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, image.pixelWidth());
  if (stride != image.pixelWidth() * 4) return;
  auto* data = reinterpret_cast<unsigned char*>(
      const_cast<std::uint32_t*>(image.pixels().data()));
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      data, CAIRO_FORMAT_ARGB32, image.pixelWidth(), image.pixelHeight(), stride);
  cairo_save(cr);
  cairo_rectangle(cr, box.x(), box.y(), box.width(), box.height());
  cairo_clip(cr);
  cairo_translate(cr, box.x(), box.y());
  cairo_scale(cr, box.width() / image.pixelWidth(), box.height() / image.pixelHeight());
  cairo_set_source_surface(cr, surface, 0, 0);
  cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  cairo_paint(cr);
  cairo_restore(cr);
  cairo_surface_destroy(surface);
}

// The image fitted into box: centred, aspect kept, never enlarged.
Rect fitted(const Image& image, const Rect& box) {
  Size s = image.size();
  if (s.width <= 0 || s.height <= 0) return box;
  double k = std::min({1.0, box.width() / s.width, box.height() / s.height});
  double w = s.width * k, h = s.height * k;
  return Rect(box.midX() - w / 2, box.midY() - h / 2, w, h);
}

// --- Content of each kind of view ----------------------------------------

void drawButton(cairo_t* cr, const Button& button) {
  Rect b = button.bounds();
  Rect local(0, 0, b.width(), b.height());
  if (auto image = button.currentImage()) {
    drawImage(cr, *image, fitted(*image, insetRect(local, button.imageEdgeInsets())));
  }
  if (auto title = button.currentTitle(); title && !title->empty()) {
    TextStyle style{button.titleFont(), button.titleColorForState(button.state()),
                    TextAlignmentCenter, 1};
    drawText(cr, AttributedString(*title), style, insetRect(local, button.titleEdgeInsets()));
  }
}

void drawPageControl(cairo_t* cr, const PageControl& control) {
  long n = control.numberOfPages();
  if (n <= 0 || (n == 1 && control.hidesForSinglePage())) return;
  Rect b = control.bounds();
  double cx = b.width() / 2, cy = b.height() / 2;
  double first = cx - (n - 1) * PageControl::kDotSpacing / 2;
  for (long i = 0; i < n; ++i) {
    setColor(cr, i == control.currentPage() ? control.currentPageIndicatorTintColor()
                                            : control.pageIndicatorTintColor());
    cairo_arc(cr, first + i * PageControl::kDotSpacing, cy, PageControl::kDotDiameter / 2, 0,
              2 * std::numbers::pi);
    cairo_fill(cr);
  }
}

void drawSpinner(cairo_t* cr, const ActivityIndicatorView& spinner) {
  Rect b = spinner.bounds();
  double cx = b.width() / 2, cy = b.height() / 2;
  double outer = std::min(b.width(), b.height()) / 2;
  constexpr int kSpokes = 12;
  cairo_save(cr);
  cairo_set_line_width(cr, std::max(1.0, outer / 5));
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  for (int i = 0; i < kSpokes; ++i) {
    double angle = 2 * std::numbers::pi * i / kSpokes;
    setColor(cr, spinner.color(), 0.25 + 0.75 * i / kSpokes);
    cairo_move_to(cr, cx + std::cos(angle) * outer * 0.5, cy + std::sin(angle) * outer * 0.5);
    cairo_line_to(cr, cx + std::cos(angle) * outer * 0.9, cy + std::sin(angle) * outer * 0.9);
    cairo_stroke(cr);
  }
  cairo_restore(cr);
}

void drawContent(cairo_t* cr, const View& view) {
  Rect b = view.bounds();
  if (auto* imageView = dynamic_cast<const ImageView*>(&view)) {
    if (auto image = imageView->image()) drawImage(cr, *image, Rect(0, 0, b.width(), b.height()));
  } else if (auto* label = dynamic_cast<const Label*>(&view)) {
    TextStyle style{label->font(), label->textColor(), label->textAlignment(),
                    label->numberOfLines()};
    drawText(cr, label->attributedText(), style, Rect(0, 0, b.width(), b.height()));
  } else if (auto* button = dynamic_cast<const Button*>(&view)) {
    drawButton(cr, *button);
  } else if (auto* dots = dynamic_cast<const PageControl*>(&view)) {
    drawPageControl(cr, *dots);
  } else if (auto* spinner = dynamic_cast<const ActivityIndicatorView*>(&view)) {
    drawSpinner(cr, *spinner);
  }
}

bool invisible(const View& view) {
  if (view.isHidden() || view.alpha() <= 0) return true;
  if (auto* spinner = dynamic_cast<const ActivityIndicatorView*>(&view)) {
    return !spinner->isAnimating() && spinner->hidesWhenStopped();
  }
  return false;
}

void drawView(cairo_t* cr, const View& view, bool isRoot) {
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
      roundedRect(cr, Rect(shadow.x() - grow, shadow.y() - grow, shadow.width() + 2 * grow,
                           shadow.height() + 2 * grow),
                  layer.cornerRadius + grow);
      setColor(cr, layer.shadowColor, layer.shadowOpacity / rings);
      cairo_fill(cr);
    }
  }
  if (auto background = view.backgroundColor(); background && background->alpha > 0) {
    roundedRect(cr, local, layer.cornerRadius);
    setColor(cr, *background);
    cairo_fill(cr);
  }

  cairo_save(cr);
  if (layer.masksToBounds) {
    roundedRect(cr, local, layer.cornerRadius);
    cairo_clip(cr);
  }
  drawContent(cr, view);
  cairo_translate(cr, -b.x(), -b.y());
  for (const auto& child : view.subviews()) drawView(cr, *child, false);
  cairo_restore(cr);

  if (layer.borderWidth > 0 && layer.borderColor.alpha > 0) {
    double half = layer.borderWidth / 2;
    roundedRect(cr, Rect(half, half, b.width() - layer.borderWidth, b.height() - layer.borderWidth),
                std::max(0.0, layer.cornerRadius - half));
    cairo_set_line_width(cr, layer.borderWidth);
    setColor(cr, layer.borderColor);
    cairo_stroke(cr);
  }

  if (group) {
    cairo_pop_group_to_source(cr);
    cairo_paint_with_alpha(cr, view.alpha());
  }
  cairo_restore(cr);
}

// --- Alerts ---------------------------------------------------------------

void drawAlertBox(cairo_t* cr, const Rect& screen, const std::optional<std::string>& title,
                  const std::optional<std::string>& message,
                  const std::vector<std::string>& buttons) {
  constexpr double kWidth = 270, kButtonHeight = 44, kPad = 16;
  double textHeight = (title ? 24 : 0) + (message ? 36 : 0);
  double rows = buttons.size() == 2 ? 1 : static_cast<double>(buttons.size());
  double height = kPad * 2 + textHeight + rows * kButtonHeight;
  Rect box(screen.midX() - kWidth / 2, screen.midY() - height / 2, kWidth, height);
  roundedRect(cr, box, 13);
  setColor(cr, Color::rgba(0.97, 0.97, 0.97, 1));
  cairo_fill(cr);
  double y = box.y() + kPad;
  if (title) {
    TextStyle style{Font::boldSystemFontOfSize(17), Color::black(), TextAlignmentCenter, 1};
    drawText(cr, AttributedString(*title), style, Rect(box.x() + kPad, y, kWidth - 2 * kPad, 24));
    y += 24;
  }
  if (message) {
    TextStyle style{Font::systemFontOfSize(13), Color::black(), TextAlignmentCenter, 2};
    drawText(cr, AttributedString(*message), style, Rect(box.x() + kPad, y, kWidth - 2 * kPad, 36));
    y += 36;
  }
  y += kPad;
  TextStyle buttonStyle{Font::systemFontOfSize(17), Color::rgba(0, 122.0 / 255, 1, 1),
                        TextAlignmentCenter, 1};
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    Rect cell = buttons.size() == 2
                    ? Rect(box.x() + i * kWidth / 2, y, kWidth / 2, kButtonHeight)
                    : Rect(box.x(), y + i * kButtonHeight, kWidth, kButtonHeight);
    setColor(cr, Color::rgba(0.8, 0.8, 0.8, 1));
    cairo_rectangle(cr, cell.x(), cell.y(), cell.width(), 0.5);
    cairo_fill(cr);
    drawText(cr, AttributedString(buttons[i]), buttonStyle, cell);
  }
}

void drawPresented(cairo_t* cr, const Window& window) {
  auto root = window.rootViewController();
  for (auto vc = root ? root->presentedViewController() : nullptr; vc;
       vc = vc->presentedViewController()) {
    drawView(cr, *vc->view(), false);
    if (auto* alert = dynamic_cast<AlertController*>(vc.get())) {
      std::vector<std::string> titles;
      for (const auto& action : alert->actions()) titles.push_back(action->title().value_or(""));
      drawAlertBox(cr, window.bounds(), alert->title(), alert->message(), titles);
    }
  }
}

void drawAlertViews(cairo_t* cr, const Window& window) {
  auto& app = Application::sharedApplication();
  if (app.keyWindow().get() != &window) return;
  for (const auto& alert : app.visibleAlertViews()) {
    setColor(cr, Color::rgba(0, 0, 0, 0.4));
    cairo_paint(cr);
    drawAlertBox(cr, window.bounds(), alert->title(), alert->message(), alert->buttonTitles());
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
  drawView(cr, *view, true);
  if (auto* window = dynamic_cast<const Window*>(view.get()); window && !invisible(*window)) {
    drawPresented(cr, *window);
    drawAlertViews(cr, *window);
  }
  cairo_destroy(cr);
  cairo_surface_flush(surface);
  return surface;
}

}  // namespace

std::shared_ptr<Image> renderImage(const std::shared_ptr<View>& view, double scale) {
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
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(png.data(), static_cast<std::streamsize>(png.size()));
  return static_cast<bool>(out);
}

}  // namespace qdx::kit

#include "kit/painter.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <numbers>

#include "kit/utf16.h"

namespace qdx::kit {
namespace {

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

}  // namespace

void Painter::setColor(const Color& c, double extraAlpha) {
  cairo_set_source_rgba(cr_, c.red, c.green, c.blue, c.alpha * extraAlpha);
}

void Painter::roundedRect(const Rect& r, double radius) {
  cairo_t* cr = cr_;
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

void Painter::drawText(const AttributedString& text, const TextStyle& style, const Rect& box) {
  cairo_t* cr = cr_;
  if (text.string().empty()) return;
  PangoLayout* layout = makeLayout(cr, text, style, box.width());
  int w = 0, h = 0;
  pango_layout_get_size(layout, &w, &h);
  double textHeight = static_cast<double>(h) / PANGO_SCALE;
  cairo_save(cr);
  setColor(style.color);
  cairo_move_to(cr, box.x(), box.y() + (box.height() - textHeight) / 2);
  pango_cairo_show_layout(cr, layout);
  cairo_restore(cr);
  g_object_unref(layout);
}

// --- Images -------------------------------------------------------------

void Painter::drawImage(const Image& image, const Rect& box) {
  cairo_t* cr = cr_;
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

Rect Painter::fitted(const Image& image, const Rect& box) {
  Size s = image.size();
  if (s.width <= 0 || s.height <= 0) return box;
  double k = std::min({1.0, box.width() / s.width, box.height() / s.height});
  double w = s.width * k, h = s.height * k;
  return Rect(box.midX() - w / 2, box.midY() - h / 2, w, h);
}

void Painter::fill() { cairo_fill(cr_); }

}  // namespace qdx::kit

#include "kit/painter.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/utf8.h"

namespace qdx::kit {
namespace {

// U+034F, in UTF-8.
constexpr char kCombiningGraphemeJoiner[] = "\xCD\x8F";

// The kern after the character at UTF-16 index unit: the last range added
// over it wins, as attributes set later replace earlier ones.
double kernAt(const AttributedString& text, std::size_t unit) {
  double kern = 0;
  for (const auto& k : text.kerns()) {
    if (unit >= k.location && unit - k.location < k.length) kern = k.kern;
  }
  return kern;
}

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

  // Kerning widens each kerned character's advance by its kern, the gap
  // after the last kerned one included. pango's letter spacing would put
  // half of it on each side of a character and halve it again at the edge
  // of a run, so a title kerned on all but its last character would come
  // out with an uneven last gap. Each kerned character is followed instead
  // by a combining grapheme joiner shaped as an empty box the kern's width:
  // invisible, and transparent to line breaking and cursor movement.
  std::string shown;
  PangoAttrList* attrs = nullptr;
  const std::string& s = text.string();
  if (text.kerns().empty()) {
    shown = s;
  } else {
    attrs = pango_attr_list_new();
    std::size_t unit = 0;
    bool valid = true;
    for (std::size_t i = 0; i < s.size();) {
      const std::size_t start = i;
      const std::size_t units = utf8::utf16Units(utf8::nextCodePoint(s.data(), s.size(), i, &valid));
      shown.append(s, start, i - start);
      if (const double kern = kernAt(text, unit); kern != 0) {
        PangoRectangle ink{0, 0, 0, 0};
        PangoRectangle logical{0, 0, static_cast<int>(std::lround(kern * PANGO_SCALE)), 0};
        PangoAttribute* box = pango_attr_shape_new(&ink, &logical);
        box->start_index = static_cast<guint>(shown.size());
        shown += kCombiningGraphemeJoiner;
        box->end_index = static_cast<guint>(shown.size());
        pango_attr_list_insert(attrs, box);
      }
      unit += units;
    }
  }
  pango_layout_set_text(layout, shown.c_str(), static_cast<int>(shown.size()));
  if (attrs) {
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

#include "artwork.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <charconv>
#include <cmath>

#include "ad_catalog.h"

namespace qdx::server {
namespace {

struct Rgb {
  double r, g, b;
};

// A colour per catalog number, so neighbouring cards differ.
Rgb paletteColor(int number) {
  static const Rgb kPalette[] = {{0.23, 0.48, 0.84}, {0.91, 0.31, 0.47}, {1.0, 0.5, 0.0},
                                 {0.15, 0.68, 0.38}, {0.56, 0.27, 0.68}, {0.95, 0.61, 0.07},
                                 {0.09, 0.63, 0.52}, {0.75, 0.22, 0.17}};
  return kPalette[static_cast<unsigned>(number - 1) % (sizeof kPalette / sizeof kPalette[0])];
}

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// Draws with paint on a width x height canvas and returns the PNG bytes
// ("" if cairo failed).
template <typename Paint>
std::string drawPng(int width, int height, Paint paint) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_t* cr = cairo_create(surface);
  paint(cr);
  cairo_destroy(cr);
  std::string png;
  cairo_surface_write_to_png_stream(surface, appendToString, &png);
  cairo_surface_destroy(surface);
  return png;
}

void centeredText(cairo_t* cr, const std::string& text, double x, double y, double size) {
  cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(cr, size);
  cairo_text_extents_t extents;
  cairo_text_extents(cr, text.c_str(), &extents);
  cairo_move_to(cr, x - extents.width / 2 - extents.x_bearing,
                y - extents.height / 2 - extents.y_bearing);
  cairo_show_text(cr, text.c_str());
}

// Draws text (any script: the names are Chinese) centred at (x, y) in the
// current colour, with an installed sans-serif face at size pixels.
void centeredName(cairo_t* cr, const std::string& text, double x, double y, double size) {
  PangoLayout* layout = pango_cairo_create_layout(cr);
  PangoFontDescription* font = pango_font_description_from_string("sans-serif bold");
  pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
  pango_layout_set_font_description(layout, font);
  pango_font_description_free(font);
  pango_layout_set_text(layout, text.c_str(), static_cast<int>(text.size()));
  int width = 0, height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  cairo_move_to(cr, x - width / 2.0, y - height / 2.0);
  pango_cairo_show_layout(cr, layout);
  g_object_unref(layout);
}

std::string catalogImage(const std::string& kind, int number) {
  Rgb color = paletteColor(number);
  std::string label = kind + " " + std::to_string(number);
  int width = 720, height = 110;
  if (kind == "wall") width = 640, height = 470;
  if (kind == "icon") width = 120, height = 120;
  return drawPng(width, height, [&](cairo_t* cr) {
    cairo_set_source_rgb(cr, color.r, color.g, color.b);
    if (kind == "icon") {
      double radius = 24;
      cairo_new_sub_path(cr);
      cairo_arc(cr, width - radius, radius, radius, -M_PI / 2, 0);
      cairo_arc(cr, width - radius, height - radius, radius, 0, M_PI / 2);
      cairo_arc(cr, radius, height - radius, radius, M_PI / 2, M_PI);
      cairo_arc(cr, radius, radius, radius, M_PI, 3 * M_PI / 2);
      cairo_close_path(cr);
      cairo_fill(cr);
    } else {
      cairo_paint(cr);
      cairo_set_source_rgba(cr, 1, 1, 1, 0.25);
      cairo_rectangle(cr, 0, height * 0.7, width, height * 0.3);
      cairo_fill(cr);
    }
    // The app's name on the artwork, its number and kind on the band below
    // (the icon: its number only), so screenshots show which app is which.
    cairo_set_source_rgb(cr, 1, 1, 1);
    if (kind == "icon") {
      centeredText(cr, std::to_string(number), width / 2.0, height / 2.0, 28);
    } else {
      const double nameSize = kind == "wall" ? 64 : 44;
      centeredName(cr, catalogAppName(number), width / 2.0, height * 0.38, nameSize);
      centeredText(cr, label, width / 2.0, height * 0.85, kind == "wall" ? 36 : 22);
    }
  });
}

// A round close button with a cross, like the SDK's own close images.
std::string closeButton(int side) {
  return drawPng(side, side, [&](cairo_t* cr) {
    cairo_set_source_rgba(cr, 0, 0, 0, 0.6);
    cairo_arc(cr, side / 2.0, side / 2.0, side / 2.0 - 1, 0, 2 * M_PI);
    cairo_fill(cr);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_set_line_width(cr, side / 12.0);
    double inset = side * 0.3;
    cairo_move_to(cr, inset, inset);
    cairo_line_to(cr, side - inset, side - inset);
    cairo_move_to(cr, side - inset, inset);
    cairo_line_to(cr, inset, side - inset);
    cairo_stroke(cr);
  });
}

std::string sdkImage(const std::string& path) {
  if (path == "images/close120.png") return closeButton(120);
  if (path == "recommend/images/close.png") return closeButton(60);
  if (path == "images/guess_u_like.png") {
    return drawPng(240, 60, [](cairo_t* cr) {
      cairo_set_source_rgb(cr, 1.0, 0.5, 0.0);
      cairo_paint(cr);
      cairo_set_source_rgb(cr, 1, 1, 1);
      centeredText(cr, "Guess you like", 120, 30, 24);
    });
  }
  if (path == "images/btn_arrow_bg.png") {
    return drawPng(80, 80, [](cairo_t* cr) {
      cairo_set_source_rgba(cr, 0, 0, 0, 0.35);
      cairo_arc(cr, 40, 40, 39, 0, 2 * M_PI);
      cairo_fill(cr);
      cairo_set_source_rgb(cr, 1, 1, 1);
      cairo_set_line_width(cr, 6);
      cairo_move_to(cr, 32, 22);
      cairo_line_to(cr, 50, 40);
      cairo_line_to(cr, 32, 58);
      cairo_stroke(cr);
    });
  }
  return "";
}

// "assets/<kind>/<n>.png" -> kind and n; false for anything else.
bool parseCatalogPath(const std::string& path, std::string& kind, int& number) {
  const std::string prefix = "assets/";
  if (path.rfind(prefix, 0) != 0) return false;
  auto slash = path.find('/', prefix.size());
  if (slash == std::string::npos) return false;
  kind = path.substr(prefix.size(), slash - prefix.size());
  if (kind != "banner" && kind != "wall" && kind != "icon") return false;
  std::string file = path.substr(slash + 1);
  const std::string suffix = ".png";
  if (file.size() <= suffix.size() || file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0) {
    return false;
  }
  std::string digits = file.substr(0, file.size() - suffix.size());
  auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return ec == std::errc() && ptr == digits.data() + digits.size();
}

}  // namespace

std::optional<std::string> Artwork::pngFor(const std::string& path, int catalogSize) {
  std::string kind;
  int number = 0;
  bool catalog = parseCatalogPath(path, kind, number);
  if (catalog && (number < 1 || number > catalogSize)) return std::nullopt;
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = drawn_.find(path);
  if (found != drawn_.end()) return found->second;
  std::string png = catalog ? catalogImage(kind, number) : sdkImage(path);
  if (png.empty()) return std::nullopt;
  drawn_[path] = png;
  return png;
}

}  // namespace qdx::server

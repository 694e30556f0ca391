#include "kit/plain_backdrop.h"

#include <cairo.h>

#include <algorithm>

#include "kit/painter.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

bool meets(const Rect& a, const Rect& b) {
  return std::min(a.maxX(), b.maxX()) > std::max(a.x(), b.x()) &&
         std::min(a.maxY(), b.maxY()) > std::max(a.y(), b.y());
}

// Whether area lies inside rect, inset by inset on every side and clear of
// the corners radius rounds. A rounded rectangle holds the two crossed
// rectangles inset by the radius along one axis each.
bool insideRounded(const Rect& rect, double inset, double radius, const Rect& area) {
  radius = std::clamp(radius, 0.0, std::min(rect.width(), rect.height()) / 2);
  auto within = [&](double insetX, double insetY) {
    return area.x() >= rect.x() + insetX && area.maxX() <= rect.maxX() - insetX &&
           area.y() >= rect.y() + insetY && area.maxY() <= rect.maxY() - insetY;
  };
  return within(inset + radius, inset) || within(inset, inset + radius);
}

// Whether view's own content, drawn at origin, puts ink on area. The
// content is recorded, not drawn, and the recording measured.
bool inksOver(const View& view, Point origin, double scale, const Rect& area) {
  cairo_surface_t* recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
  cairo_t* cr = cairo_create(recording);
  cairo_scale(cr, scale, scale);
  cairo_translate(cr, origin.x, origin.y);
  Painter painter(cr);
  view.drawContent(painter);
  cairo_destroy(cr);
  double x = 0, y = 0, width = 0, height = 0;
  cairo_recording_surface_ink_extents(recording, &x, &y, &width, &height);
  const bool failed = cairo_surface_status(recording) != CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(recording);
  if (failed) return true;  // unknown ink: assume the worst
  if (!(width > 0 && height > 0)) return false;
  // In points, a pixel wider all round for antialiased edges.
  Rect inked((x - 1) / scale, (y - 1) / scale, (width + 2) / scale, (height + 2) / scale);
  return meets(inked, area);
}

}  // namespace

bool drawsPlainOver(const View& view, Point origin, double scale, const Rect& area) {
  const Layer& layer = view.layer();
  const Rect rect(origin, view.bounds().size);
  if (layer.shadowOpacity > 0 && layer.shadowColor.alpha > 0) return false;
  auto background = view.backgroundColor();
  if (background && background->alpha > 0 && !insideRounded(rect, 0, layer.cornerRadius, area)) return false;
  if (layer.masksToBounds && layer.cornerRadius > 0 && !insideRounded(rect, 0, layer.cornerRadius, area)) {
    return false;
  }
  if (layer.borderWidth > 0 && layer.borderColor.alpha > 0 && meets(rect, area) &&
      !insideRounded(rect, layer.borderWidth, layer.cornerRadius, area)) {
    return false;
  }
  return !inksOver(view, origin, scale, area);
}

bool coversOpaquely(const View& view, Point origin, const Rect& area) {
  auto background = view.backgroundColor();
  return background && background->alpha >= 1 &&
         insideRounded(Rect(origin, view.bounds().size), 0, view.layer().cornerRadius, area);
}

}  // namespace qdx::kit

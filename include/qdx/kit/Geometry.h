#pragma once
// Plane geometry in points: the coordinate system of views. The origin is
// the top left corner, x grows to the right and y downwards.
#include "qdx/QDXExport.h"

namespace qdx::kit {

struct QDX_EXPORT Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct QDX_EXPORT Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct QDX_EXPORT Rect {
  Point origin;
  Size size;

  constexpr Rect() = default;
  constexpr Rect(double x, double y, double width, double height)
      : origin{x, y}, size{width, height} {}
  constexpr Rect(Point o, Size s) : origin(o), size(s) {}

  constexpr double x() const { return origin.x; }
  constexpr double y() const { return origin.y; }
  constexpr double width() const { return size.width; }
  constexpr double height() const { return size.height; }
  constexpr double maxX() const { return origin.x + size.width; }
  constexpr double maxY() const { return origin.y + size.height; }
  constexpr double midX() const { return origin.x + size.width / 2; }
  constexpr double midY() const { return origin.y + size.height / 2; }

  // True when p lies inside; the right and bottom edges are outside, so
  // neighbouring rectangles never both contain a point.
  constexpr bool contains(Point p) const {
    return p.x >= origin.x && p.y >= origin.y && p.x < maxX() && p.y < maxY();
  }
  friend bool operator==(const Rect&, const Rect&) = default;
};

struct QDX_EXPORT EdgeInsets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;
  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

// r with its edges moved inwards by insets (negative insets grow it).
constexpr Rect insetRect(const Rect& r, const EdgeInsets& insets) {
  return Rect(r.x() + insets.left, r.y() + insets.top,
              r.width() - insets.left - insets.right,
              r.height() - insets.top - insets.bottom);
}

}  // namespace qdx::kit

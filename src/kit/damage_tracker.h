#pragma once
// Finds what changed on screen between two draws of a surface: it keeps,
// for every view drawn last time, where it was drawn and how (its place,
// clip, alpha, stacking and content version), walks the scene again and
// marks dirty the old and new areas of each view that differs, of each
// view that went, and of each alert that came or went.
//
// A scroll view that only scrolled, by whole pixels, over a plain
// backdrop is not marked whole: its drawn pixels are moved instead (a
// shift), and only the band the move uncovers, the clip's partly covered
// edge pixels and whatever else overlaps it (in place, and where the move
// carried it) are marked. Main thread only.
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "qdx/kit/Geometry.h"

namespace qdx::kit {

class View;

// A rectangle of whole pixels.
struct PixelRect {
  int x = 0, y = 0, width = 0, height = 0;
  bool empty() const { return width <= 0 || height <= 0; }
  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

// Pixels to move inside the bitmap: every pixel of `to` takes the value of
// the pixel dx, dy before it (to.x - dx, to.y - dy), all read before any is
// written. The source lies inside the bitmap too.
struct PixelShift {
  PixelRect to;
  int dx = 0, dy = 0;
  friend bool operator==(const PixelShift&, const PixelShift&) = default;
};

// What a draw must do to bring the last frame up to date: the shifts
// first, in order, then a repaint of each dirty rectangle.
struct Damage {
  std::vector<PixelShift> shifts;
  std::vector<PixelRect> dirty;
  bool empty() const { return shifts.empty() && dirty.empty(); }
};

class DamageTracker {
 public:
  // Walks root (drawn at scale into width x height pixels) and returns
  // what differs from the last call's frame: the dirty pixel areas merged
  // into a few rectangles inside the bitmap, and the shifts that bring
  // scrolled content to its new place. After forget(), everything is
  // dirty and nothing shifts.
  Damage collect(const View& root, double scale, int width, int height);
  // Forgets the last frame.
  void forget();

 private:
  // How a view was drawn: what two frames compare.
  struct Look {
    const View* parent;
    std::uint64_t version;
    Rect area;  // root points, clipped
    Point origin;
    Size size;
    Point boundsOrigin;
    double alpha;
    double inheritedAlpha;
    std::size_t index;
    std::size_t depth;
    // The nearest ancestor casting a shadow: its shadow takes the shape of
    // its children, so it changes with them.
    const View* shadowAbove;
    bool operator==(const Look&) const = default;
  };
  struct Record {
    Look look;
    // The view's place in the walk: the count of views entered before it
    // (first) and before its leave (last), so its descendants are the
    // views with first in (first, last).
    std::size_t first = 0;
    std::size_t last = 0;
  };
  struct Overlay {
    Rect area;
    std::string text;
    bool operator==(const Overlay&) const = default;
  };
  friend class DamageVisitor;

  bool fresh_ = true;
  std::unordered_map<const View*, Record> records_;
  std::vector<Overlay> overlays_;
};

// Merges rects (overlapping or near ones join) into at most maxCount
// rectangles covering them all.
std::vector<PixelRect> mergeRects(std::vector<PixelRect> rects, std::size_t maxCount);

}  // namespace qdx::kit

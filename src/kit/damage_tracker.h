#pragma once
// Finds what changed on screen between two draws of a surface: it keeps,
// for every view drawn last time, where it was drawn and how (its place,
// clip, alpha, stacking and content version), walks the scene again and
// marks dirty the old and new areas of each view that differs, of each
// view that went, and of each alert that came or went. Main thread only.
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

class DamageTracker {
 public:
  // Walks root (drawn at scale into width x height pixels) and returns the
  // pixel areas that differ from the last call's, merged into a few
  // rectangles inside the bitmap. After forget(), everything differs.
  std::vector<PixelRect> collect(const View& root, double scale, int width, int height);
  // Forgets the last frame.
  void forget();

 private:
  struct Record {
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
    bool operator==(const Record&) const = default;
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

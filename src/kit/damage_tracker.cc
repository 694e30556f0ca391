#include "kit/damage_tracker.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "kit/plain_backdrop.h"
#include "kit/scene.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

// More rectangles than this are merged: each costs a pass of the tree.
constexpr std::size_t kMaxDamageRects = 8;
// A move this close to a whole number of pixels is one.
constexpr double kWholePixel = 1e-6;
// Places this close (in points) are the same: sums of the same numbers in
// another order differ in their last bits.
constexpr double kSamePlace = 1e-7;

Rect intersect(const Rect& a, const Rect& b) {
  double x0 = std::max(a.x(), b.x()), y0 = std::max(a.y(), b.y());
  double x1 = std::min(a.maxX(), b.maxX()), y1 = std::min(a.maxY(), b.maxY());
  return Rect(x0, y0, std::max(0.0, x1 - x0), std::max(0.0, y1 - y0));
}

Rect moved(const Rect& r, Point by) { return Rect(r.x() + by.x, r.y() + by.y, r.width(), r.height()); }

PixelRect unite(const PixelRect& a, const PixelRect& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  int x0 = std::min(a.x, b.x), y0 = std::min(a.y, b.y);
  int x1 = std::max(a.x + a.width, b.x + b.width), y1 = std::max(a.y + a.height, b.y + b.height);
  return {x0, y0, x1 - x0, y1 - y0};
}

PixelRect intersect(const PixelRect& a, const PixelRect& b) {
  int x0 = std::max(a.x, b.x), y0 = std::max(a.y, b.y);
  int x1 = std::min(a.x + a.width, b.x + b.width), y1 = std::min(a.y + a.height, b.y + b.height);
  if (x1 <= x0 || y1 <= y0) return {};
  return {x0, y0, x1 - x0, y1 - y0};
}

// Appends the parts of a outside b (at most four rectangles).
void subtract(const PixelRect& a, const PixelRect& b, std::vector<PixelRect>& out) {
  PixelRect common = intersect(a, b);
  if (common.empty()) {
    if (!a.empty()) out.push_back(a);
    return;
  }
  const int aBottom = a.y + a.height, cBottom = common.y + common.height;
  const int aRight = a.x + a.width, cRight = common.x + common.width;
  auto add = [&](PixelRect r) {
    if (!r.empty()) out.push_back(r);
  };
  add({a.x, a.y, a.width, common.y - a.y});
  add({a.x, cBottom, a.width, aBottom - cBottom});
  add({a.x, common.y, common.x - a.x, common.height});
  add({cRight, common.y, aRight - cRight, common.height});
}

long long area(const PixelRect& r) { return static_cast<long long>(r.width) * r.height; }

// A scroll view that only scrolled since the last frame, by whole pixels:
// its drawn content may be moved rather than drawn again.
struct ScrollMove {
  const View* view;
  Point delta;      // how far its content moved, in points
  int dx, dy;       // the same in pixels
  PixelRect inner;  // the pixels wholly inside its clip
  PixelRect outer;  // the pixels its clip touches
  // Stays true while every view drawn inside it only moved with it.
  bool valid;
  // The deepest of it and its ancestors whose background hides everything
  // drawn before it inside the clip, or nullptr.
  const View* floor;
};

}  // namespace

// Compares each view the walk reaches with its record.
class DamageVisitor : public SceneVisitor {
 public:
  DamageVisitor(DamageTracker& tracker, double scale, int width, int height)
      : tracker_(tracker), scale_(scale), width_(width), height_(height) {}

  void enter(const SceneView& item) override {
    const View& view = *item.view;
    Rect extent = visualExtent(view);
    Rect area = intersect(Rect(item.origin.x + extent.x(), item.origin.y + extent.y(), extent.width(),
                               extent.height()),
                          item.clip);
    DamageTracker::Look look{parents_.empty() ? nullptr : parents_.back(),
                             view.contentVersion(),
                             area,
                             item.origin,
                             view.bounds().size,
                             view.bounds().origin,
                             item.alpha,
                             item.inheritedAlpha,
                             item.index,
                             item.depth,
                             shadowed_.empty() ? nullptr : shadowed_.back()};
    const std::size_t first = entered_++;
    auto found = tracker_.records_.find(&view);
    const DamageTracker::Look* old = found == tracker_.records_.end() ? nullptr : &found->second.look;
    bool changed = false;
    bool scrolled = false;
    if (moving_) {
      // Inside a scrolled view every view must have moved with it, or the
      // scroll view is drawn again whole (when the walk ends). A view that
      // came in from elsewhere also clears where it was.
      ScrollMove& move = moves_[*moving_];
      if (changedAbove_.back() || !old || !movedBy(*old, look, move.delta)) {
        move.valid = false;
        changed = true;
        if (old) damage(old->area);
        damage(area);
      }
    } else {
      changed = (!changedAbove_.empty() && changedAbove_.back()) || !old || !(*old == look);
      if (changed && old && !(!changedAbove_.empty() && changedAbove_.back()) && onlyScrolled(*old, look)) {
        scrolled = startMove(item, *old);
      }
      if (scrolled) {
        changed = false;
      } else if (changed) {
        if (old) damage(old->area);
        damage(area);
      }
    }
    next_[&view] = DamageTracker::Record{look, first, 0};
    changedAbove_.push_back(changed);
    // A scroll reshapes the shadows above it, like any change.
    subtreeChanged_.push_back(changed || scrolled);
    parents_.push_back(&view);
    path_.push_back(item);
    if (castsShadow(view)) shadowed_.push_back(&view);
  }

  void leave(const SceneView& item) override {
    const View& view = *item.view;
    next_[&view].last = entered_;
    if (moving_ && moves_[*moving_].view == &view) moving_.reset();
    bool changed = subtreeChanged_.back();
    if (castsShadow(view)) {
      shadowed_.pop_back();
      // A change below reshapes this view's shadow, all round it.
      if (changed) damageShadow(&view);
    }
    changedAbove_.pop_back();
    subtreeChanged_.pop_back();
    parents_.pop_back();
    path_.pop_back();
    if (changed && !subtreeChanged_.empty()) subtreeChanged_.back() = true;
  }

  void dim(const Rect& window) override { overlays_.push_back({window, "dim"}); }

  void alertBox(const AlertBox& box) override {
    std::string text = box.title.value_or("") + '\n' + box.message.value_or("");
    for (const auto& b : box.buttons) text += '\n' + b;
    overlays_.push_back({box.box, text});
  }

  // Ends the walk: views not reached went, overlays are compared whole,
  // and each scroll either becomes a shift or is drawn again.
  Damage finish() {
    for (const auto& [view, record] : tracker_.records_) {
      if (next_.contains(view)) continue;
      damage(record.look.area);
      // The shadows it helped shape, as they were and as they are.
      for (const View* above = record.look.shadowAbove; above != nullptr;) {
        damageShadow(above);
        auto old = tracker_.records_.find(above);
        above = old == tracker_.records_.end() ? nullptr : old->second.look.shadowAbove;
      }
    }
    if (overlays_ != tracker_.overlays_) {
      for (const auto& o : tracker_.overlays_) damage(o.area);
      for (const auto& o : overlays_) damage(o.area);
    }
    Damage result;
    for (const ScrollMove& move : moves_) {
      if (auto shift = settle(move)) result.shifts.push_back(*shift);
    }
    tracker_.records_ = std::move(next_);
    tracker_.overlays_ = std::move(overlays_);
    result.dirty = std::move(damage_);
    return result;
  }

 private:
  static bool castsShadow(const View& view) {
    return view.layer().shadowOpacity > 0 && view.layer().shadowColor.alpha > 0;
  }

  // Whether a view's look differs from its last only by its scroll.
  static bool onlyScrolled(const DamageTracker::Look& old, const DamageTracker::Look& now) {
    DamageTracker::Look expected = old;
    expected.boundsOrigin = now.boundsOrigin;
    return expected == now;
  }

  // Whether a view inside a scrolled one only moved with it, by delta.
  static bool movedBy(const DamageTracker::Look& old, const DamageTracker::Look& now, Point delta) {
    DamageTracker::Look expected = old;
    // Its area follows from its place, its look and the clips above it,
    // which are checked on the way down.
    expected.origin = now.origin;
    expected.area = now.area;
    return expected == now && std::abs(old.origin.x + delta.x - now.origin.x) <= kSamePlace &&
           std::abs(old.origin.y + delta.y - now.origin.y) <= kSamePlace;
  }

  // The pixels wholly inside area (root points), within the bitmap.
  PixelRect pixelsInside(const Rect& area) const {
    return pixelSpan(std::ceil(area.x() * scale_), std::ceil(area.y() * scale_), std::floor(area.maxX() * scale_),
                     std::floor(area.maxY() * scale_));
  }
  // The pixels area touches, within the bitmap.
  PixelRect pixelsTouched(const Rect& area) const {
    return pixelSpan(std::floor(area.x() * scale_), std::floor(area.y() * scale_), std::ceil(area.maxX() * scale_),
                     std::ceil(area.maxY() * scale_));
  }
  PixelRect pixelSpan(double x0, double y0, double x1, double y1) const {
    x0 = std::clamp(x0, 0.0, static_cast<double>(width_));
    y0 = std::clamp(y0, 0.0, static_cast<double>(height_));
    x1 = std::clamp(x1, 0.0, static_cast<double>(width_));
    y1 = std::clamp(y1, 0.0, static_cast<double>(height_));
    if (x1 <= x0 || y1 <= y0) return {};
    return {static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1 - x0), static_cast<int>(y1 - y0)};
  }
  Rect points(const PixelRect& r) const {
    return Rect(r.x / scale_, r.y / scale_, r.width / scale_, r.height / scale_);
  }

  // item's view only scrolled since old: starts moving its pixels when the
  // scroll is whole pixels, its clip a rectangle and everything drawn
  // under and around its content there plain. False to draw it again.
  bool startMove(const SceneView& item, const DamageTracker::Look& old) {
    const View& view = *item.view;
    // A shadow above takes the content's shape: it is drawn again anyway.
    if (!view.clipsToBounds() || !shadowed_.empty()) return false;
    const Point delta{old.boundsOrigin.x - view.bounds().origin.x, old.boundsOrigin.y - view.bounds().origin.y};
    const double px = delta.x * scale_, py = delta.y * scale_;
    if (std::abs(px - std::round(px)) > kWholePixel || std::abs(py - std::round(py)) > kWholePixel) return false;
    const int dx = static_cast<int>(std::lround(px)), dy = static_cast<int>(std::lround(py));
    if (dx == 0 && dy == 0) return false;
    const Rect clip = intersect(item.clip, Rect(item.origin, view.bounds().size));
    const PixelRect inner = pixelsInside(clip);
    if (intersect(inner, PixelRect{inner.x + dx, inner.y + dy, inner.width, inner.height}).empty()) return false;
    const Rect plain = points(inner);
    for (const SceneView& above : path_) {
      if (!drawsPlainOver(*above.view, above.origin, scale_, plain)) return false;
    }
    if (!drawsPlainOver(view, item.origin, scale_, plain)) return false;
    // What lies under an opaque background drawn straight onto the bitmap
    // (in no translucent group) cannot show through the moved pixels.
    const View* floor = nullptr;
    for (auto at = path_.size() + 1; at-- > 0 && floor == nullptr;) {
      const SceneView& under = at == path_.size() ? item : path_[at];
      if (under.alpha >= 1 && under.inheritedAlpha >= 1 && coversOpaquely(*under.view, under.origin, plain)) {
        floor = under.view;
      }
    }
    moves_.push_back(ScrollMove{&view, delta, dx, dy, inner, pixelsTouched(clip), true, floor});
    moving_ = moves_.size() - 1;
    return true;
  }

  // Turns a scroll into a shift and the damage around it, or, when
  // something inside the scroll view did more than move, marks its whole
  // area dirty.
  std::optional<PixelShift> settle(const ScrollMove& move) {
    const DamageTracker::Record& before = tracker_.records_.at(move.view);
    const DamageTracker::Record& now = next_.at(move.view);
    // Each view inside moved with it (checked on the walk); as many as
    // before means none left or hid.
    if (!move.valid || before.last - before.first != now.last - now.first) {
      damage(now.look.area);
      return std::nullopt;
    }
    const PixelRect kept =
        intersect(move.inner, PixelRect{move.inner.x + move.dx, move.inner.y + move.dy, move.inner.width,
                                        move.inner.height});
    // The clip's edge pixels mix moving content with what stays, and the
    // band the move uncovers has no source.
    subtract(move.outer, move.inner, damage_);
    subtract(move.inner, kept, damage_);
    // Whatever else overlaps the clip is drawn again where it is, and where
    // the shift carried what it left in the last frame; views drawn before
    // the floor are hidden there, then as now.
    const Rect inner = points(move.inner);
    const std::size_t floorNow = move.floor ? next_.at(move.floor).first : 0;
    const std::size_t floorBefore = move.floor ? tracker_.records_.at(move.floor).first : 0;
    for (const auto& [view, record] : next_) {
      if (record.first >= floorNow && apart(record, now)) damage(intersect(record.look.area, inner));
    }
    for (const auto& [view, record] : tracker_.records_) {
      if (record.first >= floorBefore && apart(record, before)) {
        damage(moved(intersect(record.look.area, inner), move.delta));
      }
    }
    for (const auto& o : overlays_) damage(intersect(o.area, inner));
    for (const auto& o : tracker_.overlays_) damage(moved(intersect(o.area, inner), move.delta));
    return PixelShift{kept, move.dx, move.dy};
  }

  // Whether record is neither scrolled (the view itself or inside it) nor
  // one of its ancestors, in the same walk.
  static bool apart(const DamageTracker::Record& record, const DamageTracker::Record& scrolled) {
    const bool inside = record.first >= scrolled.first && record.first < scrolled.last;
    const bool ancestor = record.first < scrolled.first && record.last >= scrolled.last;
    return !inside && !ancestor;
  }

  // Marks view's whole area dirty, where it was and where it is.
  void damageShadow(const View* view) {
    if (auto old = tracker_.records_.find(view); old != tracker_.records_.end()) damage(old->second.look.area);
    if (auto now = next_.find(view); now != next_.end()) damage(now->second.look.area);
  }

  // Marks area (root points) dirty, in whole pixels inside the bitmap; a
  // pixel of margin covers antialiased edges.
  void damage(const Rect& area) {
    if (!(area.width() > 0 && area.height() > 0)) return;
    PixelRect r = pixelSpan(std::floor(area.x() * scale_) - 1, std::floor(area.y() * scale_) - 1,
                            std::ceil(area.maxX() * scale_) + 1, std::ceil(area.maxY() * scale_) + 1);
    if (!r.empty()) damage_.push_back(r);
  }

  DamageTracker& tracker_;
  double scale_;
  int width_, height_;
  std::size_t entered_ = 0;
  std::vector<bool> changedAbove_;
  std::vector<bool> subtreeChanged_;
  std::vector<const View*> shadowed_;
  std::vector<const View*> parents_;
  std::vector<SceneView> path_;
  std::unordered_map<const View*, DamageTracker::Record> next_;
  std::vector<DamageTracker::Overlay> overlays_;
  std::vector<PixelRect> damage_;
  std::vector<ScrollMove> moves_;
  std::optional<std::size_t> moving_;  // the move whose view the walk is inside
};

Damage DamageTracker::collect(const View& root, double scale, int width, int height) {
  DamageVisitor visitor(*this, scale, width, height);
  walkScene(root, visitor, SceneOptions{.animated = true});
  Damage damage = visitor.finish();
  if (fresh_) {
    fresh_ = false;
    return Damage{{}, {PixelRect{0, 0, width, height}}};
  }
  damage.dirty = mergeRects(std::move(damage.dirty), kMaxDamageRects);
  return damage;
}

void DamageTracker::forget() {
  fresh_ = true;
  records_.clear();
  overlays_.clear();
}

std::vector<PixelRect> mergeRects(std::vector<PixelRect> rects, std::size_t maxCount) {
  std::erase_if(rects, [](const PixelRect& r) { return r.empty(); });
  // Join any two that overlap or whose union wastes little, until none do.
  bool merged = true;
  while (merged) {
    merged = false;
    for (std::size_t i = 0; i < rects.size() && !merged; ++i) {
      for (std::size_t j = i + 1; j < rects.size() && !merged; ++j) {
        PixelRect u = unite(rects[i], rects[j]);
        if (area(u) <= area(rects[i]) + area(rects[j]) + area(u) / 8) {
          rects[i] = u;
          rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(j));
          merged = true;
        }
      }
    }
  }
  // Still too many: join the pair whose union grows least.
  while (rects.size() > maxCount) {
    std::size_t bi = 0, bj = 1;
    long long best = -1;
    for (std::size_t i = 0; i < rects.size(); ++i) {
      for (std::size_t j = i + 1; j < rects.size(); ++j) {
        long long growth = area(unite(rects[i], rects[j])) - area(rects[i]) - area(rects[j]);
        if (best < 0 || growth < best) best = growth, bi = i, bj = j;
      }
    }
    rects[bi] = unite(rects[bi], rects[bj]);
    rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(bj));
  }
  return rects;
}

}  // namespace qdx::kit

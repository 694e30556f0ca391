#include "kit/damage_tracker.h"

#include <algorithm>
#include <cmath>

#include "kit/scene.h"
#include "qdx/kit/View.h"

namespace qdx::kit {
namespace {

// More rectangles than this are merged: each costs a pass of the tree.
constexpr std::size_t kMaxDamageRects = 8;

Rect intersect(const Rect& a, const Rect& b) {
  double x0 = std::max(a.x(), b.x()), y0 = std::max(a.y(), b.y());
  double x1 = std::min(a.maxX(), b.maxX()), y1 = std::min(a.maxY(), b.maxY());
  return Rect(x0, y0, std::max(0.0, x1 - x0), std::max(0.0, y1 - y0));
}

PixelRect unite(const PixelRect& a, const PixelRect& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  int x0 = std::min(a.x, b.x), y0 = std::min(a.y, b.y);
  int x1 = std::max(a.x + a.width, b.x + b.width), y1 = std::max(a.y + a.height, b.y + b.height);
  return {x0, y0, x1 - x0, y1 - y0};
}

long long area(const PixelRect& r) { return static_cast<long long>(r.width) * r.height; }

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
    DamageTracker::Record record{parents_.empty() ? nullptr : parents_.back(),
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
    bool changed = !changedAbove_.empty() && changedAbove_.back();
    auto found = tracker_.records_.find(&view);
    if (found == tracker_.records_.end()) {
      changed = true;
    } else {
      if (!(found->second == record)) changed = true;
      if (changed) damage(found->second.area);
    }
    if (changed) damage(area);
    next_[&view] = record;
    changedAbove_.push_back(changed);
    subtreeChanged_.push_back(changed);
    parents_.push_back(&view);
    if (castsShadow(view)) shadowed_.push_back(&view);
  }

  void leave(const SceneView& item) override {
    const View& view = *item.view;
    bool changed = subtreeChanged_.back();
    if (castsShadow(view)) {
      shadowed_.pop_back();
      // A change below reshapes this view's shadow, all round it.
      if (changed) damageShadow(&view);
    }
    changedAbove_.pop_back();
    subtreeChanged_.pop_back();
    parents_.pop_back();
    if (changed && !subtreeChanged_.empty()) subtreeChanged_.back() = true;
  }

  void dim(const Rect& window) override { overlays_.push_back({window, "dim"}); }

  void alertBox(const AlertBox& box) override {
    std::string text = box.title.value_or("") + '\n' + box.message.value_or("");
    for (const auto& b : box.buttons) text += '\n' + b;
    overlays_.push_back({box.box, text});
  }

  // Ends the walk: views not reached went, overlays are compared whole.
  std::vector<PixelRect> finish() {
    for (const auto& [view, record] : tracker_.records_) {
      if (next_.contains(view)) continue;
      damage(record.area);
      // The shadows it helped shape, as they were and as they are.
      for (const View* above = record.shadowAbove; above != nullptr;) {
        damageShadow(above);
        auto old = tracker_.records_.find(above);
        above = old == tracker_.records_.end() ? nullptr : old->second.shadowAbove;
      }
    }
    if (overlays_ != tracker_.overlays_) {
      for (const auto& o : tracker_.overlays_) damage(o.area);
      for (const auto& o : overlays_) damage(o.area);
    }
    tracker_.records_ = std::move(next_);
    tracker_.overlays_ = std::move(overlays_);
    return std::move(damage_);
  }

 private:
  static bool castsShadow(const View& view) {
    return view.layer().shadowOpacity > 0 && view.layer().shadowColor.alpha > 0;
  }

  // Marks view's whole area dirty, where it was and where it is.
  void damageShadow(const View* view) {
    if (auto old = tracker_.records_.find(view); old != tracker_.records_.end()) damage(old->second.area);
    if (auto now = next_.find(view); now != next_.end()) damage(now->second.area);
  }

  // Marks area (root points) dirty, in whole pixels inside the bitmap; a
  // pixel of margin covers antialiased edges.
  void damage(const Rect& area) {
    if (!(area.width() > 0 && area.height() > 0)) return;
    double x0 = std::floor(area.x() * scale_) - 1, y0 = std::floor(area.y() * scale_) - 1;
    double x1 = std::ceil(area.maxX() * scale_) + 1, y1 = std::ceil(area.maxY() * scale_) + 1;
    x0 = std::clamp(x0, 0.0, static_cast<double>(width_));
    y0 = std::clamp(y0, 0.0, static_cast<double>(height_));
    x1 = std::clamp(x1, 0.0, static_cast<double>(width_));
    y1 = std::clamp(y1, 0.0, static_cast<double>(height_));
    PixelRect r{static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1 - x0),
                static_cast<int>(y1 - y0)};
    if (!r.empty()) damage_.push_back(r);
  }

  DamageTracker& tracker_;
  double scale_;
  int width_, height_;
  std::vector<bool> changedAbove_;
  std::vector<bool> subtreeChanged_;
  std::vector<const View*> shadowed_;
  std::vector<const View*> parents_;
  std::unordered_map<const View*, DamageTracker::Record> next_;
  std::vector<DamageTracker::Overlay> overlays_;
  std::vector<PixelRect> damage_;
};

std::vector<PixelRect> DamageTracker::collect(const View& root, double scale, int width, int height) {
  DamageVisitor visitor(*this, scale, width, height);
  walkScene(root, visitor, SceneOptions{.animated = true});
  std::vector<PixelRect> rects = visitor.finish();
  if (fresh_) {
    fresh_ = false;
    return {PixelRect{0, 0, width, height}};
  }
  return mergeRects(std::move(rects), kMaxDamageRects);
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

#include "kit/scene.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "kit/animator.h"
#include "kit/box_convolve.h"
#include "kit/painter.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/Window.h"

namespace qdx::kit {
namespace {

// Shadow bitmaps larger than this (pixels a side) are not drawn.
constexpr int kMaxShadowSide = 16384;
// The shadow blur's box passes: three approach a Gaussian closely.
constexpr int kShadowBlurPasses = 3;

// The alert box's measures, in points.
constexpr double kAlertWidth = 270, kAlertButtonHeight = 44, kAlertPad = 16;
constexpr double kAlertTitleHeight = 24, kAlertMessageHeight = 36;

bool invisible(const View& view, double alpha) {
  return view.isHidden() || alpha <= 0 || view.hidesFromRendering();
}

Rect intersect(const Rect& a, const Rect& b) {
  double x0 = std::max(a.x(), b.x()), y0 = std::max(a.y(), b.y());
  double x1 = std::min(a.maxX(), b.maxX()), y1 = std::min(a.maxY(), b.maxY());
  return Rect(x0, y0, std::max(0.0, x1 - x0), std::max(0.0, y1 - y0));
}

class Walker {
 public:
  Walker(SceneVisitor& visitor, SceneOptions options) : visitor_(visitor), options_(options) {}

  // Walks view placed at origin (root coordinates), under clip.
  void walk(const View& view, bool isRoot, Point origin, double slideY, double lookAlpha,
            double inheritedAlpha, const Rect& clip, std::size_t index, std::size_t depth) {
    double alpha = view.alpha() * lookAlpha;
    if (invisible(view, alpha)) return;
    SceneView item{&view, isRoot, {origin.x, origin.y + slideY}, slideY, alpha, inheritedAlpha,
                   clip, index, depth};
    visitor_.enter(item);
    Rect b = view.bounds();
    Rect childClip = clip;
    if (view.clipsToBounds()) childClip = intersect(clip, Rect(item.origin, b.size));
    Point childOrigin{item.origin.x - b.x(), item.origin.y - b.y()};
    std::size_t i = 0;
    for (const auto& child : view.subviews()) {
      Point at{childOrigin.x + child->frame().x(), childOrigin.y + child->frame().y()};
      walk(*child, false, at, 0, 1, inheritedAlpha * alpha, childClip, i++, depth + 1);
    }
    visitor_.leave(item);
  }

  void walkWindow(const View& root) {
    Rect whole(0, 0, root.bounds().width(), root.bounds().height());
    walk(root, true, {0, 0}, 0, 1, 1, whole, 0, 0);
    const auto* window = dynamic_cast<const Window*>(&root);
    if (!window || invisible(root, root.alpha())) return;
    auto rootController = window->rootViewController();
    std::size_t layer = 1;
    for (auto vc = rootController ? rootController->presentedViewController() : nullptr; vc;
         vc = vc->presentedViewController()) {
      const View& view = *vc->view();
      PresentationLook look = options_.animated ? Animator::shared().lookOf(view) : PresentationLook{};
      walk(view, false, view.frame().origin, look.offsetY, look.alpha, 1, whole, layer++, 0);
      if (auto* alert = dynamic_cast<AlertController*>(vc.get())) {
        std::vector<std::string> titles;
        for (const auto& action : alert->actions()) titles.push_back(action->title().value_or(""));
        AlertBox box = layoutAlertBox(window->bounds(), alert->title(), alert->message(), titles);
        box.controller = std::static_pointer_cast<AlertController>(vc);
        visitor_.alertBox(box);
      }
    }
    if (options_.animated) {
      for (const auto& gone : Animator::shared().departingFrom(*window)) {
        const View& view = *gone.view;
        walk(view, false, view.frame().origin, gone.look.offsetY, gone.look.alpha, 1, whole, layer++, 0);
      }
    }
    auto& app = Application::sharedApplication();
    if (app.keyWindow().get() != window) return;
    for (const auto& alert : app.visibleAlertViews()) {
      visitor_.dim(whole);
      AlertBox box =
          layoutAlertBox(window->bounds(), alert->title(), alert->message(), alert->buttonTitles());
      box.alertView = alert;
      visitor_.alertBox(box);
    }
  }

 private:
  SceneVisitor& visitor_;
  SceneOptions options_;
};

// Walks view alone as the root of what visitor sees (its body: no
// presentation, alerts or siblings).
void walkBody(const View& view, SceneVisitor& visitor) {
  Rect whole(0, 0, view.bounds().width(), view.bounds().height());
  Walker(visitor, SceneOptions{}).walk(view, true, {0, 0}, 0, 1, 1, whole, 0, 0);
}

// Paints what the walk visits, as the views' layers describe.
class PaintVisitor : public SceneVisitor {
 public:
  // bodyOnly, when given, is drawn without its shadow and alpha: the shape
  // its shadow takes.
  explicit PaintVisitor(Painter& painter, const View* bodyOnly = nullptr)
      : painter_(painter), cr_(painter.context()), bodyOnly_(bodyOnly) {}

  void enter(const SceneView& item) override {
    const View& view = *item.view;
    const Layer& layer = view.layer();
    Rect b = view.bounds();
    Rect local(0, 0, b.width(), b.height());
    cairo_save(cr_);
    if (!item.isRoot) cairo_translate(cr_, view.frame().x(), view.frame().y() + item.slideY);
    if (grouped(item)) cairo_push_group(cr_);

    // A view wholly outside the clip draws nothing (its children may still
    // reach in): a surface repainting a thin band lays out no text and
    // blurs no shadow far from it.
    const bool inClip = meetsClip(visualExtent(view));
    if (inClip && &view != bodyOnly_ && layer.shadowOpacity > 0 && layer.shadowColor.alpha > 0) {
      drawShadow(view);
    }
    if (auto background = view.backgroundColor(); inClip && background && background->alpha > 0) {
      painter_.roundedRect(local, layer.cornerRadius);
      painter_.setColor(*background);
      cairo_fill(cr_);
    }

    cairo_save(cr_);
    if (layer.masksToBounds) {
      painter_.roundedRect(local, layer.cornerRadius);
      cairo_clip(cr_);
    }
    if (inClip) view.drawContent(painter_);
    cairo_translate(cr_, -b.x(), -b.y());
  }

  void leave(const SceneView& item) override {
    const View& view = *item.view;
    const Layer& layer = view.layer();
    Rect b = view.bounds();
    cairo_restore(cr_);
    if (layer.borderWidth > 0 && layer.borderColor.alpha > 0 && meetsClip(visualExtent(view))) {
      double half = layer.borderWidth / 2;
      painter_.roundedRect(Rect(half, half, b.width() - layer.borderWidth, b.height() - layer.borderWidth),
                           std::max(0.0, layer.cornerRadius - half));
      cairo_set_line_width(cr_, layer.borderWidth);
      painter_.setColor(layer.borderColor);
      cairo_stroke(cr_);
    }
    if (grouped(item)) {
      cairo_pop_group_to_source(cr_);
      cairo_paint_with_alpha(cr_, item.alpha);
    }
    cairo_restore(cr_);
  }

  void dim(const Rect& /*window*/) override {
    painter_.setColor(Color::rgba(0, 0, 0, 0.4));
    cairo_paint(cr_);
  }

  void alertBox(const AlertBox& alert) override {
    const Rect& box = alert.box;
    painter_.roundedRect(box, 13);
    painter_.setColor(Color::rgba(0.97, 0.97, 0.97, 1));
    cairo_fill(cr_);
    double y = box.y() + kAlertPad;
    double textWidth = kAlertWidth - 2 * kAlertPad;
    if (alert.title) {
      TextStyle style{Font::boldSystemFontOfSize(17), Color::black(), TextAlignmentCenter, 1};
      painter_.drawText(AttributedString(*alert.title), style,
                        Rect(box.x() + kAlertPad, y, textWidth, kAlertTitleHeight));
      y += kAlertTitleHeight;
    }
    if (alert.message) {
      TextStyle style{Font::systemFontOfSize(13), Color::black(), TextAlignmentCenter, 2};
      painter_.drawText(AttributedString(*alert.message), style,
                        Rect(box.x() + kAlertPad, y, textWidth, kAlertMessageHeight));
    }
    TextStyle buttonStyle{Font::systemFontOfSize(17), Color::rgba(0, 122.0 / 255, 1, 1),
                          TextAlignmentCenter, 1};
    for (std::size_t i = 0; i < alert.buttons.size(); ++i) {
      const Rect& cell = alert.buttonCells[i];
      painter_.setColor(Color::rgba(0.8, 0.8, 0.8, 1));
      cairo_rectangle(cr_, cell.x(), cell.y(), cell.width(), 0.5);
      cairo_fill(cr_);
      painter_.drawText(AttributedString(alert.buttons[i]), buttonStyle, cell);
    }
  }

 private:
  bool grouped(const SceneView& item) const { return item.alpha < 1 && item.view != bodyOnly_; }

  // Whether area (in the current coordinates) meets the clip.
  bool meetsClip(const Rect& area) const {
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    cairo_clip_extents(cr_, &x0, &y0, &x1, &y1);
    return area.x() < x1 && area.y() < y1 && area.maxX() > x0 && area.maxY() > y0;
  }

  // The shadow takes the shape of what the view shows: the alpha of its
  // body (rounded background, an image's transparent parts, children within
  // its bounds), offset and blurred by the shadow radius as a Gaussian of
  // deviation radius / 2. A view that shows nothing casts nothing.
  void drawShadow(const View& view) {
    const Layer& layer = view.layer();
    const Rect b = view.bounds();
    double dx = 1, dy = 0;
    cairo_user_to_device_distance(cr_, &dx, &dy);
    const double scale = std::hypot(dx, dy);  // the kit neither rotates nor skews
    if (!(scale > 0)) return;
    // Three passes of side w spread a point with variance 3 (w^2 - 1) / 12.
    const double sigma = std::max(0.0, layer.shadowRadius) / 2 * scale;
    long side = std::lround(std::sqrt(4 * sigma * sigma + 1));
    if (side % 2 == 0) ++side;
    const double margin = (kShadowBlurPasses * (side - 1) / 2 + 1) / scale;
    const double pw = std::ceil((b.width() + 2 * margin) * scale);
    const double ph = std::ceil((b.height() + 2 * margin) * scale);
    if (!(pw >= 1 && ph >= 1 && pw <= kMaxShadowSide && ph <= kMaxShadowSide)) return;
    const int width = static_cast<int>(pw), height = static_cast<int>(ph);
    // A shadow wholly outside the clip changes no pixel: skip its blur.
    if (!meetsClip(Rect(layer.shadowOffset.width - margin, layer.shadowOffset.height - margin, pw / scale,
                        ph / scale))) {
      return;
    }

    cairo_surface_t* shape = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(shape) != CAIRO_STATUS_SUCCESS) {
      cairo_surface_destroy(shape);
      return;
    }
    cairo_t* shapeContext = cairo_create(shape);
    cairo_scale(shapeContext, scale, scale);
    cairo_translate(shapeContext, margin, margin);
    Painter shapePainter(shapeContext);
    PaintVisitor body(shapePainter, &view);
    walkBody(view, body);
    cairo_destroy(shapeContext);
    cairo_surface_flush(shape);

    if (side > 1) {
      // Only the part of the shape the clip shows is blurred, with room for
      // the passes to reach it: each spreads a wrong edge (side - 1) / 2
      // pixels inwards, and the mask's sampling one more. The pixels shown
      // come out as a blur of the whole would give them.
      double clipX0 = 0, clipY0 = 0, clipX1 = 0, clipY1 = 0;
      cairo_clip_extents(cr_, &clipX0, &clipY0, &clipX1, &clipY1);
      const double shadowX = layer.shadowOffset.width - margin, shadowY = layer.shadowOffset.height - margin;
      const double reach = kShadowBlurPasses * static_cast<double>((side - 1) / 2) + 2;
      auto span = [&](double from, double to, double origin, int size) {
        double lo = std::clamp(std::floor((from - origin) * scale) - reach, 0.0, static_cast<double>(size));
        double hi = std::clamp(std::ceil((to - origin) * scale) + reach, lo, static_cast<double>(size));
        return std::pair<int, int>(static_cast<int>(lo), static_cast<int>(hi));
      };
      const auto [x0, x1] = span(clipX0, clipX1, shadowX, width);
      const auto [y0, y1] = span(clipY0, clipY1, shadowY, height);
      const int cropWidth = x1 - x0, cropHeight = y1 - y0;
      if (cropWidth > 0 && cropHeight > 0) {
        // Only the alpha matters; the blur treats the four channels alike.
        unsigned char* data = cairo_image_surface_get_data(shape);
        const int stride = cairo_image_surface_get_stride(shape);
        std::vector<std::uint32_t> pixels(static_cast<std::size_t>(cropWidth) * cropHeight), blurred;
        for (int y = 0; y < cropHeight; ++y) {
          const auto* row =
              reinterpret_cast<const std::uint32_t*>(data + static_cast<std::size_t>(y0 + y) * stride) + x0;
          std::copy(row, row + cropWidth, pixels.begin() + static_cast<std::ptrdiff_t>(y) * cropWidth);
        }
        for (int pass = 0; pass < kShadowBlurPasses; ++pass) {
          if (boxConvolve8888(pixels, cropWidth, cropHeight, side, side, blurred) != kBoxConvolveNoError) break;
          pixels.swap(blurred);
        }
        for (int y = 0; y < cropHeight; ++y) {
          auto* row = reinterpret_cast<std::uint32_t*>(data + static_cast<std::size_t>(y0 + y) * stride) + x0;
          std::copy_n(pixels.begin() + static_cast<std::ptrdiff_t>(y) * cropWidth, cropWidth, row);
        }
        cairo_surface_mark_dirty(shape);
      }
    }

    cairo_save(cr_);
    cairo_translate(cr_, layer.shadowOffset.width - margin, layer.shadowOffset.height - margin);
    cairo_scale(cr_, 1 / scale, 1 / scale);
    painter_.setColor(layer.shadowColor, layer.shadowOpacity);
    cairo_mask_surface(cr_, shape, 0, 0);
    cairo_restore(cr_);
    cairo_surface_destroy(shape);
  }

  Painter& painter_;
  cairo_t* cr_;
  const View* bodyOnly_;
};

// Collects the alert boxes only.
class AlertCollector : public SceneVisitor {
 public:
  void enter(const SceneView&) override {}
  void leave(const SceneView&) override {}
  void dim(const Rect&) override {}
  void alertBox(const AlertBox& box) override { boxes.push_back(box); }
  std::vector<AlertBox> boxes;
};

}  // namespace

AlertBox layoutAlertBox(const Rect& screen, std::optional<std::string> title,
                        std::optional<std::string> message, std::vector<std::string> buttons) {
  double textHeight = (title ? kAlertTitleHeight : 0) + (message ? kAlertMessageHeight : 0);
  // Two buttons sit side by side; any other number stacks.
  bool sideBySide = buttons.size() == 2;
  double rows = sideBySide ? 1 : static_cast<double>(buttons.size());
  double height = kAlertPad * 2 + textHeight + rows * kAlertButtonHeight;
  AlertBox alert;
  alert.box = Rect(screen.midX() - kAlertWidth / 2, screen.midY() - height / 2, kAlertWidth, height);
  double y = alert.box.y() + kAlertPad + textHeight + kAlertPad;
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    alert.buttonCells.push_back(
        sideBySide ? Rect(alert.box.x() + i * kAlertWidth / 2, y, kAlertWidth / 2, kAlertButtonHeight)
                   : Rect(alert.box.x(), y + i * kAlertButtonHeight, kAlertWidth, kAlertButtonHeight));
  }
  alert.title = std::move(title);
  alert.message = std::move(message);
  alert.buttons = std::move(buttons);
  return alert;
}

void walkScene(const View& root, SceneVisitor& visitor, SceneOptions options) {
  Walker(visitor, options).walkWindow(root);
}

void paintScene(Painter& painter, const View& root, SceneOptions options) {
  PaintVisitor visitor(painter);
  walkScene(root, visitor, options);
}

std::vector<AlertBox> alertBoxesOver(const View& window) {
  // Only the alerts: the tree itself is walked but nothing is done there.
  AlertCollector collector;
  walkScene(window, collector, SceneOptions{});
  return collector.boxes;
}

Rect visualExtent(const View& view) {
  Rect extent = view.contentExtent();
  const Layer& layer = view.layer();
  Rect own(0, 0, view.frame().width(), view.frame().height());
  auto unite = [](const Rect& a, const Rect& b) {
    double x0 = std::min(a.x(), b.x()), y0 = std::min(a.y(), b.y());
    return Rect(x0, y0, std::max(a.maxX(), b.maxX()) - x0, std::max(a.maxY(), b.maxY()) - y0);
  };
  extent = unite(extent, own);
  if (layer.shadowOpacity > 0 && layer.shadowColor.alpha > 0) {
    // The blur reaches about one and a half radii past the shape.
    double grow = 2 * std::max(0.0, layer.shadowRadius) + 2;
    Rect shadow(layer.shadowOffset.width - grow, layer.shadowOffset.height - grow,
                own.width() + 2 * grow, own.height() + 2 * grow);
    extent = unite(extent, shadow);
  }
  return extent;
}

}  // namespace qdx::kit

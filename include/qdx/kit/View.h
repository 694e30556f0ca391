#pragma once
// Views: rectangles in a tree. A view draws itself in its frame (in its
// superview's coordinates) and holds its children in order, the last added
// on top. Views are made with std::make_shared and used from the main
// thread.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/Responder.h"

namespace qdx::kit {

class Painter;
class TapGestureRecognizer;
class ViewController;
class Window;

// The drawing attributes of a view's backing layer.
struct QDX_EXPORT Layer {
  Color borderColor = Color::black();
  double borderWidth = 0;
  double cornerRadius = 0;
  // Clip the content and children to the (rounded) bounds.
  bool masksToBounds = false;
  Color shadowColor = Color::black();
  Size shadowOffset{0, -3};
  double shadowOpacity = 0;
  double shadowRadius = 3;
};

class QDX_EXPORT View : public Responder {
 public:
  View();
  explicit View(const Rect& frame);
  ~View() override;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // --- Geometry ------------------------------------------------------------
  Rect frame() const { return frame_; }
  // A frame whose numbers are not all finite and within a million points
  // is refused with a debug log line: the view keeps its frame (a zero
  // frame when made with one), and the rest of the tree draws as before.
  virtual void setFrame(const Rect& frame);
  // The view's own coordinate space: its size, and an origin that is the
  // scroll position for scroll views (0, 0 otherwise).
  Rect bounds() const { return Rect(boundsOrigin_, frame_.size); }
  Point center() const { return {frame_.midX(), frame_.midY()}; }
  // Converts a point of this view's bounds into the coordinates of its
  // topmost ancestor (its window, when it has one).
  Point convertPointToRoot(Point local) const;

  // --- The tree ------------------------------------------------------------
  // The children, bottom first.
  std::vector<std::shared_ptr<View>> subviews() const { return subviews_; }
  std::shared_ptr<View> superview() const { return superview_.lock(); }
  // Adds view on top of the children. A view that already has a superview
  // (this one included) is taken from it first, so adding a child again
  // moves it to the front. Adding nullptr, this view or one of its
  // ancestors does nothing.
  void addSubview(const std::shared_ptr<View>& view);
  // Inserts view at index among the children (clamped to the end).
  void insertSubview(const std::shared_ptr<View>& view, std::size_t index);
  void bringSubviewToFront(const std::shared_ptr<View>& view);
  // Detaches this view from its superview; nothing when it has none.
  void removeFromSuperview();
  // This view or the first descendant (depth first, bottom first) with tag.
  std::shared_ptr<View> viewWithTag(long tag);
  // True when this view is ancestor or ancestor's descendant.
  bool isDescendantOfView(const View* ancestor) const;
  // The window this view is in, or nullptr.
  std::shared_ptr<Window> window() const;

  // --- Attributes ----------------------------------------------------------
  long tag() const { return tag_; }
  void setTag(long tag) { tag_ = tag; }
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden);
  double alpha() const { return alpha_; }
  void setAlpha(double alpha);
  // nullopt (the default) draws no background.
  std::optional<Color> backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color);
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  bool clipsToBounds() const { return layer_.masksToBounds; }
  void setClipsToBounds(bool clips) { layer().masksToBounds = clips; }
  // The mutable layer: taking it counts as changing how the view looks.
  Layer& layer() {
    setNeedsDisplay();
    return layer_;
  }
  const Layer& layer() const { return layer_; }

  // --- Gestures ------------------------------------------------------------
  // Attaches recognizer (held strongly); it leaves any view it was on.
  void addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer);
  void removeGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer);
  std::vector<std::shared_ptr<TapGestureRecognizer>> gestureRecognizers() const {
    return recognizers_;
  }

  // --- Drawing -------------------------------------------------------------
  // Draws the view's own content in its bounds' coordinates: what makes a
  // label a label. The renderer draws the background, shadow, border,
  // clipping and children around it. The default draws nothing.
  virtual void drawContent(Painter& painter) const;
  // The part of the bounds' space that drawContent may touch: the bounds
  // by default. A surface redraws this much (with the background, border
  // and shadow) when the view changes, so a class that draws past its
  // bounds (text taller than its box, dots around a zero-width control)
  // says so here.
  virtual Rect contentExtent() const;
  // True when the renderer leaves the view and its children out although
  // it is not hidden (a stopped spinner that hides when stopped).
  virtual bool hidesFromRendering() const { return false; }
  // Marks what the view draws as changed, so a surface showing it redraws
  // its area. The view's own setters call it; a subclass calls it whenever
  // what drawContent draws changes. Geometry, visibility, alpha and the
  // children are tracked without it.
  void setNeedsDisplay();
  // Changes each time setNeedsDisplay is called; unique to this view.
  std::uint64_t contentVersion() const { return contentVersion_; }

  // --- Touch handling ------------------------------------------------------
  // Whether a point of the bounds space belongs to this view.
  virtual bool pointInside(Point p) const;
  // The deepest view under p (in this view's bounds space) that takes
  // touches: hidden views, views with alpha below 0.01 and views without
  // user interaction are skipped with their children; children are tried
  // last-added first, and a point outside a view reaches none of its
  // children. nullptr when nothing takes it.
  std::shared_ptr<View> hitTest(Point p);

  // The view controller whose root view this is, else the superview.
  std::shared_ptr<Responder> nextResponder() override;
  // The view controller that owns this view as its root view, if any.
  std::shared_ptr<ViewController> viewController() const;

  // --- Interface files -----------------------------------------------------
  // Connects this view's outlet name to view, as an interface file's loader
  // does for the views inside a top-level object. Returns false when the
  // class has no outlet of that name or view is not of the outlet's kind;
  // a plain view has no outlets.
  virtual bool setOutlet(const std::string& name, const std::shared_ptr<View>& view);

 protected:
  void setBoundsOrigin(Point origin);

 private:
  friend class ViewController;
  void detachChild(const View* child);

  Rect frame_;
  Point boundsOrigin_;
  std::vector<std::shared_ptr<View>> subviews_;
  std::weak_ptr<View> superview_;
  std::weak_ptr<ViewController> owner_;
  std::vector<std::shared_ptr<TapGestureRecognizer>> recognizers_;
  long tag_ = 0;
  bool hidden_ = false;
  double alpha_ = 1;
  std::optional<Color> backgroundColor_;
  bool userInteractionEnabled_ = true;
  Layer layer_;
  std::uint64_t contentVersion_;
};

}  // namespace qdx::kit

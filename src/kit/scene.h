#pragma once
// The one walk over what a window shows, in drawing order: the window's
// tree, the controllers presented over it (each alert controller's box
// after its backdrop), the views leaving by an animated dismissal, then,
// when it is the key window, the alert views (a dimmed screen and a box
// each). The PNG renderer paints it; a surface paints it and also compares
// it with the last frame to find what changed. Neither repeats its rules.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/kit/Geometry.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

class Painter;

// One view as drawn.
struct SceneView {
  const View* view;
  bool isRoot;
  // The view's frame origin in the root's coordinates (the root's is 0, 0),
  // moved by a presentation in progress.
  Point origin;
  // Extra offset down for a presentation sliding in or out (0 otherwise).
  double slideY;
  // The view's alpha times its presentation's fade.
  double alpha;
  // Everything above it: the product of its ancestors' alphas.
  double inheritedAlpha;
  // The area its ancestors clip it to, in root coordinates.
  Rect clip;
  // Its place among its siblings, and its depth (root 0).
  std::size_t index;
  std::size_t depth;
};

class AlertController;
class AlertView;

// The box of an alert, laid out in the window.
struct AlertBox {
  // The alert it shows: a presented controller or an alert view.
  std::shared_ptr<AlertController> controller;
  std::shared_ptr<AlertView> alertView;
  Rect box;
  std::optional<std::string> title;
  std::optional<std::string> message;
  std::vector<std::string> buttons;
  std::vector<Rect> buttonCells;  // one per button, in order
};

// Lays out an alert's box centred in screen.
AlertBox layoutAlertBox(const Rect& screen, std::optional<std::string> title,
                        std::optional<std::string> message, std::vector<std::string> buttons);

class SceneVisitor {
 public:
  virtual ~SceneVisitor() = default;
  // A visible view, before its children; leave follows after them.
  virtual void enter(const SceneView& item) = 0;
  virtual void leave(const SceneView& item) = 0;
  // An alert view dims the whole window before its box.
  virtual void dim(const Rect& window) = 0;
  virtual void alertBox(const AlertBox& box) = 0;
};

// How a view is drawn: options of the walk.
struct SceneOptions {
  // Presentations in progress and departing views are drawn as the
  // animations have them; false draws the tree as it stands (snapshots).
  bool animated = false;
};

// Walks root (a window, or any view) in drawing order. Hidden views, views
// with alpha 0 and views that hide from rendering are skipped with their
// children.
void walkScene(const View& root, SceneVisitor& visitor, SceneOptions options);

// Walks root, painting it with painter (set up for root's coordinates).
void paintScene(Painter& painter, const View& root, SceneOptions options);

// The alert boxes on screen over window (for pointers: they take them all),
// and whether the screen is blocked by an alert at all.
std::vector<AlertBox> alertBoxesOver(const View& window);

// The area a view may touch when drawn, in its bounds' coordinates: its
// content, background, border and shadow.
Rect visualExtent(const View& view);

}  // namespace qdx::kit

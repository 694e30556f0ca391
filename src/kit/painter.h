#pragma once
// The painter a view draws its own content with: a thin layer over a cairo
// context, holding the drawing helpers every view class shares (colours,
// rounded rectangles, text laid out by pango, images). Internal to the
// kit: the public headers only name it, so cairo stays out of them.
#include <memory>

#include "qdx/kit/Color.h"
#include "qdx/kit/Font.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/Label.h"

// cairo's context type, named without its header.
typedef struct _cairo cairo_t;

namespace qdx::kit {

// How a run of text is drawn.
struct TextStyle {
  std::shared_ptr<Font> font;  // nullptr: the system font at 17
  Color color = Color::black();
  TextAlignment alignment = TextAlignmentLeft;
  int lines = 1;  // 0: as many as fit
};

class Painter {
 public:
  // Draws into cr (not owned), in the coordinates it has now.
  explicit Painter(cairo_t* cr) : cr_(cr) {}

  // The cairo context, for drawing no helper covers.
  cairo_t* context() const { return cr_; }

  // Sets the source colour, its alpha multiplied by extraAlpha.
  void setColor(const Color& color, double extraAlpha = 1);
  // Adds a rectangle with corners rounded by radius (clamped to half the
  // shorter side; 0 gives square corners) to the path.
  void roundedRect(const Rect& rect, double radius);
  // Fills the current path with the source colour (and clears the path).
  void fill();
  // Draws text in box, vertically centred as labels are, wrapped and
  // ellipsised to style.lines; nothing for an empty text.
  void drawText(const AttributedString& text, const TextStyle& style, const Rect& box);
  // Draws image scaled into box (clipped to it).
  void drawImage(const Image& image, const Rect& box);
  // The image fitted into box: centred, aspect kept, never enlarged.
  static Rect fitted(const Image& image, const Rect& box);

 private:
  cairo_t* cr_;
};

}  // namespace qdx::kit

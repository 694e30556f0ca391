#pragma once
// Buttons: controls with an image and a title per control state.
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/Font.h"
#include "qdx/kit/Image.h"

namespace qdx::kit {

enum ButtonType : int {
  ButtonTypeCustom = 0,
  ButtonTypeSystem = 1,
};

class QDX_EXPORT Button : public Control {
 public:
  // Draws the image and title's content through the painter.
  void drawContent(Painter& painter) const override;
  // A title taller than the button spills above and below it.
  Rect contentExtent() const override;
  // A button of the given type with an empty frame. Custom buttons draw
  // only what they are given; titles default to white on custom buttons and
  // to blue on system ones.
  static std::shared_ptr<Button> buttonWithType(ButtonType type);
  explicit Button(ButtonType type = ButtonTypeCustom);

  ButtonType buttonType() const { return type_; }

  // The image for state; nullptr removes it. States without an image of
  // their own show the normal one.
  void setImage(std::shared_ptr<Image> image, ControlState state);
  std::shared_ptr<Image> imageForState(ControlState state) const;
  // The image for the current state.
  std::shared_ptr<Image> currentImage() const { return imageForState(state()); }

  // The title for state; nullopt removes it. Falls back to normal as images do.
  void setTitle(std::optional<std::string> title, ControlState state);
  std::optional<std::string> titleForState(ControlState state) const;
  std::optional<std::string> currentTitle() const { return titleForState(state()); }
  void setTitleColor(std::optional<Color> color, ControlState state);
  Color titleColorForState(ControlState state) const;

  std::shared_ptr<Font> titleFont() const { return titleFont_; }
  void setTitleFont(std::shared_ptr<Font> font);

  // The image is drawn inside the bounds shrunk by these insets, keeping
  // its aspect ratio and never enlarged; the title is centred in the bounds.
  EdgeInsets imageEdgeInsets() const { return imageInsets_; }
  void setImageEdgeInsets(EdgeInsets insets) {
    imageInsets_ = insets;
    setNeedsDisplay();
  }
  EdgeInsets titleEdgeInsets() const { return titleInsets_; }
  void setTitleEdgeInsets(EdgeInsets insets) {
    titleInsets_ = insets;
    setNeedsDisplay();
  }

 private:
  ButtonType type_;
  std::map<ControlState, std::shared_ptr<Image>> images_;
  std::map<ControlState, std::string> titles_;
  std::map<ControlState, Color> titleColors_;
  std::shared_ptr<Font> titleFont_;
  EdgeInsets imageInsets_;
  EdgeInsets titleInsets_;
};

}  // namespace qdx::kit

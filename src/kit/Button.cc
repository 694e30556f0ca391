#include "qdx/kit/Button.h"

#include "kit/main_thread.h"
#include "kit/painter.h"

namespace qdx::kit {

constexpr double kTitleFontSize = 15;

std::shared_ptr<Button> Button::buttonWithType(ButtonType type) {
  return std::make_shared<Button>(type);
}

Button::Button(ButtonType type) : type_(type), titleFont_(Font::systemFontOfSize(kTitleFontSize)) {}

void Button::setImage(std::shared_ptr<Image> image, ControlState state) {
  QDX_KIT_MAIN_THREAD("Button::setImage");
  if (image) {
    images_[state] = std::move(image);
  } else {
    images_.erase(state);
  }
}

std::shared_ptr<Image> Button::imageForState(ControlState state) const {
  if (auto it = images_.find(state); it != images_.end()) return it->second;
  if (auto it = images_.find(ControlStateNormal); it != images_.end()) return it->second;
  return nullptr;
}

void Button::setTitle(std::optional<std::string> title, ControlState state) {
  QDX_KIT_MAIN_THREAD("Button::setTitle");
  if (title) {
    titles_[state] = std::move(*title);
  } else {
    titles_.erase(state);
  }
}

std::optional<std::string> Button::titleForState(ControlState state) const {
  if (auto it = titles_.find(state); it != titles_.end()) return it->second;
  if (auto it = titles_.find(ControlStateNormal); it != titles_.end()) return it->second;
  return std::nullopt;
}

void Button::setTitleColor(std::optional<Color> color, ControlState state) {
  QDX_KIT_MAIN_THREAD("Button::setTitleColor");
  if (color) {
    titleColors_[state] = *color;
  } else {
    titleColors_.erase(state);
  }
}

Color Button::titleColorForState(ControlState state) const {
  if (auto it = titleColors_.find(state); it != titleColors_.end()) return it->second;
  if (auto it = titleColors_.find(ControlStateNormal); it != titleColors_.end()) return it->second;
  return type_ == ButtonTypeCustom ? Color::white() : Color::rgba(0, 122.0 / 255, 1, 1);
}

void Button::setTitleFont(std::shared_ptr<Font> font) {
  QDX_KIT_MAIN_THREAD("Button::setTitleFont");
  titleFont_ = font ? std::move(font) : Font::systemFontOfSize(kTitleFontSize);
}

void Button::drawContent(Painter& painter) const {
  const Rect b = bounds();
  const Rect local(0, 0, b.width(), b.height());
  if (auto image = currentImage()) {
    painter.drawImage(*image, Painter::fitted(*image, insetRect(local, imageEdgeInsets())));
  }
  if (auto title = currentTitle(); title && !title->empty()) {
    TextStyle style{titleFont(), titleColorForState(state()), TextAlignmentCenter, 1};
    painter.drawText(AttributedString(*title), style, insetRect(local, titleEdgeInsets()));
  }
}

}  // namespace qdx::kit

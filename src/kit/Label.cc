#include "qdx/kit/Label.h"

#include <algorithm>

#include "kit/main_thread.h"
#include "kit/painter.h"
#include "kit/utf16.h"

namespace qdx::kit {

constexpr double kDefaultFontSize = 17;

std::size_t AttributedString::length() const { return utf16Length(string_); }

void AttributedString::addKern(double kern, std::size_t location, std::size_t length) {
  std::size_t total = this->length();
  if (location >= total || length == 0) return;
  length = std::min(length, total - location);
  kerns_.push_back({location, length, kern});
}

Label::Label() : font_(Font::systemFontOfSize(kDefaultFontSize)) {
  setUserInteractionEnabled(false);
}

Label::Label(const Rect& frame) : View(frame), font_(Font::systemFontOfSize(kDefaultFontSize)) {
  setUserInteractionEnabled(false);
}

void Label::setFont(std::shared_ptr<Font> font) {
  QDX_KIT_MAIN_THREAD("Label::setFont");
  font_ = font ? std::move(font) : Font::systemFontOfSize(kDefaultFontSize);
}

void Label::drawContent(Painter& painter) const {
  const Rect b = bounds();
  TextStyle style{font(), textColor(), textAlignment(), numberOfLines()};
  painter.drawText(attributedText(), style, Rect(0, 0, b.width(), b.height()));
}

}  // namespace qdx::kit

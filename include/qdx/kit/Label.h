#pragma once
// Labels: one or more lines of text in a font and colour. Attributed text
// adds letter spacing (kerning) over ranges of characters.
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Font.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

enum TextAlignment : int {
  TextAlignmentLeft = 0,
  TextAlignmentCenter = 1,
  TextAlignmentRight = 2,
};

// UTF-8 text with extra letter spacing over ranges. Ranges count UTF-16
// code units, as the platform's string lengths do (one per Chinese
// character, two per emoji).
class QDX_EXPORT AttributedString {
 public:
  struct Kern {
    std::size_t location;
    std::size_t length;
    double kern;  // extra space after each character, points
  };

  AttributedString() = default;
  explicit AttributedString(std::string text) : string_(std::move(text)) {}

  const std::string& string() const { return string_; }
  // The length in UTF-16 code units.
  std::size_t length() const;
  // Adds kern points after each character of the range; the range is
  // clipped to the text.
  void addKern(double kern, std::size_t location, std::size_t length);
  const std::vector<Kern>& kerns() const { return kerns_; }

 private:
  std::string string_;
  std::vector<Kern> kerns_;
};

class QDX_EXPORT Label : public View {
 public:
  // Draws the text's content through the painter.
  void drawContent(Painter& painter) const override;
  // Text taller than the box spills above and below it.
  Rect contentExtent() const override;
  // Labels take no touches until user interaction is switched on. The
  // font is the system font at 17 points, the colour black, aligned left,
  // one line.
  Label();
  explicit Label(const Rect& frame);

  // The plain text (also the attributed text's string).
  const std::string& text() const { return attributed_.string(); }
  // Replaces the text and drops any attributes.
  void setText(std::string text) {
    attributed_ = AttributedString(std::move(text));
    setNeedsDisplay();
  }
  const AttributedString& attributedText() const { return attributed_; }
  void setAttributedText(AttributedString text) {
    attributed_ = std::move(text);
    setNeedsDisplay();
  }

  std::shared_ptr<Font> font() const { return font_; }
  // nullptr restores the system font at 17 points.
  void setFont(std::shared_ptr<Font> font);
  Color textColor() const { return textColor_; }
  void setTextColor(Color color) {
    textColor_ = color;
    setNeedsDisplay();
  }
  TextAlignment textAlignment() const { return alignment_; }
  void setTextAlignment(TextAlignment alignment) {
    alignment_ = alignment;
    setNeedsDisplay();
  }
  // 0 means as many lines as fit; 1 (the default) truncates the tail.
  int numberOfLines() const { return lines_; }
  void setNumberOfLines(int lines) {
    lines_ = lines;
    setNeedsDisplay();
  }

 private:
  AttributedString attributed_;
  std::shared_ptr<Font> font_;
  Color textColor_ = Color::black();
  TextAlignment alignment_ = TextAlignmentLeft;
  int lines_ = 1;
};

}  // namespace qdx::kit

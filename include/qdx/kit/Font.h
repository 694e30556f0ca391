#pragma once
// Fonts by PostScript-like name and point size. A name is a family with an
// optional weight suffix: "Thonburi", "Thonburi-Bold", "Thonburi-Light".
// Families the system lacks fall back to a font that covers Chinese, so
// every text renders.
#include <memory>
#include <string>

#include "qdx/QDXExport.h"

namespace qdx::kit {

enum class FontWeight { Light, Regular, Bold };

class QDX_EXPORT Font {
 public:
  // A font named name at size points. Never nullptr; an empty name means
  // the system font.
  static std::shared_ptr<Font> fontWithName(const std::string& name, double size);
  static std::shared_ptr<Font> systemFontOfSize(double size);
  static std::shared_ptr<Font> boldSystemFontOfSize(double size);

  const std::string& fontName() const { return name_; }
  double pointSize() const { return size_; }
  // The family part of the name ("Thonburi" for "Thonburi-Bold").
  const std::string& familyName() const { return family_; }
  FontWeight weight() const { return weight_; }
  // The family list given to the text engine: the named family first, then
  // the fallbacks that cover Latin and Chinese text.
  std::string familyList() const;

  Font(std::string name, double size);

 private:
  std::string name_;
  std::string family_;
  FontWeight weight_;
  double size_;
};

}  // namespace qdx::kit

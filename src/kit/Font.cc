#include "qdx/kit/Font.h"

namespace qdx::kit {
namespace {

// Families tried after the named one: a Latin sans serif, then one that
// covers Chinese, so text never renders as empty boxes.
constexpr const char* kFallbackFamilies = "DejaVu Sans, WenQuanYi Zen Hei, sans-serif";

bool endsWith(const std::string& s, const std::string& suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

Font::Font(std::string name, double size) : name_(std::move(name)), weight_(FontWeight::Regular), size_(size) {
  family_ = name_;
  if (endsWith(name_, "-Bold")) {
    weight_ = FontWeight::Bold;
    family_ = name_.substr(0, name_.size() - 5);
  } else if (endsWith(name_, "-Light")) {
    weight_ = FontWeight::Light;
    family_ = name_.substr(0, name_.size() - 6);
  } else if (endsWith(name_, "-Regular")) {
    family_ = name_.substr(0, name_.size() - 8);
  }
  // A comma would split the family list given to the text engine.
  for (char& c : family_) {
    if (c == ',') c = ' ';
  }
}

std::shared_ptr<Font> Font::fontWithName(const std::string& name, double size) {
  return std::make_shared<Font>(name, size);
}

std::shared_ptr<Font> Font::systemFontOfSize(double size) { return std::make_shared<Font>("", size); }

std::shared_ptr<Font> Font::boldSystemFontOfSize(double size) {
  return std::make_shared<Font>("-Bold", size);
}

std::string Font::familyList() const {
  if (family_.empty()) return kFallbackFamilies;
  return family_ + ", " + kFallbackFamilies;
}

}  // namespace qdx::kit

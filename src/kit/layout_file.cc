#include "kit/layout_file.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include "common/json.h"
#include "common/json_parse.h"
#include "platform/env.h"
#include "platform/log_gate.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/Control.h"
#include "qdx/kit/Font.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"

namespace qdx::kit {
namespace {

// A fault in a layout; its message names the place ("objects[0].children[2]").
struct LayoutError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const std::string& where, const std::string& what) {
  throw LayoutError(where + ": " + what);
}

double number(const Json& node, const char* key, const std::string& where) {
  const Json& value = node.at(key);
  if (!value.is_number()) fail(where, std::string("\"") + key + "\" must be a number");
  return value.get<double>();
}

// A whole number that fits an int, for counts and tags.
int wholeNumber(const Json& node, const char* key, const std::string& where) {
  const double value = number(node, key, where);
  if (!(value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max()) ||
      value != std::trunc(value)) {
    fail(where, std::string("\"") + key + "\" must be a whole number that fits 32 bits");
  }
  return static_cast<int>(value);
}

// Views nested deeper than this are refused: the builder recurses once a
// level, and no real layout comes near it.
constexpr int kMaxNesting = 64;

std::string text(const Json& node, const char* key, const std::string& where) {
  const Json& value = node.at(key);
  if (!value.is_string()) fail(where, std::string("\"") + key + "\" must be a string");
  return value.get<std::string>();
}

bool flag(const Json& node, const char* key, const std::string& where) {
  const Json& value = node.at(key);
  if (!value.is_boolean()) fail(where, std::string("\"") + key + "\" must be true or false");
  return value.get<bool>();
}

// "#RRGGBB" or "#RRGGBBAA".
Color color(const Json& node, const char* key, const std::string& where) {
  const std::string hex = text(node, key, where);
  unsigned r = 0, g = 0, b = 0, a = 255;
  int used = 0;
  const bool ok = (hex.size() == 7 && std::sscanf(hex.c_str(), "#%2x%2x%2x%n", &r, &g, &b, &used) == 3 &&
                   used == 7) ||
                  (hex.size() == 9 &&
                   std::sscanf(hex.c_str(), "#%2x%2x%2x%2x%n", &r, &g, &b, &a, &used) == 4 && used == 9);
  if (!ok) fail(where, std::string("\"") + key + "\" must be a colour \"#RRGGBB\" or \"#RRGGBBAA\"");
  return Color::rgba(r / 255.0, g / 255.0, b / 255.0, a / 255.0);
}

Rect frame(const Json& node, const std::string& where) {
  const Json& value = node.at("frame");
  if (!value.is_array() || value.size() != 4) fail(where, "\"frame\" must be [x, y, width, height]");
  for (const Json& n : value) {
    if (!n.is_number()) fail(where, "\"frame\" must be [x, y, width, height]");
  }
  return Rect(value[0].get<double>(), value[1].get<double>(), value[2].get<double>(),
              value[3].get<double>());
}

std::shared_ptr<Font> font(const Json& node, const std::string& where) {
  const Json& value = node.at("font");
  if (!value.is_object()) fail(where, "\"font\" must be {\"name\": ..., \"size\": ...}");
  const std::string name = value.contains("name") ? text(value, "name", where + ".font") : "";
  return Font::fontWithName(name, number(value, "size", where + ".font"));
}

TextAlignment alignment(const Json& node, const std::string& where) {
  const std::string name = text(node, "textAlignment", where);
  if (name == "left") return TextAlignmentLeft;
  if (name == "center") return TextAlignmentCenter;
  if (name == "right") return TextAlignmentRight;
  fail(where, "\"textAlignment\" must be \"left\", \"center\" or \"right\"");
}

class Reader {
 public:
  explicit Reader(std::string resourceDir) : dir_(std::move(resourceDir)) {}

  std::vector<std::shared_ptr<View>> topLevel(const Json& document) {
    if (!document.is_object() || !document.contains("objects") || !document["objects"].is_array() ||
        document["objects"].empty()) {
      fail("file", "expected an object with a non-empty \"objects\" array");
    }
    std::vector<std::shared_ptr<View>> objects;
    std::size_t index = 0;
    for (const Json& node : document["objects"]) {
      const std::string where = "objects[" + std::to_string(index++) + "]";
      std::vector<Outlet> outlets;
      std::shared_ptr<View> root = build(node, where, outlets, true, 0);
      for (const Outlet& outlet : outlets) {
        if (!root->setOutlet(outlet.name, outlet.view)) {
          fail(outlet.where, "outlet \"" + outlet.name + "\" is not an outlet of class " +
                                 text(node, "class", where) + " for a view of this class");
        }
      }
      objects.push_back(std::move(root));
    }
    return objects;
  }

 private:
  struct Outlet {
    std::string name;
    std::shared_ptr<View> view;
    std::string where;
  };

  std::shared_ptr<View> build(const Json& node, const std::string& where, std::vector<Outlet>& outlets,
                              bool isTopLevel, int depth) {
    if (depth > kMaxNesting) fail(where, "views nested more than " + std::to_string(kMaxNesting) + " deep");
    if (!node.is_object()) fail(where, "a view must be an object");
    if (!node.contains("class")) fail(where, "a view needs a \"class\"");
    const std::string className = text(node, "class", where);
    std::shared_ptr<View> view = ViewClassRegistry::shared().make(className);
    if (!view) fail(where, "unknown view class \"" + className + "\"");

    if (node.contains("frame")) view->setFrame(frame(node, where));
    if (node.contains("backgroundColor")) view->setBackgroundColor(color(node, "backgroundColor", where));
    if (node.contains("alpha")) view->setAlpha(number(node, "alpha", where));
    if (node.contains("hidden")) view->setHidden(flag(node, "hidden", where));
    if (node.contains("tag")) view->setTag(wholeNumber(node, "tag", where));
    if (node.contains("userInteractionEnabled")) {
      view->setUserInteractionEnabled(flag(node, "userInteractionEnabled", where));
    }
    if (node.contains("clipsToBounds")) view->setClipsToBounds(flag(node, "clipsToBounds", where));
    if (node.contains("cornerRadius")) view->layer().cornerRadius = number(node, "cornerRadius", where);
    if (node.contains("borderWidth")) view->layer().borderWidth = number(node, "borderWidth", where);
    if (node.contains("borderColor")) view->layer().borderColor = color(node, "borderColor", where);

    if (auto label = std::dynamic_pointer_cast<Label>(view)) fillLabel(*label, node, where);
    if (auto imageView = std::dynamic_pointer_cast<ImageView>(view)) {
      if (node.contains("image")) imageView->setImage(image(node, where));
    }
    if (auto button = std::dynamic_pointer_cast<Button>(view)) fillButton(*button, node, where);

    if (node.contains("outlet")) {
      if (isTopLevel) fail(where, "a top-level object cannot be an outlet");
      outlets.push_back({text(node, "outlet", where), view, where});
    }
    if (node.contains("children")) {
      const Json& children = node["children"];
      if (!children.is_array()) fail(where, "\"children\" must be an array");
      for (std::size_t i = 0; i < children.size(); ++i) {
        view->addSubview(
            build(children[i], where + ".children[" + std::to_string(i) + "]", outlets, false, depth + 1));
      }
    }
    return view;
  }

  void fillLabel(Label& label, const Json& node, const std::string& where) {
    if (node.contains("text")) label.setText(text(node, "text", where));
    if (node.contains("font")) label.setFont(font(node, where));
    if (node.contains("textColor")) label.setTextColor(color(node, "textColor", where));
    if (node.contains("textAlignment")) label.setTextAlignment(alignment(node, where));
    if (node.contains("numberOfLines")) {
      label.setNumberOfLines(wholeNumber(node, "numberOfLines", where));
    }
  }

  void fillButton(Button& button, const Json& node, const std::string& where) {
    if (node.contains("title")) button.setTitle(text(node, "title", where), ControlStateNormal);
    if (node.contains("titleColor")) button.setTitleColor(color(node, "titleColor", where), ControlStateNormal);
    if (node.contains("font")) button.setTitleFont(font(node, where));
    if (node.contains("image")) button.setImage(image(node, where), ControlStateNormal);
  }

  std::shared_ptr<Image> image(const Json& node, const std::string& where) {
    const std::string file = text(node, "image", where);
    if (file.empty() || file.find("..") != std::string::npos || file.front() == '/') {
      fail(where, "\"image\" must name a file inside the bundle folder");
    }
    const std::optional<std::string> bytes = Env::Default()->readFile(dir_ + "/" + file);
    std::shared_ptr<Image> loaded = bytes ? Image::imageWithData(*bytes) : nullptr;
    if (!loaded) fail(where, "the image \"" + file + "\" cannot be read");
    return loaded;
  }

  std::string dir_;
};

}  // namespace

ViewClassRegistry::ViewClassRegistry() {
  factories_["View"] = [] { return std::make_shared<View>(); };
  factories_["Control"] = [] { return std::make_shared<Control>(); };
  factories_["ImageView"] = [] { return std::make_shared<ImageView>(); };
  factories_["Label"] = [] { return std::make_shared<Label>(); };
  factories_["Button"] = [] { return Button::buttonWithType(ButtonTypeCustom); };
}

ViewClassRegistry& ViewClassRegistry::shared() {
  static ViewClassRegistry* registry = new ViewClassRegistry();  // lives for the process
  return *registry;
}

void ViewClassRegistry::registerClass(const std::string& name, Factory factory) {
  std::lock_guard lock(mutex_);
  factories_[name] = std::move(factory);
}

std::shared_ptr<View> ViewClassRegistry::make(const std::string& name) const {
  Factory factory;
  {
    std::lock_guard lock(mutex_);
    auto it = factories_.find(name);
    if (it == factories_.end()) return nullptr;
    factory = it->second;
  }
  return factory ? factory() : nullptr;
}

std::vector<std::shared_ptr<View>> loadLayout(const std::string& text, const std::string& resourceDir,
                                              const std::string& source) {
  const Json document = parseJson(text);
  if (document.is_discarded()) {
    debugLog("The interface file " + source + " is not valid JSON");
    return {};
  }
  try {
    return Reader(resourceDir).topLevel(document);
  } catch (const std::exception& e) {
    debugLog("The interface file " + source + " is malformed at " + e.what());
  }
  return {};
}

std::vector<std::shared_ptr<View>> loadLayoutFile(const std::string& path, const std::string& resourceDir) {
  const std::optional<std::string> text = Env::Default()->readFile(path);
  if (!text) {
    debugLog("Could not load the interface file " + path);
    return {};
  }
  return loadLayout(*text, resourceDir, path);
}

}  // namespace qdx::kit

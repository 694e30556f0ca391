#pragma once
// The main bundle's interface files: named recipes for view trees that the
// host provides and the SDK instantiates by name. Safe from any thread.
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

class QDX_EXPORT Bundle {
 public:
  // Builds a fresh instance of an interface file: its top-level objects in
  // file order.
  using NibFactory = std::function<std::vector<std::shared_ptr<View>>()>;

  static Bundle& mainBundle();

  // Makes an interface file of that name available; a later registration
  // replaces an earlier one, an empty factory removes it.
  void registerNib(const std::string& name, NibFactory factory);
  // The top-level objects of a new instance of the named file: the recipe
  // registered under name, else the layout file "<name>.json" in the
  // platform's bundle resource folder (kit/layout_file.h). Empty when there
  // is neither, or the recipe fails (throws), or the file is bad.
  std::vector<std::shared_ptr<View>> loadNibNamed(const std::string& name) const;

 private:
  Bundle() = default;
  mutable std::mutex mutex_;
  std::map<std::string, NibFactory> nibs_;
};

}  // namespace qdx::kit

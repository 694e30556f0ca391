#include "qdx/kit/Bundle.h"

#include <exception>

#include "kit/layout_file.h"
#include "platform/env.h"
#include "platform/log_gate.h"

namespace qdx::kit {

Bundle& Bundle::mainBundle() {
  static Bundle* bundle = new Bundle();  // lives for the process
  return *bundle;
}

void Bundle::registerNib(const std::string& name, NibFactory factory) {
  std::lock_guard lock(mutex_);
  if (factory) {
    nibs_[name] = std::move(factory);
  } else {
    nibs_.erase(name);
  }
}

std::vector<std::shared_ptr<View>> Bundle::loadNibNamed(const std::string& name) const {
  NibFactory factory;
  {
    std::lock_guard lock(mutex_);
    auto it = nibs_.find(name);
    if (it != nibs_.end()) factory = it->second;
  }
  if (!factory) {
    // No recipe in code: the host's file "<bundle dir>/<name>.json".
    const std::string dir = Env::Default()->bundleResourceDirectory();
    if (dir.empty()) {
      debugLog("Could not load the interface file named " + name);
      return {};
    }
    return loadLayoutFile(dir + "/" + name + ".json", dir);
  }
  // Built outside the lock: a recipe may load other files.
  try {
    return factory();
  } catch (const std::exception& e) {
    debugLog("The interface file " + name + " failed to load: " + e.what());
  } catch (...) {
    debugLog("The interface file " + name + " failed to load");
  }
  return {};
}

}  // namespace qdx::kit

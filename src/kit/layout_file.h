#pragma once
// Layout files: the host's interface files written as JSON, read into view
// trees. The format is described in docs/interface_files.md. Views are
// named by class; the kit's own classes are known from the start and the
// SDK adds its item views to the ViewClassRegistry. Outlets name the views
// inside a top-level object and are connected to that object through
// View::setOutlet. Main thread only (the views are kit views).
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qdx/kit/View.h"

namespace qdx::kit {

// The view classes a layout file may name.
class ViewClassRegistry {
 public:
  using Factory = std::function<std::shared_ptr<View>()>;
  // The one registry, holding "View", "Control", "ImageView", "Label" and
  // "Button" from the start.
  static ViewClassRegistry& shared();
  // Makes class name available; a later registration replaces an earlier
  // one. Safe from any thread.
  void registerClass(const std::string& name, Factory factory);
  // A new view of class name; nullptr when the class is unknown.
  std::shared_ptr<View> make(const std::string& name) const;

 private:
  ViewClassRegistry();
  mutable std::mutex mutex_;
  std::map<std::string, Factory> factories_;
};

// The top-level objects described by the layout text, in order. Images
// named in it are read from resourceDir. On any fault (malformed JSON, a
// missing or unknown class, a member of the wrong kind, an image that does
// not load, an outlet its object refuses) logs one line naming source and
// the fault, and returns nothing; never throws.
std::vector<std::shared_ptr<View>> loadLayout(const std::string& text,
                                              const std::string& resourceDir,
                                              const std::string& source);

// loadLayout of the file at path (logged when it cannot be read).
std::vector<std::shared_ptr<View>> loadLayoutFile(const std::string& path,
                                                  const std::string& resourceDir);

}  // namespace qdx::kit

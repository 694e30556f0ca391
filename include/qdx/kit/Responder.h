#pragma once
// The responder chain: views pass to their view controller or superview,
// view controllers to their view's superview, windows to whatever the
// platform puts after them.
#include <memory>

#include "qdx/QDXExport.h"

namespace qdx::kit {

class QDX_EXPORT Responder : public std::enable_shared_from_this<Responder> {
 public:
  virtual ~Responder() = default;
  // The next object in the chain, or nullptr at its end.
  virtual std::shared_ptr<Responder> nextResponder() = 0;

 protected:
  // shared_from_this() cast to the calling class; nullptr when the object
  // is not owned by a shared_ptr.
  template <class T>
  std::shared_ptr<T> selfAs() {
    auto self = weak_from_this().lock();
    return std::static_pointer_cast<T>(self);
  }
};

}  // namespace qdx::kit

#pragma once
// The C interface's overlay: a window the host draws and feeds (a root view
// controller on a transparent view, the application delegate's window, and
// a surface), plus the custom slots placed in it. Main thread only.
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "capi/entry_guard.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/Surface.h"
#include "qdx/kit/View.h"
#include "qdx/kit/ViewController.h"
#include "qdx/kit/Window.h"
#include "qdx/qdx.h"

namespace qdx::capi {

// A custom slot: the frame its view gets and, once placed, the view.
struct Slot {
  kit::Rect frame;
  std::shared_ptr<kit::View> view;  // null while the load is in flight
};

// The slots of one overlay, by id. Shared with the loads in flight, which
// hold it weakly: a load that finishes after its overlay is gone places
// nothing.
struct SlotTable {
  std::map<int, Slot> slots;
};

// What a qdx_overlay handle stands for. The handle's type is never
// defined: C hosts, and the ABI's description of the C interface, see an
// opaque pointer, and nothing of the kit behind it.
struct Overlay {
  std::shared_ptr<kit::Window> window;
  std::shared_ptr<kit::ViewController> root;
  std::unique_ptr<kit::Surface> surface;
  std::vector<qdx_rect> damage;  // what the last draw redrew
  std::shared_ptr<SlotTable> slots = std::make_shared<SlotTable>();
};

// The overlay behind a handle, and the handle of an overlay.
inline Overlay* overlayOf(qdx_overlay* handle) { return reinterpret_cast<Overlay*>(handle); }
inline const Overlay* overlayOf(const qdx_overlay* handle) {
  return reinterpret_cast<const Overlay*>(handle);
}
inline qdx_overlay* handleOf(Overlay* overlay) { return reinterpret_cast<qdx_overlay*>(overlay); }

// The overlay behind handle; nullptr, after a debug line in function's name,
// when handle is NULL.
template <typename Handle>
auto overlayOrRefuse(Handle* handle, const char* function) {
  const auto overlay = overlayOf(handle);
  if (overlay == nullptr) refuse(function, "the overlay is NULL");
  return overlay;
}

// Makes overlay's window the application delegate's window (creating the
// delegate when the host set none), so the SDK presents the wall and its
// alerts there.
void makeDelegateWindow(const Overlay& overlay);

}  // namespace qdx::capi

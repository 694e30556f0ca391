#pragma once
// The C interface's overlay: a window the host draws and feeds (a root view
// controller on a transparent view, the application delegate's window, and
// a surface), plus the custom slots placed in it. Main thread only.
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

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

}  // namespace qdx::capi

struct qdx_overlay {
  std::shared_ptr<qdx::kit::Window> window;
  std::shared_ptr<qdx::kit::ViewController> root;
  std::unique_ptr<qdx::kit::Surface> surface;
  std::vector<qdx_rect> damage;  // what the last draw redrew
  std::shared_ptr<qdx::capi::SlotTable> slots = std::make_shared<qdx::capi::SlotTable>();
};

namespace qdx::capi {

// Makes overlay's window the application delegate's window (creating the
// delegate when the host set none), so the SDK presents the wall and its
// alerts there.
void makeDelegateWindow(const qdx_overlay& overlay);

}  // namespace qdx::capi

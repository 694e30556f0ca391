// Custom slots through the C interface. The loader blocks on the network
// and builds its views on the main queue while it waits, so each load runs
// on a worker thread of its own; the view it brings is placed, and the
// host told, on the main queue (during the host's qdx_pump).
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "capi/callback_delegate.h"
#include "capi/entry_guard.h"
#include "capi/overlay.h"
#include "capi/session.h"
#include "platform/env.h"
#include "qdx/QDXADType.h"
#include "qdx/QDXAdLoader.h"
#include "qdx/RunLoop.h"

using qdx::capi::guarded;
using qdx::capi::onMainThread;
using qdx::capi::refuse;
namespace kit = qdx::kit;

namespace qdx::capi {
namespace {

using DoneFunction = void (*)(void* user, int slot, int placed);

// Slot ids are unique in the process, over every overlay.
int gLastSlotId = 0;  // main thread only

bool isSlotType(std::int32_t type) {
  return type == QDXADTypeCustomNativeBanner || type == QDXADTypeCustomTextForm ||
         type == QDXADTypeCustomImageTextForm;
}

bool validFrame(const char* function, double x, double y, double width, double height) {
  if (std::isfinite(x) && std::isfinite(y) && std::isfinite(width) && std::isfinite(height) &&
      width > 0 && height > 0) {
    return true;
  }
  refuse(function, "a slot's frame must be finite, with a size above zero");
  return false;
}

// On the main queue: places view (null when the list gave none) in its
// slot, unless the slot was removed or its overlay destroyed meanwhile,
// then tells the host.
void finishLoad(const std::weak_ptr<SlotTable>& table, const std::weak_ptr<kit::View>& container,
                int id, std::shared_ptr<kit::View> view, DoneFunction done, void* user) {
  bool placed = false;
  const auto slots = table.lock();
  const auto into = container.lock();
  if (slots && into && view) {
    const auto slot = slots->slots.find(id);
    if (slot != slots->slots.end()) {
      view->setFrame(slot->second.frame);
      into->addSubview(view);
      slot->second.view = view;
      placed = true;
    }
  }
  if (slots && !placed) slots->slots.erase(id);
  if (done) done(user, id, placed ? 1 : 0);
}

int placeSlot(Overlay& overlay, std::int32_t adType, const kit::Rect& frame, DoneFunction done,
              void* user) {
  const int id = ++gLastSlotId;
  overlay.slots->slots[id] = Slot{frame, nullptr};
  std::weak_ptr<SlotTable> table = overlay.slots;
  std::weak_ptr<kit::View> container = overlay.root->view();
  auto load = [=] {
    std::shared_ptr<kit::View> view;
    try {
      QDXAdLoader loader;
      loader.setADDelegate(CallbackDelegate::shared());
      loader.loadAdWithType(adType, 1, frame.size,
                            [&view](const std::vector<std::shared_ptr<kit::View>>& views) {
                              if (!views.empty()) view = views.front();
                            });
    } catch (const std::exception& e) {
      refuse("qdx_place_slot", std::string("the load failed inside: ") + e.what());
    }
    RunLoop::main().post([=] { finishLoad(table, container, id, view, done, user); });
  };
  if (!Env::Default()->startThread("qdx slot " + std::to_string(id), load)) {
    refuse("qdx_place_slot", "no thread could be started for the load");
    RunLoop::main().post([=] { finishLoad(table, container, id, nullptr, done, user); });
  }
  return id;
}

}  // namespace
}  // namespace qdx::capi

extern "C" {

int qdx_place_slot(qdx_overlay* handle, int32_t ad_type, double x, double y, double width,
                   double height, void (*done)(void* user, int slot, int placed), void* user) {
  constexpr const char* kName = "qdx_place_slot";
  return guarded(kName, -1, [&]() -> int {
    if (!onMainThread(kName)) return -1;
    qdx::capi::Overlay* overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return -1;
    if (!qdx::capi::isSlotType(ad_type)) {
      return refuse(kName, "ad type " + std::to_string(ad_type) + " is not a custom slot (7, 8 or 9)"),
             -1;
    }
    if (!qdx::capi::validFrame(kName, x, y, width, height)) return -1;
    if (!qdx::capi::started(kName)) return -1;
    return qdx::capi::placeSlot(*overlay, ad_type, kit::Rect(x, y, width, height), done, user);
  });
}

int qdx_move_slot(qdx_overlay* handle, int slot, double x, double y, double width, double height) {
  constexpr const char* kName = "qdx_move_slot";
  return guarded(kName, static_cast<int>(QDX_ERROR_INTERNAL), [&]() -> int {
    if (!onMainThread(kName)) return QDX_ERROR_THREAD;
    qdx::capi::Overlay* overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return QDX_ERROR_ARGUMENT;
    if (!qdx::capi::validFrame(kName, x, y, width, height)) return QDX_ERROR_ARGUMENT;
    auto found = overlay->slots->slots.find(slot);
    if (found == overlay->slots->slots.end()) {
      return refuse(kName, "no slot " + std::to_string(slot) + " in this overlay"), QDX_ERROR_ARGUMENT;
    }
    found->second.frame = kit::Rect(x, y, width, height);
    if (found->second.view) found->second.view->setFrame(found->second.frame);
    return QDX_OK;
  });
}

int qdx_remove_slot(qdx_overlay* handle, int slot) {
  constexpr const char* kName = "qdx_remove_slot";
  return guarded(kName, static_cast<int>(QDX_ERROR_INTERNAL), [&]() -> int {
    if (!onMainThread(kName)) return QDX_ERROR_THREAD;
    qdx::capi::Overlay* overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return QDX_ERROR_ARGUMENT;
    auto found = overlay->slots->slots.find(slot);
    if (found == overlay->slots->slots.end()) {
      return refuse(kName, "no slot " + std::to_string(slot) + " in this overlay"), QDX_ERROR_ARGUMENT;
    }
    if (found->second.view) found->second.view->removeFromSuperview();
    overlay->slots->slots.erase(found);
    return QDX_OK;
  });
}

}  // extern "C"

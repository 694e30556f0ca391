// The C interface's session: start, banner and wall requests, leaving the
// foreground, and serving the main queue.
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "capi/callback_delegate.h"
#include "capi/entry_guard.h"
#include "capi/overlay.h"
#include "capi/session.h"
#include "common/mutex.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXADType.h"
#include "qdx/RunLoop.h"

using qdx::capi::guarded;
using qdx::capi::guardedVoid;
using qdx::capi::onMainThread;
using qdx::capi::refuse;

namespace qdx::capi {
namespace {

Mutex gMutex;
// The facade qdx_start made; the C host holds no pointer to it.
std::shared_ptr<QDXAD> gSdk GUARDED_BY(gMutex);

}  // namespace

int start(const std::string& channel, std::int64_t appId, const std::string& appKey) {
  MutexLock lock(gMutex);
  if (gSdk) {
    refuse("qdx_start", "the SDK is already started");
    return QDX_ERROR_STATE;
  }
  QDXAD::setADDelegate(CallbackDelegate::shared());
  gSdk = QDXAD::initWithChannel(channel, appId, appKey);
  if (!gSdk) {
    refuse("qdx_start", "the SDK did not start");
    return QDX_ERROR_INTERNAL;
  }
  return QDX_OK;
}

bool started(const char* function) {
  {
    MutexLock lock(gMutex);
    if (gSdk) return true;
  }
  refuse(function, "the SDK is not started: call qdx_start first");
  return false;
}

}  // namespace qdx::capi

extern "C" {

int qdx_start(const char* channel, int64_t app_id, const char* app_key) {
  constexpr const char* kName = "qdx_start";
  return guarded(kName, static_cast<int>(QDX_ERROR_INTERNAL), [&]() -> int {
    if (!onMainThread(kName)) return QDX_ERROR_THREAD;
    if (channel == nullptr || app_key == nullptr) {
      refuse(kName, "the channel and the app key must not be NULL");
      return QDX_ERROR_ARGUMENT;
    }
    return qdx::capi::start(channel, app_id, app_key);
  });
}

int qdx_request_banner(qdx_overlay* handle, int32_t banner_type, float margin_top,
                       float margin_bottom) {
  constexpr const char* kName = "qdx_request_banner";
  return guarded(kName, static_cast<int>(QDX_ERROR_INTERNAL), [&]() -> int {
    if (!onMainThread(kName)) return QDX_ERROR_THREAD;
    qdx::capi::Overlay* overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return QDX_ERROR_ARGUMENT;
    if (!std::isfinite(margin_top) || !std::isfinite(margin_bottom)) {
      return refuse(kName, "the margins must be finite"), QDX_ERROR_ARGUMENT;
    }
    if (!qdx::capi::started(kName)) return QDX_ERROR_STATE;
    qdx::QDXAD::requestADWithADRequest(qdx::QDXADRequest::initWithBannerType(
        banner_type, margin_top, margin_bottom, overlay->root->view()));
    return QDX_OK;
  });
}

int qdx_request_wall(qdx_overlay* handle) {
  constexpr const char* kName = "qdx_request_wall";
  return guarded(kName, static_cast<int>(QDX_ERROR_INTERNAL), [&]() -> int {
    if (!onMainThread(kName)) return QDX_ERROR_THREAD;
    qdx::capi::Overlay* overlay = qdx::capi::overlayOrRefuse(handle, kName);
    if (overlay == nullptr) return QDX_ERROR_ARGUMENT;
    if (!qdx::capi::started(kName)) return QDX_ERROR_STATE;
    // The wall is presented from the application delegate's window.
    qdx::capi::makeDelegateWindow(*overlay);
    auto request = qdx::QDXADRequest::initWithADType(qdx::QDXADTypeRecommendWall);
    request->setAdContainer(overlay->root->view());
    qdx::QDXAD::requestADWithADRequest(request);
    return QDX_OK;
  });
}

void qdx_background(void) {
  guardedVoid("qdx_background", [] { qdx::QDXAD::sdkTerminate(); });
}

double qdx_pump(double max_seconds) {
  constexpr const char* kName = "qdx_pump";
  return guarded(kName, -1.0, [&]() -> double {
    if (!onMainThread(kName)) return -1;
    if (!std::isfinite(max_seconds) || max_seconds < 0) {
      return refuse(kName, "max_seconds must be a finite number, 0 or more"), -1;
    }
    qdx::RunLoop& loop = qdx::RunLoop::main();
    if (max_seconds > 0) {
      loop.runFor(max_seconds);
    } else {
      loop.pump();
    }
    return std::min(loop.secondsUntilNextDeadline(), QDX_PUMP_NOTHING_SCHEDULED);
  });
}

void qdx_set_wake_handler(void (*wake)(void* user), void* user) {
  guardedVoid("qdx_set_wake_handler", [&] {
    if (wake == nullptr) return qdx::RunLoop::main().setWakeHandler(nullptr);
    qdx::RunLoop::main().setWakeHandler([wake, user] { wake(user); });
  });
}

}  // extern "C"

#include "capi/callback_delegate.h"

#include "capi/entry_guard.h"
#include "common/mutex.h"
#include "qdx/QDXADRequest.h"

namespace qdx::capi {
namespace {

Mutex gMutex;
qdx_callbacks gCallbacks GUARDED_BY(gMutex) = {};

std::int32_t adTypeOf(const std::shared_ptr<QDXADRequest>& request) {
  return request ? request->adType() : 0;
}

}  // namespace

std::shared_ptr<CallbackDelegate> CallbackDelegate::shared() {
  static const auto delegate = std::make_shared<CallbackDelegate>();
  return delegate;
}

void CallbackDelegate::setCallbacks(const qdx_callbacks* callbacks) {
  MutexLock lock(gMutex);
  gCallbacks = callbacks ? *callbacks : qdx_callbacks{};
}

qdx_callbacks CallbackDelegate::current() const {
  MutexLock lock(gMutex);
  return gCallbacks;
}

void CallbackDelegate::onADLoaded() {
  const qdx_callbacks c = current();
  if (c.loaded) c.loaded(c.user);
}

void CallbackDelegate::onNoAD(long code) {
  const qdx_callbacks c = current();
  if (c.no_ad) c.no_ad(c.user, code);
}

void CallbackDelegate::onADClicked() {
  const qdx_callbacks c = current();
  if (c.clicked) c.clicked(c.user);
}

void CallbackDelegate::onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                               float adWidth, float adHeight) {
  const qdx_callbacks c = current();
  if (c.showed) c.showed(c.user, adTypeOf(request), adWidth, adHeight);
}

void CallbackDelegate::onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                               float adWidth, float adHeight) {
  const qdx_callbacks c = current();
  if (c.closed) c.closed(c.user, adTypeOf(request), adWidth, adHeight);
}

}  // namespace qdx::capi

extern "C" void qdx_set_callbacks(const qdx_callbacks* callbacks) {
  qdx::capi::guardedVoid("qdx_set_callbacks", [&] {
    qdx::capi::CallbackDelegate::shared()->setCallbacks(callbacks);
  });
}

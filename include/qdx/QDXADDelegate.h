#pragma once
// What the host hears from the SDK. Every method is optional: override the
// ones you need. Calls arrive on the thread of the flow that triggers them
// (ad requests on a background thread; taps and closes on the main thread).
#include <memory>

#include "qdx/QDXExport.h"

namespace qdx {

class QDXADRequest;

class QDX_EXPORT QDXADDelegate {
 public:
  virtual ~QDXADDelegate() = default;

  // An ad-list answer arrived with "retcode" 0 (also after a custom-slot load).
  virtual void onADLoaded() {}
  // The answer held no ads; code is always -4102. onADLoaded follows.
  virtual void onNoAD(long code) { (void)code; }
  // The user tapped an ad.
  virtual void onADClicked() {}
  // A banner or the recommend wall is on screen; sizes in points.
  virtual void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                       float adWidth, float adHeight) {
    (void)request, (void)adWidth, (void)adHeight;
  }
  // A banner or the recommend wall was closed; sizes in points.
  virtual void onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                       float adWidth, float adHeight) {
    (void)request, (void)adWidth, (void)adHeight;
  }
};

}  // namespace qdx

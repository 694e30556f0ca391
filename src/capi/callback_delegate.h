#pragma once
// The C host's callbacks as the SDK's delegate. One process-wide set,
// replaced whole by qdx_set_callbacks; each event reads the set current
// when it fires and calls it outside the lock, so a callback may replace
// the set, and a slow callback holds up nobody else.
#include <memory>

#include "qdx/QDXADDelegate.h"
#include "qdx/qdx.h"

namespace qdx::capi {

class CallbackDelegate : public QDXADDelegate {
 public:
  // The one delegate of the C interface, made on first use and never freed
  // (the SDK holds its delegate weakly; the host holds nothing).
  static std::shared_ptr<CallbackDelegate> shared();

  // Replaces the set (a copy of callbacks; nullptr clears it).
  void setCallbacks(const qdx_callbacks* callbacks);

  void onADLoaded() override;
  void onNoAD(long code) override;
  void onADClicked() override;
  void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>& request, float adWidth,
                               float adHeight) override;
  void onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>& request, float adWidth,
                               float adHeight) override;

 private:
  qdx_callbacks current() const;
};

}  // namespace qdx::capi

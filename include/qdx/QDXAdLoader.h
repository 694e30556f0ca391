#pragma once
// Custom-slot ads: native ad views that the host places in its own layout.
// Ask for up to a number of ads of one kind and receive ready-filled views:
//   7  a native banner (QDXBannerAdView), sized to the slot you give;
//   8  a text list item, from the host's interface file "QDXListItemAdView";
//   9  an image-and-text list item, from "QDXBannerListItemAdView".
// Each view handed out is counted as shown; a tap on it opens the ad's
// store page (or an alert when there is no network) and tells the
// delegate onADClicked on the main thread.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "qdx/QDXExport.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/kit/Geometry.h"
#include "qdx/kit/View.h"

namespace qdx {

class QDX_EXPORT QDXAdLoader {
 public:
  using Block = std::function<void(const std::vector<std::shared_ptr<kit::View>>& views)>;

  // Requests the ad list of adType and builds at most count views, one per
  // app in list order; size is the native banner's slot (type 7 only).
  // Synchronous: block runs on the calling thread before this returns, or
  // not at all when the list came back empty (or count is 0). A type other
  // than 7, 8 and 9 gives an empty array. Entries lacking artwork, icon,
  // name or (type 8) description are left out; every view's tag is its
  // index in the list, so a tag names its app even after skipped entries.
  // Blocks on the network (up to the request time-out). The pictures are
  // downloaded on the calling thread, once each. Called on the main thread
  // it does everything there; called elsewhere, the views are made on the
  // main queue while the calling thread waits, but never longer than the
  // request time-out: when the main loop does not take the work by then,
  // a debug line says so and block is not called.
  void loadAdWithType(std::int32_t adType, std::int64_t count, kit::Size size, const Block& block);

  // The host's delegate, held strongly and handed to each load's views once
  // the list has come: it hears onADClicked from taps. The load itself
  // tells it nothing (an empty list shows as a block that is not called).
  void setADDelegate(std::shared_ptr<QDXADDelegate> delegate);
  std::shared_ptr<QDXADDelegate> delegate() const;

  // A type the host may keep here; the loader never reads it.
  std::int32_t adType() const { return adType_; }
  void setAdType(std::int32_t adType) { adType_ = adType; }

 private:
  std::int32_t adType_ = 0;
  std::shared_ptr<QDXADDelegate> delegate_;
};

}  // namespace qdx

#pragma once
// The custom-slot view: loads one custom-slot ad list (types 7, 8 and 9),
// reports its request, show and click events, and opens the store when an
// item's download is triggered. A hidden instance is the event sink of the
// item views made from its list; the item views are its subclasses.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXADDelegate.h"
#include "common/json.h"
#include "qdx/kit/AlertView.h"
#include "qdx/kit/Control.h"
#include "ui/QDXADEventDelegate.h"

namespace qdx {

class QDXADView : public kit::Control, public QDXADEventDelegate, public kit::AlertViewDelegate {
 public:
  // A view with no ad type: the item views' plain construction.
  QDXADView();
  // A view for adType: the slot label comes from the custom-slot table
  // (absent for any type but 7, 8 and 9); the link list starts empty.
  explicit QDXADView(std::int64_t adType);
  static std::shared_ptr<QDXADView> initWithADType(std::int64_t adType);

  // Requests the ad list of adType synchronously (blocking the caller up to
  // the request time-out) and returns it, always an object:
  // - the usage report goes out unless the stored custom-slot success flag
  //   is a non-zero integer and the stored app version is the bundle's;
  // - appDict is emptied when the post returns and set from a "retcode" 0
  //   answer; the delegate hears onNoAD(-4102) for an empty payload and
  //   onADLoaded for any "retcode" 0 answer;
  // - one request report per app for min(count, apps) apps, their store
  //   links appended to adDownUrlArr; one report without ids when that is 0.
  Json loadADWithCount(std::uint64_t count);

  // The click of the ad at index, on the main thread: the click report
  // unless the once-a-day key already holds today's stamp; the delegate's
  // onADClicked; then, without a network, the alert "请先连接网络", else the
  // store link opened and today's stamp stored under the key.
  void tapAD(std::int64_t index) override;
  // The show report of the ad at index (asynchronous).
  void reportShowEventWithPage(std::int64_t page) override;
  // The item view sender was triggered: its event delegate hears tapAD
  // with its tag. Nothing when sender or its event delegate is missing.
  static void downloadApp(const std::shared_ptr<QDXADView>& sender);

  std::int64_t adType() const { return adType_; }
  const std::optional<std::string>& ubit() const { return ubit_; }
  const Json& appDict() const { return appDict_; }
  // One entry per loaded ad, in list order; absent when the ad had none.
  const std::vector<std::optional<std::string>>& adDownUrlArr() const { return adDownUrlArr_; }

  // The host's delegate, held strongly; may be null.
  std::shared_ptr<QDXADDelegate> delegate() const { return delegate_; }
  void setDelegate(std::shared_ptr<QDXADDelegate> delegate) { delegate_ = std::move(delegate); }
  // In an item view: the custom-slot view that loaded it, held strongly.
  std::shared_ptr<QDXADEventDelegate> eventDelegate() const { return eventDelegate_; }
  void setEventDelegate(std::shared_ptr<QDXADEventDelegate> delegate) {
    eventDelegate_ = std::move(delegate);
  }

 private:
  void showNoNetworkAlert();

  std::int64_t adType_ = 0;
  std::optional<std::string> ubit_;
  Json appDict_ = Json::object();
  std::shared_ptr<QDXADDelegate> delegate_;
  std::shared_ptr<QDXADEventDelegate> eventDelegate_;
  std::vector<std::optional<std::string>> adDownUrlArr_;
};

}  // namespace qdx

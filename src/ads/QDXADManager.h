#pragma once
// The ad manager: the process-wide object that turns an ad request into an
// ad on screen and into reports. It requests ad lists (the request step),
// runs the banner and recommend-wall flows on the background threads the
// facade starts, and handles the taps and closes the banner and the wall
// send back through QDXADEventDelegate on the main thread. It keeps the
// host's delegate weakly: the host owns its delegate.
//
// The kit is used from the main thread only: the flows marshal every view
// call to the main queue, in order, and wait where what follows depends on
// it. The main run loop must therefore be served while a flow runs.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qdx/QDXADDelegate.h"
#include "qdx/QDXADRequest.h"
#include "ads/ad_list.h"
#include "common/json.h"
#include "common/mutex.h"
#include "common/thread_annotations.h"
#include "qdx/kit/ViewController.h"
#include "ui/QDXADEventDelegate.h"

namespace qdx {

class QDXRecommendWallVC;

class QDXADManager : public QDXADEventDelegate {
 public:
  // The shared manager, created on first use and never destroyed. Safe
  // from any thread.
  static QDXADManager& defaultADManager();
  // The same manager as a shared_ptr, for the views that hold it weakly as
  // their event delegate.
  static std::shared_ptr<QDXADManager> sharedManager();

  // Keeps delegate weakly; a later call replaces it. Safe from any thread.
  void setAdListener(std::weak_ptr<QDXADDelegate> delegate);
  // The host's delegate while the host keeps it alive, else nullptr. Every
  // callback asks for it anew when it is due, so a delegate the host
  // replaced or released meanwhile (say, during the ad-list post) is not
  // called, nor kept alive by the flow.
  std::shared_ptr<QDXADDelegate> delegate() const;

  // The request step: sends the utype report unless this kind of ad was
  // already reported in this run for the current app version, posts the
  // ad-list request synchronously (blocking the calling thread up to the
  // 10-second time-out), tells the host onNoAD / onADLoaded, takes the
  // first app's ids when the list has any, and reports the request: once,
  // or for the wall once per app for the first five apps (once with absent
  // ids for an empty list). Returns the parsed ad list, an empty object on
  // any failure. Call off the main thread.
  Json requestADWithADRequest(const std::shared_ptr<QDXADRequest>& request);

  // The slot label of request's kind of ad (banners by position), or ubit
  // unchanged for kinds without a label here.
  std::optional<std::string> setUbit(const std::optional<std::string>& ubit,
                                     const std::shared_ptr<QDXADRequest>& request) const;

  // The wall's per-page reports: take the ids of app page when the list
  // has it (they then stay for later taps), and report a request or a show
  // with the ids now held.
  void reportRequestEventWithPage(std::int64_t page) override;
  void reportShowEventWithPage(std::int64_t page) override;

  // The current top view controller (as QDXADRequest::getCurrentVC).
  static std::shared_ptr<kit::ViewController> getCurrentVC();

  // The banner flow: request, prefetch every app's artwork, show the first
  // app's banner, report the show (with both ids) and tell the host
  // onADShowedWithADRequest with the banner's size. Stops silently without
  // an ad. Runs on a background thread.
  void showBannerWithADRequest(const std::shared_ptr<QDXADRequest>& request);
  // The wall flow: present a new wall (cross-dissolve) before the request,
  // fill it from the answer and load it, or show its empty state; with apps,
  // report one show and tell the host onADShowedWithADRequest with the
  // screen's size. Runs on a background thread.
  void showRecommendWallWithADRequest(const std::shared_ptr<QDXADRequest>& request);

  // A tap on ad index (main thread): a click report with the ids last
  // held (not those of index), when both are present; onADClicked; then
  // the store link of adDownUrlArr[index] opens, or without a network the
  // "请先连接网络" alert is presented from the wall (dropped, with a debug
  // line, when no wall was ever made).
  void tapAD(std::int64_t index) override;
  // A close (main thread): tag 4 (wall) or 1 (banner) tells the host
  // onADClosedWithADRequest with that ad's size; other tags do nothing.
  void closeAD(const std::shared_ptr<kit::Control>& control) override;

  // --- State, for inspection ------------------------------------------------
  std::shared_ptr<QDXADRequest> adRequest() const;
  // The held ids, as the server gave them (null: absent). Read both at
  // once through heldAd() where they must belong together.
  Json adid() const;
  Json app_id() const;
  std::int32_t adType() const;
  Json appDict() const;
  std::vector<std::optional<std::string>> adDownUrlArr() const;
  std::shared_ptr<QDXRecommendWallVC> recommendWall() const;

  QDXADManager(const QDXADManager&) = delete;
  QDXADManager& operator=(const QDXADManager&) = delete;

 private:
  QDXADManager() = default;

  // The latest request and the ids held, read under one lock, so a report
  // never pairs one app's ad id with another's app id.
  struct HeldAd {
    std::shared_ptr<QDXADRequest> request;
    AdIds ids;
  };
  HeldAd heldAd() const EXCLUDES(mutex_);
  // Takes the ids of app index of appDict when it has one (else keeps
  // them), and returns what is then held, under the same lock.
  HeldAd takeIdsOfApp(std::size_t index) EXCLUDES(mutex_);
  // A request, show or click report with held's ids, the slot label and the
  // ad type of request.
  enum class EventKind { kRequest, kShow, kClick };
  void reportHeld(EventKind kind, const std::shared_ptr<QDXADRequest>& request,
                  const AdIds& ids) const;

  // Sends the utype report unless it is skipped for adType (see
  // requestADWithADRequest).
  void reportUTypeIfNeeded(std::int32_t adType) EXCLUDES(mutex_);
  // Presents the "请先连接网络" alert from the latest wall, if any.
  void presentNoNetworkAlert() const;
  // The banner's and the wall's reported sizes.
  static float bannerWidth();
  static float bannerHeight();

  // Guards every field below: the flows write them on their background
  // threads, taps and closes read them on the main thread.
  mutable Mutex mutex_;
  std::weak_ptr<QDXADDelegate> delegate_ GUARDED_BY(mutex_);
  std::shared_ptr<QDXADRequest> adRequest_ GUARDED_BY(mutex_);
  AdIds ids_ GUARDED_BY(mutex_);
  std::int32_t adType_ GUARDED_BY(mutex_) = 0;
  Json appDict_ GUARDED_BY(mutex_) = Json::object();
  std::vector<std::optional<std::string>> adDownUrlArr_ GUARDED_BY(mutex_);
  std::shared_ptr<QDXRecommendWallVC> recommendWall_ GUARDED_BY(mutex_);
};

}  // namespace qdx

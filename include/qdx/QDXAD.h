#pragma once
// QDXAD is the one class the host app talks to. Create it once, on the
// main thread, with initWithChannel(); then set a delegate, optionally
// switch on debug logging, request banners and the recommend wall, and
// call sdkTerminate() whenever the app leaves the foreground.
//
// No call of this class throws.
#include <cstdint>
#include <memory>
#include <string>

#include "qdx/QDXADDelegate.h"
#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"

namespace qdx {

class QDXADRequest;

class QDX_EXPORT QDXAD : public std::enable_shared_from_this<QDXAD> {
 public:
  // Starts the SDK, synchronously on the calling thread: stores the app id,
  // app key, channel ("AppStore" when channel is empty) and the app
  // version, starts a use-time period and the run stamp, and starts a
  // repeating 0.5-second timer on the calling thread's run loop (served
  // only while that thread runs its loop). When the device is online it
  // then registers the device and re-sends what earlier runs left
  // unreported. Returns the facade; the host owns it.
  //
  // The timer holds the facade and is never cancelled: it ticks for the
  // life of the process, whether or not the host keeps the returned
  // pointer.
  static std::shared_ptr<QDXAD> initWithChannel(const std::string& channel, std::int64_t app_id,
                                                const std::string& app_key);

  // Accepts a banner (ad type 1) or recommend-wall (ad type 4) request on a
  // screen taller than wide; refuses a landscape or square screen (logged
  // while debugging); other ad types and a null request do nothing. Returns
  // at once: each accepted request runs on a new background thread, which
  // fetches the ad list and shows the banner (in the request's container)
  // or presents the recommend wall from the current top view controller.
  // The host's main run loop must be served meanwhile: every view change
  // is made there. The host hears onADLoaded / onNoAD and onADShowed on
  // that background thread, and onADClicked / onADClosed on the main thread.
  static void requestADWithADRequest(std::shared_ptr<QDXADRequest> request);

  // Keeps delegate (weakly: the host owns it) for the SDK's callbacks.
  static void setADDelegate(std::shared_ptr<QDXADDelegate> delegate);

  // Switches the SDK's diagnostic log lines on or off (off at start).
  static void setDebug(bool debug);

  // Ends the current use-time period: call it when the app leaves the
  // foreground. The next timer tick that finds the app active again starts
  // a new period.
  static void sdkTerminate();

  // The timer's tick: when "QDXBACKGROUND" is raised and the application is
  // active, lowers it and stores a new use-time start.
  void currentTimer();

  // A view the host may hang on the facade; the SDK never reads it.
  std::shared_ptr<kit::View> adContainer;

  // Start-up's two background steps (each runs on a new thread during an
  // online start): fetch the SDK's own images into the image cache, and
  // fetch and store the global configuration ("QDX_Global_Config").
  void getImageToLocal();
  void getGlobalConfig();

  QDXAD(const QDXAD&) = delete;
  QDXAD& operator=(const QDXAD&) = delete;
  ~QDXAD();

 private:
  QDXAD();

  // The start-up sequence, one private step each, run in this order.
  void storeAppId(std::int64_t app_id);
  void storeAppKey(const std::string& app_key);
  void storeChannel(const std::string& channel);
  void storeAppVersion();
  void startUseTimePeriod();
  void startTimer();
  void storeRunStamp();
  // False (and logged) when there is no data connection.
  bool networkAvailable();

  // Starts the show flow of a request that passed the checks: a banner
  // (type 1) or the recommend wall (type 4) on a portrait screen.
  static void startShowFlow(const std::shared_ptr<QDXADRequest>& request);
};

}  // namespace qdx

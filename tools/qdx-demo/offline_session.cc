// The offline session: a start without a data connection sends nothing and
// keeps its reports; the next start with a connection sends them.
#include <memory>
#include <string>

#include "qdx/PosixPlatform.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADRequest.h"
#include "qdx/RunLoop.h"
#include "scripts.h"
#include "view_search.h"

namespace qdx::demo {

namespace {

constexpr int kUseTimeEvent = -2;

bool listed(const std::vector<std::string>& listing, const std::string& key) {
  for (const std::string& line : listing) {
    if (line.rfind(key + " = ", 0) == 0 && line != key + " = null") return true;
  }
  return false;
}

}  // namespace

void runOfflineSession(Session& s, const SessionSettings& settings) {
  s.begin("01-offline-start", "An offline start",
          "The device has no data connection. The SDK stores the app's identity and the "
          "start of its use time, and stops before the network: nothing is sent.");
  s.check(s.app().startSdk(settings.channel, settings.appId, settings.appKey, settings.debug),
          "the SDK started");
  RunLoop::main().runFor(settings.runSeconds);
  s.settle();
  s.check(s.stepJournal().empty(), "nothing reached the server");
  s.screenshot();
  s.end();

  s.begin("02-offline-banner", "A banner request offline",
          "The host asks for a bottom banner. Without a connection no ad list can come, "
          "so no banner is shown.");
  auto home = s.app().home()->view();
  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(3, 0, 0, home));
  RunLoop::main().runFor(0.5);
  s.settle();
  s.check(findBanner(home) == nullptr, "no banner");
  s.check(s.app().delegate()->count("onADShowedWithADRequest") == 0, "no onADShowedWithADRequest");
  s.check(s.stepJournal().empty(), "nothing reached the server");
  s.screenshot();
  s.end();

  s.begin("03-offline-terminate", "The app leaves the foreground, offline",
          "The host calls sdkTerminate. The use-time report cannot go out, so the SDK "
          "keeps it in the local store for the next start with a connection.");
  QDXAD::sdkTerminate();
  s.settle();
  s.check(s.stepJournal().empty(), "nothing reached the server");
  const auto listing = settings.storeListing ? settings.storeListing() : std::vector<std::string>{};
  for (const std::string& line : listing) s.note(line);
  s.check(listed(listing, "QDX_USE_TIME_EVENT_LIST"), "the use-time report is kept");
  s.screenshot();
  s.end();

  s.begin("04-later-online", "Later, online: the next start",
          "The app starts again as a new process, now with a connection. The device "
          "registers, and the use-time report kept from the offline run goes out.");
  const std::string file = "04-later-online.png";
  auto untilSent = [&] {
    if (s.hasJournal()) {
      s.waitFor([&] {
        return (!settings.freshDevice || !s.stepRows("reg_dev").empty()) &&
               countEvents(s.stepRows("report_event"), kUseTimeEvent) > 0;
      }, 15);
    }
    s.settle();
  };
  const int exitCode =
      settings.relaunch ? settings.relaunch(settings.outDir + "/" + file, untilSent) : -1;
  s.check(exitCode == 0, "the start ran");
  s.settle();
  if (s.serverSide()) {
    if (settings.freshDevice) {
      s.check(s.stepRows("reg_dev").size() == 1, "the device registered");
    }
    s.checkEvents(kUseTimeEvent, 1, "the kept use time was sent", true);
  }
  s.useScreenshot(file);
  s.end();
}

}  // namespace qdx::demo

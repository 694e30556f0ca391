// The online session: a first start, banners, a tap and a close, the
// recommend wall from its first page to empty, custom slots in a feed, the
// app leaving the foreground, and a second start.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "qdx/PosixPlatform.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXAdLoader.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Kit.h"
#include "scripts.h"
#include "view_search.h"

namespace qdx::demo {

namespace {

using namespace qdx::kit;

constexpr int kRequestEvent = 0, kShowEvent = 1, kClickEvent = 2, kActivationEvent = 6,
              kUseTimeEvent = -2;

bool fromStore(const std::string& url) {
  return url.find("://apps.qdx.invalid/") != std::string::npos;
}

void firstStart(Session& s, const SessionSettings& settings) {
  s.begin("01-first-start", "First start",
          "The host starts the SDK with its channel, app id and app key. A new device "
          "registers; the registration's answer brings the one-time activation, and the "
          "configuration and the SDK's own images are fetched in the background.");
  s.check(s.app().startSdk(settings.channel, settings.appId, settings.appKey, settings.debug),
          "the SDK started");
  if (settings.freshDevice && s.hasJournal()) {
    s.waitFor([&] {
      return !s.stepRows("reg_dev").empty() && !s.stepRows("get_configuration").empty();
    }, 15);
  }
  RunLoop::main().runFor(settings.runSeconds);
  s.settle();
  if (s.serverSide()) {
    if (settings.freshDevice) {
      s.check(s.stepRows("reg_dev").size() == 1, "the new device registered once");
      s.checkEvents(kActivationEvent, 1, "the activation went out once");
    } else {
      s.check(s.stepRows("reg_dev").empty(), "a known device does not register again");
    }
    s.check(s.stepRows("get_configuration").size() == 1, "the configuration was fetched");
  }
  s.screenshot();
  s.end();
}

void banner(Session& s, int bannerType, const std::string& name, const std::string& title,
            const std::string& where, double expectedY) {
  s.begin(name, title,
          "The host asks for a banner " + where +
              " of its screen (banner type " + std::to_string(bannerType) +
              "). The SDK requests the ad list, shows the first ad's artwork with a close "
              "button, and reports the request and the impression.");
  auto home = s.app().home()->view();
  const std::size_t showed = s.app().delegate()->count("onADShowedWithADRequest");
  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(bannerType, 64, 0, home));
  s.check(s.waitFor([&] {
    return s.app().delegate()->count("onADShowedWithADRequest") == showed + 1;
  }, 15), "the host heard onADShowedWithADRequest");
  s.settle();
  auto shown = findBanner(home);
  if (s.check(shown != nullptr, "the banner is in the host's view")) {
    s.check(std::abs(shown->frame().y() - expectedY) < 0.01,
            "the banner sits at y " + std::to_string(expectedY));
  }
  if (s.serverSide()) {
    s.check(s.stepRows("get_recommend_list").size() == 1, "one ad-list request");
    s.checkEvents(kRequestEvent, 1, "one request event");
    s.checkEvents(kShowEvent, 1, "one show event");
  }
  s.screenshot();
  s.end();
}

void tapBanner(Session& s) {
  s.begin("05-banner-tap", "A tap on the banner",
          "The user taps the bottom banner. The SDK reports the click, opens the app's "
          "store page (the platform's open-URL hook writes the link down) and takes the "
          "banner away.");
  auto home = s.app().home()->view();
  auto shown = findBanner(home);
  if (s.check(shown != nullptr && !shown->subviews().empty(), "a banner to tap")) {
    s.check(tapView(shown->subviews().front()), "the tap reached the banner");
  }
  s.settle();
  s.check(s.app().delegate()->count("onADClicked") >= 1, "the host heard onADClicked");
  const auto opened = s.app().openedURLs();
  s.check(!opened.empty() && fromStore(opened.back()), "the store link was opened");
  s.check(findBanner(home) == nullptr, "the banner left the screen");
  if (s.serverSide()) {
    s.checkEvents(kClickEvent, 1, "one click event");
  }
  s.screenshot();
  s.end();
}

void closeBanner(Session& s) {
  s.begin("06-banner-close", "A banner closed",
          "The host asks for a bottom banner again, and the user taps its close button: "
          "the banner goes and the host hears that it was closed.");
  auto home = s.app().home()->view();
  const std::size_t showed = s.app().delegate()->count("onADShowedWithADRequest");
  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(3, 0, 0, home));
  s.waitFor([&] { return s.app().delegate()->count("onADShowedWithADRequest") == showed + 1; },
            15);
  s.settle();
  auto shown = findBanner(home);
  auto close = shown ? std::dynamic_pointer_cast<Button>(shown->viewWithTag(1)) : nullptr;
  if (s.check(close != nullptr, "the banner has its close button (tag 1)")) {
    s.check(tapView(close), "the tap reached the close button");
  }
  s.settle();
  s.check(s.app().delegate()->count("onADClosedWithADRequest") == 1,
          "the host heard onADClosedWithADRequest");
  s.check(findBanner(home) == nullptr, "the banner left the screen");
  s.screenshot();
  s.end();
}

std::shared_ptr<ViewController> wall(Session& s) {
  auto presented = s.app().home()->presentedViewController();
  return presented && presented->isViewLoaded() ? presented : nullptr;
}

std::shared_ptr<ScrollView> strip(Session& s) {
  auto controller = wall(s);
  return controller ? findFirst<ScrollView>(controller->view()) : nullptr;
}

long pages(Session& s) {
  auto cards = strip(s);
  if (!cards || cards->bounds().width() <= 0) return 0;
  return std::lround(cards->contentSize().width / cards->bounds().width());
}

// The wall's "download" button: the button that is not the close button.
std::shared_ptr<Button> downloadButton(Session& s) {
  auto controller = wall(s);
  if (!controller) return nullptr;
  for (const auto& button : findAll<Button>(controller->view())) {
    if (button->tag() != 4) return button;
  }
  return nullptr;
}

void presentWall(Session& s) {
  s.begin("07-wall", "The recommend wall",
          "The host asks for the recommend wall. It is presented full screen with one card "
          "per app; the first card's impression is reported.");
  const std::size_t showed = s.app().delegate()->count("onADShowedWithADRequest");
  QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(4));
  s.check(s.waitFor([&] {
    return s.app().delegate()->count("onADShowedWithADRequest") == showed + 1;
  }, 15), "the host heard onADShowedWithADRequest");
  s.settle();
  s.check(wall(s) != nullptr, "the wall is presented");
  s.check(pages(s) == 5, "five cards");
  if (s.serverSide()) {
    s.checkEvents(kRequestEvent, 5, "a request event for each of the first five apps");
    s.checkEvents(kShowEvent, 1, "one show event");
  }
  s.screenshot();
  s.end();
}

void swipeTo(Session& s, long page) {
  const std::string number = std::to_string(page + 1);
  s.begin("0" + std::to_string(7 + page) + "-wall-page-" + number, "Swiped to page " + number,
          "The user swipes the cards one page on. When the strip settles on a new page, "
          "that card's impression is reported.");
  auto cards = strip(s);
  long settled = -1;
  if (s.check(cards != nullptr, "the card strip is there")) {
    settled = swipe(cards, cards->bounds().width());
  }
  s.check(settled == page, "the strip settled on page " + number);
  s.settle();
  if (s.serverSide()) {
    s.checkEvents(kShowEvent, 1, "one show event");
  }
  s.screenshot();
  s.end();
}

void downloadOne(Session& s) {
  s.begin("10-wall-download", "A card downloaded",
          "The user presses \"download\" on page 3. The SDK reports the click and opens "
          "the store page; the wall takes the card off, rebuilds with the rest and starts "
          "again on its first card, whose impression is reported.");
  auto button = downloadButton(s);
  if (s.check(button != nullptr, "the download button is there")) {
    s.check(tapView(button), "the tap reached the download button");
  }
  s.settle();
  const auto opened = s.app().openedURLs();
  s.check(!opened.empty() && fromStore(opened.back()), "the store link was opened");
  s.check(pages(s) == 4, "four cards left");
  auto controller = wall(s);
  auto dots = controller ? findFirst<PageControl>(controller->view()) : nullptr;
  s.check(dots && dots->currentPage() == 0, "the wall starts again on page 1");
  if (s.serverSide()) {
    s.checkEvents(kClickEvent, 1, "one click event");
    s.checkEvents(kShowEvent, 1, "one show event");
  }
  s.screenshot();
  s.end();
}

void downloadOffline(Session& s) {
  s.begin("11-wall-offline", "Download without a network",
          "The device loses its data connection and the user presses \"download\". The "
          "card stays, and an alert asks the user to connect (请先连接网络).");
  const unsigned network = PosixPlatform::dataNetworkCode();
  PosixPlatform::setDataNetworkCode(0);
  auto button = downloadButton(s);
  if (s.check(button != nullptr, "the download button is there")) tapView(button);
  s.settle();
  auto controller = wall(s);
  auto alert = controller
                   ? std::dynamic_pointer_cast<AlertController>(controller->presentedViewController())
                   : nullptr;
  s.check(alert && alert->title() == "请先连接网络", "the no-network alert is on screen");
  s.check(pages(s) == 4, "the card stays");
  s.screenshot();
  if (alert) s.check(pressAlertAction(alert, "取消"), "the alert was dismissed");
  PosixPlatform::setDataNetworkCode(network);
  s.settle();
  s.end();
}

void downloadAll(Session& s) {
  s.begin("12-wall-empty", "Every card downloaded",
          "The user downloads every card that is left, one after another. Each download "
          "opens a store page and rebuilds the wall; after the last one the wall shows "
          "its empty state.");
  const std::size_t before = s.app().openedURLs().size();
  for (int guard = 0; guard < 10 && pages(s) > 0; ++guard) {
    auto button = downloadButton(s);
    if (!button || !tapView(button)) break;
    s.settle();
  }
  s.check(s.app().openedURLs().size() - before == 4, "four more store links were opened");
  s.check(wall(s) != nullptr && strip(s) == nullptr, "the wall shows its empty state");
  s.screenshot();
  s.end();
}

void closeWall(Session& s) {
  s.begin("13-wall-close", "The wall closed",
          "The user taps the close button of the empty wall and it is dismissed. That "
          "button carries no tag (only the full wall's close button has tag 4), so the "
          "host hears no close: the SDK names the ad that closed by the button's tag.");
  auto controller = wall(s);
  auto buttons = controller ? findAll<Button>(controller->view()) : std::vector<std::shared_ptr<Button>>{};
  if (s.check(!buttons.empty(), "the close button is there")) tapView(buttons.back());
  s.settle();
  s.check(wall(s) == nullptr, "the wall is gone");
  s.check(s.app().delegate()->count("onADClosedWithADRequest") == 1,
          "the host heard no onADClosedWithADRequest for the untagged button");
  s.screenshot();
  s.end();
}

std::shared_ptr<View> customSlots(Session& s) {
  s.begin("14-feed", "Custom slots in a feed",
          "The host fills its feed with native ads from QDXAdLoader: a text list item "
          "(type 8), native banners (type 7) at two slot sizes, and an image-and-text "
          "list item (type 9), between its own posts.");
  QDXAdLoader loader;
  loader.setADDelegate(s.app().delegate());
  std::vector<std::shared_ptr<View>> slots;
  auto load = [&](std::int32_t type, std::int64_t count, Size size) {
    std::size_t received = 0;
    loader.loadAdWithType(type, count, size, [&](const std::vector<std::shared_ptr<View>>& views) {
      received = views.size();
      char line[96];
      std::snprintf(line, sizeof line, "loader block: %zu view(s) of type %d", views.size(), type);
      s.app().delegate()->note(line);
      if (views.empty()) return;
      // A native banner comes without a frame: the host gives it its slot.
      if (type == 7) views.front()->setFrame(Rect(0, 0, size.width, size.height));
      slots.push_back(views.front());
    });
    s.check(received == static_cast<std::size_t>(count),
            std::to_string(count) + " view(s) of type " + std::to_string(type));
  };
  load(8, 1, Size{375, 80});
  load(7, 1, Size{355, 133.125});
  load(9, 1, Size{375, 250});
  load(7, 1, Size{300, 112.5});
  auto feed = s.app().showFeed(slots);
  s.settle();
  if (s.serverSide()) {
    s.check(s.stepRows("get_recommend_list").size() == 4, "four ad-list requests");
  }
  s.screenshot(feed);
  s.end();
  return slots.empty() ? nullptr : slots.front();
}

void tapSlot(Session& s, const std::shared_ptr<View>& slot, const std::shared_ptr<View>& feed) {
  s.begin("15-feed-tap", "A tap on a custom slot",
          "The user taps the text list item in the feed: the click is reported once for "
          "the day, the store page opens and the host hears onADClicked.");
  const std::size_t clicked = s.app().delegate()->count("onADClicked");
  if (s.check(slot != nullptr, "a custom slot to tap")) tapView(slot);
  s.settle();
  s.check(s.app().delegate()->count("onADClicked") == clicked + 1, "the host heard onADClicked");
  const auto opened = s.app().openedURLs();
  s.check(!opened.empty() && fromStore(opened.back()), "the store link was opened");
  if (s.serverSide()) {
    s.checkEvents(kClickEvent, 1, "one click event");
  }
  s.screenshot(feed);
  s.end();
}

void terminate(Session& s, const SessionSettings& settings, const std::shared_ptr<View>& feed) {
  s.begin("16-terminate", "The app leaves the foreground",
          "The host calls sdkTerminate: the SDK reports this period's use time and marks "
          "the app as in the background.");
  QDXAD::sdkTerminate();
  s.settle();
  if (s.serverSide()) {
    s.checkEvents(kUseTimeEvent, 1, "one use-time event");
  }
  if (settings.storeListing) {
    for (const std::string& line : settings.storeListing()) s.note(line);
  }
  s.screenshot(feed);
  s.end();
}

void secondStart(Session& s, const SessionSettings& settings) {
  s.begin("17-second-start", "A second start",
          "The app starts again as a new process on the same device. The device id is in "
          "the keychain and the activation was acknowledged, so nothing is registered or "
          "activated again.");
  const std::string file = "17-second-start.png";
  auto untilQuiet = [&] {
    if (s.hasJournal()) s.waitFor([&] { return !s.stepRows("get_configuration").empty(); }, 15);
    s.settle();
  };
  const int exitCode =
      settings.relaunch ? settings.relaunch(settings.outDir + "/" + file, untilQuiet) : -1;
  s.check(exitCode == 0, "the second start ran");
  s.settle();
  if (s.serverSide()) {
    s.check(s.stepRows("reg_dev").empty(), "no registration");
    s.checkEvents(kActivationEvent, 0, "no activation");
  }
  s.useScreenshot(file);
  s.end();
}

}  // namespace

void runOnlineSession(Session& s, const SessionSettings& settings) {
  firstStart(s, settings);
  const double height = Screen::mainScreen().bounds().height();
  const double bannerHeight = Screen::mainScreen().bounds().width() * 110 / 720;
  banner(s, 1, "02-banner-top", "A banner at the top", "at the top", 64);
  banner(s, 2, "03-banner-middle", "A banner in the middle", "in the middle",
         height / 2 - bannerHeight / 2);
  banner(s, 3, "04-banner-bottom", "A banner at the bottom", "at the bottom",
         height - bannerHeight);
  tapBanner(s);
  closeBanner(s);
  presentWall(s);
  swipeTo(s, 1);
  swipeTo(s, 2);
  downloadOne(s);
  downloadOffline(s);
  downloadAll(s);
  closeWall(s);
  auto slot = customSlots(s);
  auto feed = s.app().feedContent();
  tapSlot(s, slot, feed);
  terminate(s, settings, feed);
  secondStart(s, settings);
}

}  // namespace qdx::demo

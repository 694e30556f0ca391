// The ad manager against the reference server: the request step, the
// banner and wall flows through the facade, taps and closes, and what bad
// answers leave behind.
#include "ads/QDXADManager.h"

#include <atomic>
#include <cmath>
#include <thread>

#include "ad_flow_fixture.h"
#include "platform/env_wrapper.h"
#include "qdx/kit/InputSimulator.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/AlertController.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "transport/QDXApiBase.h"
#include "qdx/kit/PageControl.h"
#include "support/http_gate_env.h"
#include "transport/QDXHttpClient.h"
#include "ui/QDXBannerView.h"
#include "ui/QDXRecommendWallVC.h"

namespace qdx::testing {
namespace {

QDXADManager& manager() { return QDXADManager::defaultADManager(); }

// Runs a hook while the ad-list post is on its way (before it goes out),
// on the posting thread; installed in place of the test platform for its
// lifetime.
class DuringAdListPost : public EnvWrapper {
 public:
  explicit DuringAdListPost(std::function<void()> hook)
      : EnvWrapper(Env::Default()), hook_(std::move(hook)) {
    Env::Install(this);
  }
  ~DuringAdListPost() override {
    if (Env::Default() == this) Env::Install(target());
  }
  HttpResponse performHttp(const HttpRequest& request) override {
    if (request.url.find("get_recommend_list") != std::string::npos && hook_) hook_();
    return EnvWrapper::performHttp(request);
  }

 private:
  std::function<void()> hook_;
};

const std::string kBannerSize = "375 x 57.2916679";  // 375 * 110 / 720 as a float

using BannerFlowTest = AdFlowTest;

// A banner answer of three apps: the host hears the load, the first app's
// banner lands in the container at its margin, one request event and one
// show event carry the first app's ids, and onADShowed comes last with the
// banner's size. A second banner replaces the first, at the bottom.
TEST_F(BannerFlowTest, ShowsTheFirstAppReportsOnceAndMovesOnTheNextRequest) {
  auto top = QDXADRequest::initWithBannerType(1, 20, 0, hostView());
  ASSERT_TRUE(request(top, "onADShowed"));
  settle();
  EXPECT_EQ(delegate_->calls(), (std::vector<std::string>{"onADLoaded", "onADShowed " + kBannerSize}));
  const Json body = server_.entriesFor("get_recommend_list").at(0)["body"];
  EXPECT_EQ(body, Json({{"timestamp", body["timestamp"]}, {"screen", "750*1334"}, {"ad_type", 1}}));
  ASSERT_EQ(events(kRequestEvent).size(), 1u);
  EXPECT_EQ(events(kRequestEvent)[0]["ubit"], "banner上部展示");
  ASSERT_EQ(events(kShowEvent).size(), 1u);
  EXPECT_EQ(events(kShowEvent)[0]["adid"], "50001");
  EXPECT_EQ(events(kShowEvent)[0]["to_appid"], "20001");
  // The utype report is asynchronous; its answer stores the banner's flag,
  // which the second request below must see.
  ASSERT_TRUE(server_.waitForEntries("report_u_type", 1));
  ASSERT_TRUE(RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15));

  auto banner = QDXBannerView::shareBannerView();
  ASSERT_EQ(banner->superview(), hostView());
  EXPECT_DOUBLE_EQ(banner->frame().y(), 20);
  EXPECT_DOUBLE_EQ(banner->frame().height(), 375.0 * 110 / 720);
  auto children = banner->subviews();
  ASSERT_EQ(children.size(), 2u) << "the image, then the close button";
  auto image = std::dynamic_pointer_cast<kit::ImageView>(children[0]);
  ASSERT_TRUE(image && image->image());
  auto close = std::dynamic_pointer_cast<kit::Button>(children[1]);
  ASSERT_TRUE(close);
  EXPECT_EQ(close->tag(), 1);
  EXPECT_EQ(close->frame(), kit::Rect(345, 0, 30, 30));
  EXPECT_EQ(close->imageEdgeInsets(), (kit::EdgeInsets{2, 3, 3, 2}));

  auto bottom = QDXADRequest::initWithBannerType(3, 0, 10, hostView());
  QDXAD::requestADWithADRequest(bottom);
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return delegate_->count("onADShowed") == 2; }, 15));
  settle();
  EXPECT_EQ(hostView()->subviews().size(), 1u) << "one banner, moved";
  EXPECT_EQ(banner->subviews().size(), 2u);
  EXPECT_FLOAT_EQ(banner->frame().y(), 667 - 375.0f * 110 / 720 - 10);
  EXPECT_EQ(server_.entriesFor("report_u_type").size(), 1u)
      << "a second banner of the run sends no utype report";
}

// Taps go through the input simulator. The image's tap reports a click
// with the first app's ids, tells the host and opens the first app's
// link; the close button tells the host the banner's size. Both remove
// the banner.
TEST_F(BannerFlowTest, TapOpensTheFirstLinkAndCloseReportsTheSize) {
  auto top = QDXADRequest::initWithBannerType(1, 0, 0, hostView());
  ASSERT_TRUE(request(top, "onADShowed"));
  settle();
  auto banner = QDXBannerView::shareBannerView();
  ASSERT_TRUE(kit::tapView(banner->subviews().at(0)));
  settle();
  EXPECT_EQ(banner->superview(), nullptr);
  EXPECT_TRUE(banner->subviews().empty());
  EXPECT_EQ(env_.openedURLs(), std::vector<std::string>{"https://apps.qdx.invalid/app/id1000001"});
  ASSERT_EQ(events(kClickEvent).size(), 1u);
  EXPECT_EQ(events(kClickEvent)[0]["adid"], "50001");
  EXPECT_TRUE(env_.logContains("点击跳转到AppStore并关闭了banner"));

  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  ASSERT_TRUE(RunLoop::main().runUntil(
      [&] { return delegate_->count("onADShowed") == 2 && banner->subviews().size() == 2; }, 15));
  ASSERT_TRUE(kit::tapView(banner->subviews().at(1)));
  EXPECT_EQ(banner->superview(), nullptr);
  EXPECT_EQ(delegate_->calls().back(), "onADClosed " + kBannerSize);
  EXPECT_TRUE(env_.logContains("点击关闭了banner"));
  EXPECT_EQ(events(kClickEvent).size(), 1u) << "a close is no click";
}

// The banner at the top, middle and bottom of the host's screen, drawn:
// its rows carry the artwork, the rows above and below stay the host's.
TEST_F(BannerFlowTest, SnapshotsPlaceTheStripAtEachPosition) {
  hostView()->setBackgroundColor(kit::Color::white());
  const double height = 375.0 * 110 / 720;
  struct Position {
    std::int32_t type;
    double top;
  };
  for (const Position& p : {Position{1, 0}, Position{2, 667 / 2.0 - height / 2},
                            Position{3, 667 - height}}) {
    SCOPED_TRACE(p.type);
    const std::size_t shown = delegate_->count("onADShowed");
    QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(p.type, 0, 0, hostView()));
    auto banner = QDXBannerView::shareBannerView();
    ASSERT_TRUE(RunLoop::main().runUntil(
        [&] {
          return delegate_->count("onADShowed") == shown + 1 && banner->superview() &&
                 std::fabs(banner->frame().y() - p.top) < 0.01;
        },
        15));
    settle();
    auto image = kit::renderImage(hostView(), 1);
    ASSERT_TRUE(image);
    auto isWhite = [&](double y) {
      const kit::Color c = image->colorAt(100, static_cast<int>(y));
      return c.red > 0.99 && c.green > 0.99 && c.blue > 0.99;
    };
    EXPECT_FALSE(isWhite(p.top + height / 2)) << "the strip";
    if (p.top > 5) {
      EXPECT_TRUE(isWhite(p.top - 5)) << "above the strip";
    }
    if (p.top + height + 5 < 667) {
      EXPECT_TRUE(isWhite(p.top + height + 5)) << "below the strip";
    }
  }
}

// Without a network a tap still counts as a click; the alert needs a wall
// to present it, so after a banner alone it is dropped.
TEST_F(BannerFlowTest, OfflineTapWithoutAWallDropsTheAlert) {
  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  settle();
  env_.setDataNetworkCode(0);
  manager().tapAD(0);
  EXPECT_EQ(delegate_->calls().back(), "onADClicked");
  EXPECT_EQ(host_->presentedViewController(), nullptr);
  EXPECT_TRUE(env_.openedURLs().empty());
  env_.setDataNetworkCode(5);
  manager().tapAD(1);  // one link only
  EXPECT_TRUE(env_.logContains("跳转链接不存在"));
  EXPECT_TRUE(env_.openedURLs().empty());
  EXPECT_EQ(events(kClickEvent).size(), 1u) << "offline, the click report could not leave";
  EXPECT_TRUE(env_.logContains("has no recommend wall to present it from")) << "the host learns why";
}

// The utype gate: the first request of each kind in a run reports, a
// repeat of the same kind does not (once the server acknowledged it), and
// every switch between banner and wall reports again. Type 2 always
// reports and carries its label.
TEST_F(BannerFlowTest, TheUtypeReportFollowsTheKindOfTheLastRequest) {
  const std::int32_t sequence[] = {1, 1, 4, 1, 2, 2};
  const std::size_t expected[] = {1, 1, 2, 3, 4, 5};
  for (std::size_t i = 0; i < std::size(sequence); ++i) {
    manager().requestADWithADRequest(QDXADRequest::initWithADType(sequence[i]));
    // The utype report is asynchronous: its answer (which stores the
    // kind's flag) must be handled before the next request looks.
    ASSERT_TRUE(server_.waitForEntries("report_u_type", expected[i]));
    ASSERT_TRUE(RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15));
    settle(0.1);
    EXPECT_EQ(server_.entriesFor("report_u_type").size(), expected[i]) << i;
  }
  EXPECT_EQ(events(kRequestEvent).back()["ubit"], "半屏插屏展示");
  EXPECT_EQ(manager().setUbit(std::nullopt, QDXADRequest::initWithADType(7)), std::nullopt);
  EXPECT_EQ(manager().setUbit("x", QDXADRequest::initWithBannerType(4, 0, 0, nullptr)), "x");
}

// The manager's click rule: without both ids held a tap reports no click,
// yet the host hears it and the link opens; a banner without both ids
// reports no show either, but the host still hears it shown. Every tap
// with both ids reports: no once-a-day rule here.
TEST_F(BannerFlowTest, ATapReportsOnlyWithBothIdsAndEveryTime) {
  ASSERT_TRUE(server_.setFault(
      R"(get_recommend_list:payload:{"applist":[{"appid":"20009","adlist":[{"ad_down_url":"https://apps.qdx.invalid/app/id9"}]}]})"));
  manager().showBannerWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  ASSERT_TRUE(RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15));
  settle();
  EXPECT_TRUE(delegate_->heard("onADShowed"));
  EXPECT_TRUE(events(kShowEvent).empty()) << "no ad id: no show event";
  manager().tapAD(0);
  EXPECT_EQ(delegate_->calls().back(), "onADClicked");
  EXPECT_TRUE(events(kClickEvent).empty()) << "no ad id: no click event";
  EXPECT_EQ(env_.openedURLs(), std::vector<std::string>{"https://apps.qdx.invalid/app/id9"});

  ASSERT_TRUE(server_.setFault("get_recommend_list:none"));
  manager().showBannerWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  manager().tapAD(0);
  manager().tapAD(0);
  EXPECT_EQ(events(kClickEvent).size(), 2u) << "each tap reports";
  EXPECT_EQ(delegate_->count("onADClicked"), 3u);
}

// Every host callback arrives on its thread: a request's load, no-ad and
// show on that request's background thread, taps and closes on the main
// thread.
TEST_F(BannerFlowTest, EachCallbackArrivesOnTheThreadOfItsFlow) {
  const std::thread::id mainThread = std::this_thread::get_id();
  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  settle();
  auto banner = QDXBannerView::shareBannerView();
  ASSERT_TRUE(kit::tapView(banner->subviews().at(0)));
  ASSERT_TRUE(server_.setFault("get_recommend_list:no-data"));
  QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(1));
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return delegate_->count("onADLoaded") == 2; }, 15));
  ASSERT_TRUE(server_.setFault("get_recommend_list:none"));
  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  RunLoop::main().runUntil([&] { return delegate_->count("onADShowed") == 2; }, 15);
  settle();
  ASSERT_TRUE(kit::tapView(banner->subviews().at(1)));

  const std::vector<std::string> calls = delegate_->calls();
  const std::vector<std::thread::id> threads = delegate_->threads();
  ASSERT_EQ(calls, (std::vector<std::string>{"onADLoaded", "onADShowed " + kBannerSize, "onADClicked",
                                             "onNoAD -4102", "onADLoaded", "onADLoaded",
                                             "onADShowed " + kBannerSize, "onADClosed " + kBannerSize}));
  for (std::size_t i : {0, 1, 3, 4, 5, 6}) EXPECT_NE(threads[i], mainThread) << calls[i];
  for (std::size_t i : {2, 7}) EXPECT_EQ(threads[i], mainThread) << calls[i];
  EXPECT_EQ(threads[0], threads[1]) << "one flow, one thread";
  EXPECT_EQ(threads[3], threads[4]);
  EXPECT_EQ(threads[5], threads[6]);
}

class WallFlowTest : public AdFlowTest {
 protected:
  WallFlowTest() : AdFlowTest(7) {}
};

// Seven apps: the wall is presented before the request, fills seven
// cards, reports five request events (apps 0-4) and one show, and the host
// hears the screen's size. Per-page reports take that page's ids; a page
// past the list keeps them. Download without a network presents the alert
// from the wall; close tells the host the screen size.
TEST_F(WallFlowTest, FillsTheWallReportsFiveRequestsAndHandlesPagesTapsAndCloses) {
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADShowed"));
  settle();
  EXPECT_EQ(delegate_->calls(), (std::vector<std::string>{"onADLoaded", "onADShowed 375 x 667"}));
  auto wall = manager().recommendWall();
  ASSERT_TRUE(wall);
  EXPECT_EQ(host_->presentedViewController(), wall);
  EXPECT_EQ(wall->modalTransitionStyle(), kit::ModalTransitionStyleCrossDissolve);
  EXPECT_EQ(wall->appNames().size(), 7u);
  EXPECT_EQ(wall->numberArrM(), (std::vector<std::int64_t>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(manager().adDownUrlArr().size(), 7u);
  const auto requests = events(kRequestEvent);
  ASSERT_EQ(requests.size(), 5u);
  // Each request event links its app's session under (app id, ad id, type).
  for (int i = 1; i <= 7; ++i) {
    const std::string link = std::to_string(20000 + i) + std::to_string(50000 + i) + "4";
    EXPECT_EQ(QDXUserDefaults::getObjectFromLocal(link).is_string(), i <= 5) << link;
  }
  EXPECT_EQ(events(kShowEvent).size(), 1u);
  EXPECT_EQ(manager().adid(), "50001") << "request events leave the first app's ids";

  manager().reportShowEventWithPage(3);
  EXPECT_EQ(manager().adid(), "50004");
  manager().reportShowEventWithPage(7);
  EXPECT_EQ(manager().adid(), "50004") << "a page past the list keeps the ids";

  env_.setDataNetworkCode(0);
  manager().tapAD(2);
  auto alert = std::dynamic_pointer_cast<kit::AlertController>(wall->presentedViewController());
  ASSERT_TRUE(alert);
  EXPECT_EQ(alert->title(), "请先连接网络");
  ASSERT_EQ(alert->actions().size(), 2u);
  EXPECT_EQ(alert->actions()[0]->title(), "取消");
  EXPECT_EQ(alert->actions()[0]->style(), kit::AlertActionStyleCancel);
  EXPECT_EQ(alert->actions()[1]->title(), "确定");
  kit::pressAlertAction(alert, 0);
  env_.setDataNetworkCode(5);
  manager().tapAD(2);
  EXPECT_EQ(env_.openedURLs(), std::vector<std::string>{"https://apps.qdx.invalid/app/id1000003"});

  auto other = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  other->setTag(2);
  manager().closeAD(other);
  EXPECT_FALSE(delegate_->heard("onADClosed"));
  other->setTag(4);
  manager().closeAD(other);
  EXPECT_EQ(delegate_->calls().back(), "onADClosed 375 x 667");
}

// A tap reports the ids held (those of the last page reported), not the
// ids of the tapped index, whose link opens.
TEST_F(WallFlowTest, ATapReportsTheHeldIdsNotThoseOfTheTappedIndex) {
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADShowed"));
  settle();
  manager().reportShowEventWithPage(3);
  manager().tapAD(5);
  const auto clicks = events(kClickEvent);
  ASSERT_EQ(clicks.size(), 1u);
  EXPECT_EQ(clicks[0]["adid"], "50004");
  EXPECT_EQ(clicks[0]["to_appid"], "20004");
  EXPECT_EQ(clicks[0]["ubit"], "推荐墙展示");
  EXPECT_EQ(clicks[0]["adtype"], 4);
  EXPECT_EQ(env_.openedURLs(), std::vector<std::string>{"https://apps.qdx.invalid/app/id1000006"});
}

// The wall's load and show arrive on its request's background thread,
// its close on the main thread.
TEST_F(WallFlowTest, WallCallbacksArriveOnTheThreadOfTheirFlow) {
  const std::thread::id mainThread = std::this_thread::get_id();
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADShowed"));
  settle();
  auto close = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  close->setTag(4);
  manager().closeAD(close);
  const std::vector<std::thread::id> threads = delegate_->threads();
  ASSERT_EQ(delegate_->calls(),
            (std::vector<std::string>{"onADLoaded", "onADShowed 375 x 667", "onADClosed 375 x 667"}));
  EXPECT_NE(threads[0], mainThread);
  EXPECT_EQ(threads[0], threads[1]);
  EXPECT_EQ(threads[2], mainThread);
}

// A host that set no application delegate with a window gets no wall: it
// is not presented, a debug line of ours says why, and the flow goes on
// (the host still hears the wall shown).
TEST_F(WallFlowTest, WithoutAnApplicationDelegateTheWallIsNotPresentedAndALineSaysWhy) {
  kit::Application::sharedApplication().setDelegate(nullptr);
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADShowed"));
  settle();
  EXPECT_EQ(host_->presentedViewController(), nullptr);
  EXPECT_TRUE(env_.logContains("qdx: the recommend wall has no view controller to present it from"));
}

// Walls of one to four apps: one card per app in list order, dots from two
// cards on, a request event for every app (they travel on different HTTP
// workers, so in any order) linking that app's session, and one show event
// with the first app's ids.
class SmallWallFlowTest : public AdFlowTest, public ::testing::WithParamInterface<int> {
 protected:
  SmallWallFlowTest() : AdFlowTest(GetParam()) {}
};

TEST_P(SmallWallFlowTest, FillsOneCardPerAppAndReportsEachAppsRequest) {
  const int apps = GetParam();
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADShowed"));
  ASSERT_TRUE(server_.waitForEntries("report_event", static_cast<std::size_t>(apps) + 1));
  settle();
  EXPECT_EQ(delegate_->calls(), (std::vector<std::string>{"onADLoaded", "onADShowed 375 x 667"}));
  auto wall = manager().recommendWall();
  ASSERT_TRUE(wall);
  EXPECT_EQ(host_->presentedViewController(), wall);
  std::vector<std::int64_t> cards;
  std::vector<std::pair<std::string, std::string>> listed;
  for (int k = 1; k <= apps; ++k) {
    cards.push_back(k - 1);
    listed.emplace_back(std::to_string(50000 + k), std::to_string(20000 + k));
  }
  EXPECT_EQ(wall->numberArrM(), cards);
  EXPECT_EQ(wall->appNames().size(), static_cast<std::size_t>(apps));
  ASSERT_TRUE(wall->pageControl());
  EXPECT_EQ(wall->pageControl()->numberOfPages(), apps >= 2 ? apps : 0);
  EXPECT_EQ(wall->scrollView()->subviews().size(), static_cast<std::size_t>(apps) * 5);

  // A request event names no app: it links its session under (app id, ad
  // id, type) in the store, one link per listed app.
  const auto requests = events(kRequestEvent);
  EXPECT_EQ(requests.size(), static_cast<std::size_t>(apps));
  for (const Json& e : requests) EXPECT_EQ(e.value("adtype", Json()), 4);
  for (const auto& [adid, appid] : listed) {
    EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal(appid + adid + "4").is_string()) << appid;
  }
  const auto shows = events(kShowEvent);
  ASSERT_EQ(shows.size(), 1u);
  EXPECT_EQ(shows[0].value("adid", Json()), "50001");
  EXPECT_EQ(shows[0].value("to_appid", Json()), "20001");
}

INSTANTIATE_TEST_SUITE_P(OneToFourApps, SmallWallFlowTest, ::testing::Values(1, 2, 3, 4));

// The wall is on screen, still empty and spinning, before its ad-list
// request leaves: the request is held at the platform until the test has
// looked.
TEST_F(WallFlowTest, PresentsTheWallBeforeItsRequestIsSent) {
  HttpGateEnv gate("get_recommend_list");
  QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(4));
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return gate.arrived() == 1; }, 15));
  settle(0.1);
  auto wall = std::dynamic_pointer_cast<QDXRecommendWallVC>(host_->presentedViewController());
  ASSERT_TRUE(wall) << "presented before the request";
  EXPECT_EQ(manager().recommendWall(), wall);
  EXPECT_TRUE(wall->appNames().empty());
  EXPECT_TRUE(wall->indicatorView() && wall->indicatorView()->isAnimating());
  EXPECT_TRUE(server_.entriesFor("get_recommend_list").empty());
  EXPECT_FALSE(delegate_->heard("onADLoaded"));
  gate.open();
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return delegate_->heard("onADShowed"); }, 15));
  settle();
  EXPECT_EQ(wall->appNames().size(), 7u);
  EXPECT_EQ(server_.entriesFor("get_recommend_list").size(), 1u);
}

class EmptyWallFlowTest : public AdFlowTest {
 protected:
  EmptyWallFlowTest() : AdFlowTest(0) {}
};

// No apps: the wall is presented, then shows its empty state; one request
// event goes out with absent ids; no show event, no onADShowed.
TEST_F(EmptyWallFlowTest, PresentsTheEmptyStateAndReportsOneRequestOnly) {
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADLoaded"));
  // The wall of this test is the one presented from its host: the manager
  // may still hold one that an earlier test of this process made.
  auto wall = std::dynamic_pointer_cast<QDXRecommendWallVC>(host_->presentedViewController());
  ASSERT_TRUE(wall);
  EXPECT_EQ(manager().recommendWall(), wall);
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return !wall->indicatorView()->isAnimating(); }, 10))
      << "the empty state stops the spinner";
  ASSERT_TRUE(server_.waitForEntries("report_event", 1));
  settle(0.5);
  EXPECT_TRUE(wall->appNames().empty());
  EXPECT_EQ(events(kRequestEvent).size(), 1u);
  const Json adid = events(kRequestEvent)[0].value("adid", Json());
  EXPECT_TRUE(adid.is_null() || adid == "") << adid;
  EXPECT_TRUE(events(kShowEvent).empty());
  EXPECT_FALSE(delegate_->heard("onADShowed"));
  // A banner with no apps stops silently after the request: the shared
  // banner stays where it was (nowhere, or an earlier test's container).
  const std::shared_ptr<kit::View> bannerParent = QDXBannerView::shareBannerView()->superview();
  QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return delegate_->count("onADLoaded") == 2; }, 15));
  settle(0.5);
  EXPECT_EQ(QDXBannerView::shareBannerView()->superview(), bannerParent);
  EXPECT_NE(bannerParent, hostView());
}

// Bad answers to the ad-list request: no crash, only the host calls an
// answer allows, and the request event still goes out (and is not left
// pending once acknowledged).
TEST_F(BannerFlowTest, BadAnswersGiveOnlyTheAllowedHostCalls) {
  struct Case {
    const char* fault;
    std::vector<std::string> heard;
    Json adid = nullptr;  // checked when given
  };
  const Case cases[] = {
      {"retcode:7", {}},
      {"drop", {}},
      // No readable "retcode" reads as 0, with nothing to decipher.
      {"garbage", {"onNoAD -4102", "onADLoaded"}},
      {"http:500", {"onNoAD -4102", "onADLoaded"}},
      {"no-data", {"onNoAD -4102", "onADLoaded"}},
      {"plaintext-data", {"onNoAD -4102", "onADLoaded"}},
      {R"(payload:{"applist":"not a list"})", {"onADLoaded"}},
      {R"(payload:{"applist":[{"appid":20001}]})", {"onADLoaded"}},
      {R"(payload:{"applist":[{"appid":"a","adlist":[]}]})", {"onADLoaded"}},
      {R"(payload:{"applist":[{"appid":7,"adlist":[{"ad_id":8,"ad_url":9,"ad_down_url":[1]}]}]})",
       {"onADLoaded"}, 8},
      {R"(payload:{"applist":[{"appid":{"k":1},"adlist":[{"ad_id":[1,"2"]}]}]})", {"onADLoaded"},
       Json::array({1, "2"})},
      {R"(payload:{"applist":[{"appname":{"x":1},"use_count":"many","adlist":"no"}]})",
       {"onADLoaded"}},
      {R"(payload:[1,2,3])", {"onADLoaded"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fault);
    ASSERT_TRUE(server_.setFault(std::string("get_recommend_list:") + c.fault));
    auto before = delegate_->calls().size();
    const Json list = manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
    EXPECT_TRUE(list.is_object());
    auto calls = delegate_->calls();
    EXPECT_EQ(std::vector<std::string>(calls.begin() + before, calls.end()), c.heard);
    if (!c.adid.is_null()) {
      EXPECT_EQ(manager().adid(), c.adid) << "ids are held as the server gave them";
    }
    // Every flow survives the same answer.
    manager().showBannerWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
    std::atomic<bool> done{false};
    std::thread wall([&done] {
      manager().showRecommendWallWithADRequest(QDXADRequest::initWithADType(4));
      done = true;
    });
    RunLoop::main().runUntil([&done] { return done.load(); }, 15);
    wall.join();
    settle(0.1);
    if (auto presented = host_->presentedViewController()) presented->dismissViewController(false, nullptr);
  }
  EXPECT_EQ(events(kRequestEvent).size(), std::size(cases) * 3) << "one per request, even a failed one";
}

// Ids travel as the server gave them: a numeric ad id goes out as a number
// in the show and click events, an object app id as that object. The
// session link describes them as text, so show and click join the
// request's session.
TEST_F(BannerFlowTest, IdsTravelAsTheServerGaveThem) {
  ASSERT_TRUE(server_.setFault(
      R"(get_recommend_list:payload:{"applist":[{"appid":{"store":"x"},"adlist":[{"ad_id":9001,"ad_down_url":"https://apps.qdx.invalid/app/id9"}]}]})"));
  manager().showBannerWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  manager().tapAD(0);
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return events(kShowEvent).size() == 1; }, 15));
  ASSERT_EQ(events(kClickEvent).size(), 1u);
  for (const Json& event : {events(kShowEvent)[0], events(kClickEvent)[0]}) {
    EXPECT_TRUE(event["adid"].is_number_integer()) << event;
    EXPECT_EQ(event["adid"], 9001);
    EXPECT_EQ(event["to_appid"], Json({{"store", "x"}}));
  }
  const Json session = QDXUserDefaults::getObjectFromLocal(R"({"store":"x"}90011)");
  ASSERT_TRUE(session.is_string()) << "the request's session link";
  for (const Json& entry : server_.entriesFor("report_event")) {
    const Json& list = entry["body"]["event_list"];
    if (list.back()["sub_type"] != kRequestEvent) {
      EXPECT_EQ(entry["body"]["id"], session);
    }
  }
}

// The host's delegate is read when each callback is due: one replaced
// while the ad-list post runs is not the one that hears onADLoaded, and
// one released meanwhile is neither kept alive by the flow nor called.
TEST_F(BannerFlowTest, TheDelegateIsReadWhenEachCallbackIsDue) {
  auto replacement = std::make_shared<HostDelegate>();
  {
    DuringAdListPost replace([&] { QDXAD::setADDelegate(replacement); });
    manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
  }
  EXPECT_TRUE(delegate_->calls().empty());
  EXPECT_EQ(replacement->calls(), std::vector<std::string>{"onADLoaded"});

  auto released = std::make_shared<HostDelegate>();
  const std::weak_ptr<HostDelegate> watch = released;
  QDXAD::setADDelegate(released);
  bool aliveAfterRelease = true;
  {
    DuringAdListPost release([&] {
      released.reset();
      aliveAfterRelease = !watch.expired();
    });
    ASSERT_TRUE(server_.setFault("get_recommend_list:no-data"));
    manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
  }
  EXPECT_FALSE(aliveAfterRelease) << "the flow held no strong copy across the post";
  EXPECT_TRUE(replacement->calls().size() == 1 && delegate_->calls().empty()) << "nobody else heard it";
}

// The list request's "timestamp" is the clock's time in milliseconds when
// the request is made, with "screen" in pixels and the request's type.
TEST_F(BannerFlowTest, TheListRequestCarriesTheClockTheScreenAndTheType) {
  env_.setNow(1767225600.25);
  manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
  env_.advance(2.5);
  manager().requestADWithADRequest(QDXADRequest::initWithADType(4));
  const auto posts = server_.entriesFor("get_recommend_list");
  ASSERT_EQ(posts.size(), 2u);
  EXPECT_EQ(posts[0]["body"],
            Json({{"timestamp", "1767225600250"}, {"screen", "750*1334"}, {"ad_type", 1}}));
  EXPECT_EQ(posts[1]["body"],
            Json({{"timestamp", "1767225602750"}, {"screen", "750*1334"}, {"ad_type", 4}}));
}

// A refused list logs its "retcode" and its "errmsg", only while debugging.
TEST_F(BannerFlowTest, ARefusedListLogsItsRetcodeAndMessage) {
  ASSERT_TRUE(server_.setFault("get_recommend_list:retcode:7"));
  manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
  const std::vector<std::string> lines = env_.logLines();
  const auto at = std::find(lines.begin(), lines.end(), "请求失败：7");
  ASSERT_NE(at, lines.end());
  ASSERT_NE(at + 1, lines.end());
  EXPECT_EQ(*(at + 1), "message：injected failure");
  QDXLog::setDebug(false);
  manager().requestADWithADRequest(QDXADRequest::initWithADType(1));
  EXPECT_EQ(env_.logCount("请求失败："), 1u);
  EXPECT_EQ(env_.logCount("message："), 1u);
}

// The banner flow fetches every listed app's artwork into the cache, not
// only the one it shows. (Addresses of this test's own, so that no earlier
// test in the process has them cached.)
TEST_F(BannerFlowTest, EveryListedAppsBannerIsPrefetched) {
  Json applist = Json::array();
  for (int app = 1; app <= 3; ++app) {
    applist.push_back({{"appid", std::to_string(20000 + app)},
                       {"adlist", Json::array({{{"ad_id", std::to_string(50000 + app)},
                                                {"ad_url", std::string(kQDXApiBase) + "/qdx/assets/banner/" +
                                                               std::to_string(app) + ".png?prefetch"}}})}});
  }
  ASSERT_TRUE(server_.setFault("get_recommend_list:payload:" + Json({{"applist", applist}}).dump()));
  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  std::vector<std::string> fetched;
  for (const Json& entry : server_.journal()) {
    const std::string url = entry.value("url", "");
    if (url.find("?prefetch") != std::string::npos) fetched.push_back(url.substr(url.find("banner/")));
  }
  EXPECT_EQ(fetched, (std::vector<std::string>{"banner/1.png?prefetch", "banner/2.png?prefetch",
                                               "banner/3.png?prefetch"}));
}

// A store link that is no text makes no URL: the tap is reported and
// logged as going to the store, and nothing opens.
TEST_F(BannerFlowTest, ALinkThatIsNoTextOpensNothing) {
  ASSERT_TRUE(server_.setFault(
      R"(get_recommend_list:payload:{"applist":[{"appid":"20009","adlist":[{"ad_id":"50009","ad_down_url":[1]}]}]})"));
  manager().showBannerWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, hostView()));
  settle();
  manager().tapAD(0);
  EXPECT_TRUE(env_.openedURLs().empty());
  EXPECT_TRUE(env_.logContains("点击跳转到AppStore"));
  EXPECT_EQ(events(kClickEvent).size(), 1u);
}

// An ad list that comes after the 10-second time-out counts as none: the
// host hears nothing, the held ids stay, and the request is still reported.
TEST_F(BannerFlowTest, AnAnswerPastTheTimeOutIsNoAnswer) {
  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  const auto heard = delegate_->calls().size();
  ASSERT_TRUE(server_.setFault("get_recommend_list:delay:11"));
  EXPECT_EQ(manager().requestADWithADRequest(QDXADRequest::initWithADType(1)), Json::object());
  EXPECT_EQ(delegate_->calls().size(), heard);
  EXPECT_EQ(manager().adid(), "50001");
  EXPECT_EQ(events(kRequestEvent).size(), 2u);
}

}  // namespace
}  // namespace qdx::testing

// The ad request record: banner placement arithmetic and finding the
// current top view controller.
#include "qdx/QDXADRequest.h"

#include <gtest/gtest.h>

#include "qdx/kit/Application.h"
#include "qdx/kit/Window.h"
#include "sdk/QDXSlotLabel.h"
#include "support/test_env.h"

namespace qdx {
namespace {

using kit::Application;
using kit::ApplicationDelegate;
using kit::Rect;
using kit::View;
using kit::ViewController;
using kit::Window;

class AdRequest : public ::testing::Test {
 protected:
  void SetUp() override { env_.setMainScreen({320, 568, 2}); }
  // The application is process-wide: leave it empty for the next case.
  void TearDown() override {
    auto& app = Application::sharedApplication();
    for (const auto& w : app.windows()) app.removeWindow(w);
    app.setDelegate(nullptr);
  }

  // A host with one normal-level window whose root controller is root_.
  void installHostWindow() {
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    auto delegate = std::make_shared<ApplicationDelegate>();
    delegate->window = window_;
    Application::sharedApplication().setDelegate(delegate);
  }

  TestEnv env_;
  std::shared_ptr<Window> window_ = std::make_shared<Window>();
  std::shared_ptr<ViewController> root_ = std::make_shared<ViewController>();
};

TEST_F(AdRequest, AMiddleBannerIsCentredOnItsViewIgnoringBothMargins) {
  auto view = std::make_shared<View>(Rect(0, 0, 320, 500));
  auto request = QDXADRequest::initWithBannerType(2, 100, 100, view);
  // 250 - 320 * 110 / 720 / 2
  EXPECT_FLOAT_EQ(request->marginTop(), static_cast<float>(250 - 320.0 * 110 / 720 / 2));
  EXPECT_NEAR(request->marginTop(), 225.5556, 1e-3);
  EXPECT_EQ(request->adType(), 1);
  EXPECT_EQ(request->bannerType(), 2);
  EXPECT_EQ(request->adContainer(), view);
}

TEST_F(AdRequest, AMiddleBannerWithoutAViewGetsANegativeMargin) {
  auto request = QDXADRequest::initWithBannerType(2, 0, 0, nullptr);
  EXPECT_NEAR(request->marginTop(), -24.4444, 1e-3);
  EXPECT_EQ(request->adContainer(), nullptr);  // no windows: no top controller
}

TEST_F(AdRequest, ABottomBannerIsPlacedByTheScreenWhateverTheView) {
  auto small = std::make_shared<View>(Rect(0, 0, 320, 200));
  auto request = QDXADRequest::initWithBannerType(3, 77, 10, small);
  EXPECT_FLOAT_EQ(request->marginTop(), static_cast<float>(568 - 320.0 * 110 / 720 - 10));
  EXPECT_NEAR(request->marginTop(), 509.1111, 1e-3);
}

TEST_F(AdRequest, UnknownBannerTypesArePlacedLikeBottomButKeepTheirValue) {
  for (int type : {0, 4}) {
    auto request = QDXADRequest::initWithBannerType(type, 5, 10, std::make_shared<View>());
    EXPECT_NEAR(request->marginTop(), 509.1111, 1e-3) << type;
    EXPECT_EQ(request->bannerType(), type);
    EXPECT_EQ(slotLabel(request->adType(), request->bannerType()), std::nullopt);
  }
}

TEST_F(AdRequest, ATopBannerKeepsItsMarginAndSwitchesTheContainerOn) {
  auto view = std::make_shared<View>(Rect(0, 0, 320, 500));
  view->setUserInteractionEnabled(false);
  auto request = QDXADRequest::initWithBannerType(1, 64.5f, 999, view);
  EXPECT_EQ(request->marginTop(), 64.5f);
  EXPECT_TRUE(view->isUserInteractionEnabled());
  EXPECT_EQ(slotLabel(1, 1), "banner上部展示");
}

TEST_F(AdRequest, TheTypeInitialiserSetsBannerFieldsOnlyForBanners) {
  installHostWindow();
  root_->view()->setUserInteractionEnabled(false);
  auto wall = QDXADRequest::initWithADType(4);
  EXPECT_EQ(wall->adType(), 4);
  EXPECT_EQ(wall->bannerType(), 0);
  EXPECT_EQ(wall->marginTop(), 0);
  EXPECT_EQ(wall->adContainer(), root_->view());
  EXPECT_TRUE(root_->view()->isUserInteractionEnabled());
  auto banner = QDXADRequest::initWithADType(1);
  EXPECT_EQ(banner->bannerType(), 1);
  EXPECT_EQ(banner->marginTop(), 0);
}

TEST_F(AdRequest, WithoutAViewTheContainerIsTheTopControllersView) {
  installHostWindow();
  auto request = QDXADRequest::initWithBannerType(1, 0, 0, nullptr);
  EXPECT_EQ(request->adContainer(), root_->view());
}

TEST_F(AdRequest, NoDelegateWindowAndNoWindowsGiveNoController) {
  EXPECT_EQ(QDXADRequest::getCurrentVC(), nullptr);
  auto request = QDXADRequest::initWithADType(1);
  EXPECT_EQ(request->adContainer(), nullptr);
}

TEST_F(AdRequest, ANonNormalDelegateWindowGivesWayToTheFirstNormalWindow) {
  auto overlay = std::make_shared<Window>();
  overlay->setWindowLevel(kit::WindowLevelAlert);
  overlay->setRootViewController(std::make_shared<ViewController>());
  auto statusBar = std::make_shared<Window>();
  statusBar->setWindowLevel(kit::WindowLevelStatusBar);
  auto normal = std::make_shared<Window>();
  auto normalRoot = std::make_shared<ViewController>();
  normal->setRootViewController(normalRoot);
  auto& app = Application::sharedApplication();
  app.addWindow(statusBar);
  app.addWindow(normal);
  auto delegate = std::make_shared<ApplicationDelegate>();
  delegate->window = overlay;
  app.setDelegate(delegate);
  EXPECT_EQ(QDXADRequest::getCurrentVC(), normalRoot);

  // With no normal window at all the delegate's window is kept.
  app.removeWindow(normal);
  EXPECT_EQ(QDXADRequest::getCurrentVC(), overlay->rootViewController());
}

TEST_F(AdRequest, AViewControllerAfterTheFirstWindowWinsOverTheChosenWindow) {
  installHostWindow();
  // windows[0] is not the chosen window; its next responder decides.
  auto first = std::make_shared<Window>();
  auto responderVC = std::make_shared<ViewController>();
  first->setNextResponder(responderVC);
  auto& app = Application::sharedApplication();
  app.removeWindow(window_);
  app.addWindow(first);
  app.addWindow(window_);
  EXPECT_EQ(QDXADRequest::getCurrentVC(), responderVC);

  // A next responder that is no view controller falls back to the root.
  auto plain = std::make_shared<View>();
  first->setNextResponder(plain);
  EXPECT_EQ(QDXADRequest::getCurrentVC(), root_);
}

TEST(SlotLabels, FollowTheAdTypeTable) {
  EXPECT_EQ(slotLabel(1, 2), "banner中部展示");
  EXPECT_EQ(slotLabel(1, 3), "banner下部展示");
  EXPECT_EQ(slotLabel(4, 0), "推荐墙展示");
  EXPECT_EQ(slotLabel(9, 0), "自定义U位-图文形式");
  EXPECT_EQ(slotLabel(6, 0), std::nullopt);
  EXPECT_EQ(presentationSlotLabel(7, 0), std::nullopt);
  EXPECT_EQ(presentationSlotLabel(5, 0), "全屏插屏展示");
  EXPECT_EQ(customSlotLabel(1), std::nullopt);
}

}  // namespace
}  // namespace qdx

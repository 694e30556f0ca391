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

using namespace kit;  // NOLINT: the test builds kit trees throughout

class AdRequest : public ::testing::Test {
 protected:
  void SetUp() override { env_.setMainScreen({320, 568, 2}); }
  // The application is process-wide: leave it empty for the next case.
  void TearDown() override {
    auto& app = Application::sharedApplication();
    for (const auto& w : app.windows()) app.removeWindow(w);
    app.setDelegate(nullptr);
  }

  TestEnv env_;
};

// On a 320 x 568 screen the banner is 320 * 110 / 720 = 48.888... high.
TEST_F(AdRequest, BannerMarginAndSlotLabelFollowTheBannerType) {
  struct Case {
    std::int32_t bannerType;
    float marginTop, marginBottom;
    double viewHeight;  // < 0: no view given
    double expected;
    std::optional<std::string> slot;
  };
  const Case cases[] = {
      {1, 64.5f, 999, 500, 64.5, "banner上部展示"},    // top: margin top as given
      {2, 100, 100, 500, 225.5556, "banner中部展示"},  // 250 - 48.888 / 2, margins ignored
      {2, 0, 0, -1, -24.4444, "banner中部展示"},       // middle without a view: negative
      {3, 77, 10, 200, 509.1111, "banner下部展示"},    // 568 - 48.888 - 10, whatever the view
      {0, 5, 10, 500, 509.1111, std::nullopt},         // unknown types: like bottom, no slot
      {4, 5, 10, 500, 509.1111, std::nullopt},
  };
  for (const Case& c : cases) {
    auto view = c.viewHeight < 0 ? nullptr : std::make_shared<View>(Rect(0, 0, 320, c.viewHeight));
    if (view) view->setUserInteractionEnabled(false);
    auto request = QDXADRequest::initWithBannerType(c.bannerType, c.marginTop, c.marginBottom, view);
    EXPECT_NEAR(request->marginTop(), c.expected, 1e-3) << c.bannerType;
    EXPECT_EQ(request->adType(), 1);
    EXPECT_EQ(request->bannerType(), c.bannerType) << "kept even when unknown";
    EXPECT_EQ(request->adContainer(), view);
    EXPECT_TRUE(!view || view->isUserInteractionEnabled());
    EXPECT_EQ(slotLabel(1, c.bannerType), c.slot) << c.bannerType;
  }
}

// The controller comes from windows[0]'s next responder when that is a
// controller; otherwise from the root of the delegate's window, or, when
// that window is not at the normal level, of the first normal window. Its
// view is the container of a request made without a view.
TEST_F(AdRequest, TheCurrentControllerFollowsTheWindowList) {
  EXPECT_EQ(QDXADRequest::getCurrentVC(), nullptr) << "no delegate window, no windows";
  EXPECT_EQ(QDXADRequest::initWithADType(1)->adContainer(), nullptr);

  auto& app = Application::sharedApplication();
  auto overlay = std::make_shared<Window>();
  overlay->setWindowLevel(WindowLevelAlert);
  overlay->setRootViewController(std::make_shared<ViewController>());
  auto statusBar = std::make_shared<Window>();
  statusBar->setWindowLevel(WindowLevelStatusBar);
  auto plainView = std::make_shared<View>();
  statusBar->setNextResponder(plainView);  // a responder, but no controller
  auto normal = std::make_shared<Window>();
  auto root = std::make_shared<ViewController>();
  normal->setRootViewController(root);
  app.addWindow(statusBar);
  app.addWindow(normal);
  auto delegate = std::make_shared<ApplicationDelegate>();
  delegate->window = overlay;
  app.setDelegate(delegate);
  EXPECT_EQ(QDXADRequest::getCurrentVC(), root);

  // The type initialiser sets the banner fields for banners only.
  root->view()->setUserInteractionEnabled(false);
  auto wall = QDXADRequest::initWithADType(4);
  EXPECT_EQ(wall->adType(), 4);
  EXPECT_EQ(wall->bannerType(), 0);
  EXPECT_EQ(wall->marginTop(), 0);
  EXPECT_EQ(wall->adContainer(), root->view());
  EXPECT_TRUE(root->view()->isUserInteractionEnabled());
  EXPECT_EQ(QDXADRequest::initWithADType(1)->bannerType(), 1);
  EXPECT_EQ(QDXADRequest::initWithBannerType(1, 0, 0, nullptr)->adContainer(), root->view());

  app.removeWindow(normal);  // no normal window: the delegate's is kept
  EXPECT_EQ(QDXADRequest::getCurrentVC(), overlay->rootViewController());

  auto responderVC = std::make_shared<ViewController>();
  statusBar->setNextResponder(responderVC);  // windows[0] decides first
  EXPECT_EQ(QDXADRequest::getCurrentVC(), responderVC);
}

TEST(SlotLabels, OtherAdTypesFollowTheirTable) {
  EXPECT_EQ(slotLabel(4, 0), "推荐墙展示");
  EXPECT_EQ(slotLabel(9, 0), "自定义U位-图文形式");
  EXPECT_EQ(slotLabel(6, 0), std::nullopt);
  EXPECT_EQ(presentationSlotLabel(7, 0), std::nullopt);
  EXPECT_EQ(presentationSlotLabel(5, 0), "全屏插屏展示");
  EXPECT_EQ(customSlotLabel(1), std::nullopt);
}

}  // namespace
}  // namespace qdx

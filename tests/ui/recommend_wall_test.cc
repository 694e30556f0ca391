// The recommend wall: its layout on two screens, the order in which the
// build reaches the view tree, paging with impressions and pre-fetches, the
// download that takes a card off the wall, the empty state and the close.
#include "ui/QDXRecommendWallVC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <future>

#include "qdx/kit/InputSimulator.h"
#include "qdx/kit/Renderer.h"
#include "qdx/RunLoop.h"
#include "platform/serial_queue.h"
#include "qdx/kit/Kit.h"
#include "sdk/QDXLog.h"
#include "support/test_env.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXImageCache.h"

namespace qdx {
namespace {

using kit::Color;
using kit::Rect;

const Color kBackBlue = Color::rgba(0, 0, 1, 1);
const Color kIconGreen = Color::rgba(0, 1, 0, 1);

// Records every event the wall reports, in order.
struct RecordingDelegate : QDXADEventDelegate {
  std::vector<std::int64_t> shows, taps;
  std::vector<std::shared_ptr<kit::Control>> closes;
  void reportShowEventWithPage(std::int64_t page) override { shows.push_back(page); }
  void tapAD(std::int64_t index) override { taps.push_back(index); }
  void closeAD(const std::shared_ptr<kit::Control>& control) override { closes.push_back(control); }
};

std::string iconURL(std::size_t k) { return "https://api.qdx.example/test/icon" + std::to_string(k) + ".png"; }
std::string backURL(std::size_t k) { return "https://api.qdx.example/test/back" + std::to_string(k) + ".png"; }

// PNG bytes of a plain 8 x 8 square of colour.
std::string solidPng(Color color) {
  auto square = std::make_shared<kit::View>(Rect(0, 0, 8, 8));
  square->setBackgroundColor(color);
  return kit::renderPng(square, 1);
}

void expectColor(const kit::Image& image, int x, int y, Color want) {
  const Color got = image.colorAt(x, y);
  const double off = std::max({std::fabs(got.red - want.red), std::fabs(got.green - want.green),
                               std::fabs(got.blue - want.blue), std::fabs(got.alpha - want.alpha)});
  EXPECT_LE(off, 0.02) << "at " << x << "," << y << ": " << got.red << " " << got.green << " "
                       << got.blue << " " << got.alpha;
}

void expectFrame(const std::shared_ptr<kit::View>& view, Rect want) {
  ASSERT_NE(view, nullptr);
  const Rect got = view->frame();
  EXPECT_DOUBLE_EQ(got.x(), want.x());
  EXPECT_DOUBLE_EQ(got.y(), want.y());
  EXPECT_DOUBLE_EQ(got.width(), want.width());
  EXPECT_DOUBLE_EQ(got.height(), want.height());
}

// A presented wall over a window, with its image cache seeded on disk and
// the API host pointed at a closed loopback port, so a miss stays a miss.
class RecommendWall : public ::testing::Test {
 protected:
  void SetUp() override { useScreen(320, 568); }
  // A swipe's prefetch runs on the wall's queue and reads through the test
  // platform: it must be done before the platform goes.
  void TearDown() override {
    if (!wall_ || !wall_->queue()) return;
    std::promise<void> drained;
    wall_->queue()->post([&drained] { drained.set_value(); });
    drained.get_future().wait();
  }

  void useScreen(double width, double height) {
    env_.setMainScreen({width, height, 2});
    env_.setConnectTo({"api.qdx.example:443:127.0.0.1:1"});
  }

  void seed(const std::string& url, const std::string& bytes) {
    std::ofstream(QDXImageCache::shareInstance().filePathForURL(url), std::ios::binary) << bytes;
  }

  // Seeds the artwork of cards [0, count) and the wall's own images.
  void seedCards(std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
      seed(backURL(k), solidPng(kBackBlue));
      seed(iconURL(k), solidPng(kIconGreen));
    }
    seed(assetURL(assets::kButtonArrow), solidPng(Color::white()));
    seed(assetURL(assets::kRecommendClose), solidPng(Color::black()));
    seed(assetURL(assets::kGuessULike), solidPng(Color::orange()));
  }

  // A wall of count cards (names "App k"), all tinted with expand, shown
  // and built.
  std::shared_ptr<QDXRecommendWallVC> showWall(std::size_t count, const std::string& expand = "FF8000") {
    wall_ = QDXRecommendWallVC::initWithAdRequest(QDXADRequest::initWithADType(4));
    for (std::size_t k = 0; k < count; ++k) {
      wall_->appNames().push_back("App " + std::to_string(k));
      wall_->icons().push_back(iconURL(k));
      wall_->backImages().push_back(backURL(k));
      wall_->descriptions().push_back("Description " + std::to_string(k));
      wall_->expands().push_back(expand);
      wall_->numberArrM().push_back(static_cast<std::int64_t>(k));
    }
    wall_->setEventDelegate(delegate_);
    window_->setRootViewController(host_);
    host_->presentViewController(wall_, true, nullptr);
    drainMainQueue();
    if (count == 0) {
      wall_->loadWithNoData();
    } else {
      wall_->loadWithData();
    }
    drainMainQueue();
    return wall_;
  }

  // Runs the main queue until every block queued so far has run.
  static void drainMainQueue() {
    bool reached = false;
    RunLoop::main().post([&reached] { reached = true; });
    RunLoop::main().runUntil([&reached] { return reached; }, 10);
  }

  // Lets every block queued on the wall's serial queue run, then the main
  // queue blocks they queued.
  void waitForQueues() {
    std::atomic<bool> reached{false};
    wall_->queue()->post([&reached] { reached = true; });
    RunLoop::main().runUntil([&reached] { return reached.load(); }, 10);
    drainMainQueue();
  }

  // Waits for the pre-fetch of a card to hand its icon over.
  bool waitForIcon(std::size_t card) {
    return RunLoop::main().runUntil([&] { return wall_->iconViews()[card]->image() != nullptr; }, 10);
  }

  // The root's children of type T, bottom first.
  template <typename T>
  std::vector<std::shared_ptr<T>> rootChildren() {
    std::vector<std::shared_ptr<T>> found;
    for (const auto& child : wall_->view()->subviews())
      if (auto typed = std::dynamic_pointer_cast<T>(child)) found.push_back(typed);
    return found;
  }
  std::shared_ptr<kit::Button> downloadButton() {
    for (const auto& button : rootChildren<kit::Button>())
      if (button->tag() != 4) return button;
    return nullptr;
  }
  std::shared_ptr<kit::Button> closeButton() {
    return std::dynamic_pointer_cast<kit::Button>(wall_->view()->viewWithTag(4));
  }

  TestEnv env_;
  std::shared_ptr<kit::Window> window_ = std::make_shared<kit::Window>();
  std::shared_ptr<kit::ViewController> host_ = std::make_shared<kit::ViewController>();
  std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
  std::shared_ptr<QDXRecommendWallVC> wall_;
};

TEST_F(RecommendWall, PlacesEveryElementOnBothScreensInSinglePrecision) {
  struct Layout {
    double width, height;
    Rect title, strip, back, icon, name, description, dots, download, brand, close, spinner;
  };
  const Layout layouts[] = {
      {320, 568, Rect(110, 64, 100, 17), Rect(0, 114, 320, 271), Rect(320, 36, 320, 235),
       Rect(320 + 105, 0, 110, 110), Rect(320 + 85, 130, 150, 20), Rect(320 + 10, 190, 300, 30),
       Rect(160, 360, 0, 20), Rect(52.5, 435, 215, 40), Rect(75, 528, 170, 20), Rect(280, 20, 40, 40),
       Rect(150, 274, 20, 20)},
      // cv = 667/568 as a float; the icon is centred with cv but sized with
      // ch, so it sits a little left of true centre (123.046875).
      {375, 667, Rect(128.90625, 75.1549301147461, 117.1875, 17), Rect(0, 133.86972045898438, 375, 317.578125),
       Rect(375, 42.2746467590332, 375, 275.390625), Rect(375 + 122.91373443603516, 0, 128.90625, 128.90625),
       Rect(375 + 99.609375, 152.658447265625, 175.78125, 23.485916137695312),
       Rect(375 + 11.71875, 223.11619567871094, 351.5625, 35.22887420654297),
       Rect(187.5, 422.7464904785156, 0, 23.485916137695312), Rect(61.5234375, 510.81866455078125, 251.953125, 40),
       Rect(87.890625, 620.0281982421875, 199.21875, 20), Rect(335, 20, 40, 40), Rect(177.5, 323.5, 20, 20)},
  };
  for (const Layout& l : layouts) {
    SCOPED_TRACE(l.width);
    useScreen(l.width, l.height);
    seedCards(2);
    showWall(2);
    auto labels = rootChildren<kit::Label>();
    ASSERT_EQ(labels.size(), 2u);
    auto cards = wall_->scrollView()->subviews();  // per card: back, tint, icon, name, description
    ASSERT_EQ(cards.size(), 10u);
    const std::pair<std::shared_ptr<kit::View>, Rect> frames[] = {
        {labels[0], l.title},     {wall_->scrollView(), l.strip}, {cards[5], l.back},
        {cards[6], l.back},       {cards[7], l.icon},             {cards[8], l.name},
        {cards[9], l.description}, {wall_->pageControl(), l.dots}, {downloadButton(), l.download},
        {labels[1], l.brand},     {closeButton(), l.close},       {wall_->indicatorView(), l.spinner},
    };
    for (const auto& [view, frame] : frames) expectFrame(view, frame);
    EXPECT_DOUBLE_EQ(labels[0]->font()->pointSize(), static_cast<double>(wall_->coefficientVertiacl() * 17));
    EXPECT_DOUBLE_EQ(labels[1]->font()->pointSize(), 14);  // the brand line never scales
    host_->dismissViewController(false, nullptr);
  }
}

TEST_F(RecommendWall, StylesTheTitleCardsAndControls) {
  seedCards(3);
  showWall(3);
  auto title = rootChildren<kit::Label>()[0];
  EXPECT_EQ(title->text(), "猜你喜欢");
  EXPECT_EQ(title->font()->fontName(), "Thonburi");
  ASSERT_EQ(title->attributedText().kerns().size(), 1u);
  EXPECT_EQ(title->attributedText().kerns()[0].length, 3u);  // all but the last character
  EXPECT_DOUBLE_EQ(title->attributedText().kerns()[0].kern, 8.0);

  auto strip = wall_->scrollView();
  EXPECT_TRUE(strip->isPagingEnabled());
  EXPECT_TRUE(strip->bounces());
  EXPECT_FALSE(strip->showsHorizontalScrollIndicator());
  EXPECT_EQ(strip->contentSize(), (kit::Size{960, 10}));
  EXPECT_EQ(strip->delegate(), wall_);

  auto cards = strip->subviews();
  ASSERT_EQ(cards.size(), 15u);
  EXPECT_EQ(cards[12]->layer().borderColor, Color::white());
  EXPECT_EQ(cards[12]->layer().shadowOffset, (kit::Size{0, 10}));
  EXPECT_DOUBLE_EQ(cards[12]->layer().shadowOpacity, 0.5);
  EXPECT_DOUBLE_EQ(cards[12]->layer().shadowRadius, 5);
  auto name = std::dynamic_pointer_cast<kit::Label>(cards[13]);
  EXPECT_EQ(name->text(), "App 2");
  EXPECT_EQ(name->font()->fontName(), "Thonburi-Bold");
  auto description = std::dynamic_pointer_cast<kit::Label>(cards[14]);
  EXPECT_EQ(description->font()->fontName(), "Thonburi-Light");
  EXPECT_EQ(description->textColor(), Color::lightText());

  EXPECT_EQ(wall_->pageControl()->numberOfPages(), 3);
  EXPECT_EQ(wall_->pageControl()->currentPageIndicatorTintColor(), Color::orange());
  auto download = downloadButton();
  EXPECT_EQ(download->titleForState(kit::ControlStateNormal), "   下 载  A P P");
  ASSERT_EQ(download->subviews().size(), 1u);
  expectFrame(download->subviews()[0], Rect(20, 10, 20, 20));
  EXPECT_EQ(rootChildren<kit::Label>()[1]->text(), "Powered by QDX");
  EXPECT_EQ(closeButton()->imageEdgeInsets(), (kit::EdgeInsets{10, 10, 10, 10}));
  EXPECT_NE(closeButton()->imageForState(kit::ControlStateNormal), nullptr);
}

TEST_F(RecommendWall, ReadsTheTintFromSixHexDigitsAndDimsTheBackImageOtherwise) {
  struct Case {
    std::optional<std::string> expand;
    std::optional<Color> overlay;
    double backAlpha;
  };
  const Case cases[] = {
      {"FF8000", Color::rgba(1.0, 128 / 255.0, 0, 0.7), 1.0},
      {"00ff7f", Color::rgba(0, 1.0, 127 / 255.0, 0.7), 1.0},
      {"#FF8000", std::nullopt, 0.7},  // seven characters
      {"FF80", std::nullopt, 0.7},
      {"", std::nullopt, 0.7},
      {std::nullopt, std::nullopt, 0.7},     // the list entry had none
      {"GG8000", Color::rgba(0, 128 / 255.0, 0, 0.7), 1.0},  // no hex digits read as 0
      {"红红红红红红", Color::rgba(0, 0, 0, 0.7), 1.0},
      {"\xF0\x9F\x98\x80" "8000", Color::rgba(0, 128 / 255.0, 0, 0.7), 1.0},  // an emoji is 2 of 6
      {"FF\xE4" "800", Color::rgba(1.0, 0, 0, 0.7), 1.0},  // a stray byte is one character
  };
  for (const Case& c : cases) {
    wall_ = QDXRecommendWallVC::initWithAdRequest(nullptr);
    wall_->appNames() = {"App"};
    wall_->icons() = {iconURL(0)};
    wall_->backImages() = {backURL(0)};
    wall_->descriptions() = {"D"};
    wall_->expands() = {c.expand};
    wall_->numberArrM() = {0};
    wall_->loadWithData();
    drainMainQueue();
    auto cards = wall_->scrollView()->subviews();
    ASSERT_EQ(cards.size(), 5u);
    const std::string label = c.expand.value_or("(absent)");
    EXPECT_EQ(cards[1]->backgroundColor().has_value(), c.overlay.has_value()) << label;
    if (c.overlay) {
      const Color got = *cards[1]->backgroundColor();
      EXPECT_NEAR(got.red, c.overlay->red, 1e-9) << label;
      EXPECT_NEAR(got.green, c.overlay->green, 1e-9) << label;
      EXPECT_NEAR(got.blue, c.overlay->blue, 1e-9) << label;
      EXPECT_NEAR(got.alpha, 0.7, 1e-9) << label;
    }
    EXPECT_DOUBLE_EQ(cards[0]->alpha(), c.backAlpha) << label;
  }
}

TEST_F(RecommendWall, InsertsTheBuildThroughTheMainQueueInItsFixedOrder) {
  seedCards(3);
  wall_ = QDXRecommendWallVC::initWithAdRequest(nullptr);
  wall_->appNames() = {"A", "B", "C"};
  wall_->icons() = {iconURL(0), iconURL(1), iconURL(2)};
  wall_->backImages() = {backURL(0), backURL(1), backURL(2)};
  wall_->descriptions() = {"a", "b", "c"};
  wall_->expands() = {"FF8000", "FF8000", "FF8000"};
  wall_->numberArrM() = {0, 1, 2};
  auto root = wall_->view();
  drainMainQueue();
  ASSERT_EQ(root->subviews().size(), 1u);  // the spinner, added on the main queue
  EXPECT_TRUE(wall_->indicatorView()->isAnimating());

  wall_->loadWithData();
  EXPECT_EQ(root->subviews().size(), 1u) << "nothing is inserted before the method returns";

  // One queued block at a time: what each adds, in order.
  std::vector<std::string> steps;
  auto describe = [&] {
    std::string kinds;
    for (const auto& child : root->subviews()) {
      if (std::dynamic_pointer_cast<kit::ActivityIndicatorView>(child)) kinds += "spinner ";
      else if (std::dynamic_pointer_cast<kit::ScrollView>(child)) kinds += "strip ";
      else if (std::dynamic_pointer_cast<kit::PageControl>(child)) kinds += "dots ";
      else if (auto b = std::dynamic_pointer_cast<kit::Button>(child)) kinds += b->tag() == 4 ? "close " : "download ";
      else if (auto l = std::dynamic_pointer_cast<kit::Label>(child)) kinds += l->text() == "猜你喜欢" ? "title " : "brand ";
    }
    return kinds + "| cards " + std::to_string(wall_->scrollView()->subviews().size() / 5) +
           (wall_->indicatorView()->isAnimating() ? " spinning" : " stopped");
  };
  for (int block = 0; block < 8; ++block) {
    RunLoop::main().runOnce(1, true);
    steps.push_back(describe());
  }
  const std::vector<std::string> want = {
      "spinner title strip | cards 0 spinning",
      "spinner title strip | cards 1 spinning",
      "spinner title strip | cards 2 spinning",
      "spinner title strip | cards 3 spinning",
      "spinner title strip dots | cards 3 spinning",
      "spinner title strip dots download | cards 3 spinning",
      "spinner title strip dots download brand | cards 3 spinning",
      "spinner title strip dots download brand close | cards 3 stopped",
  };
  EXPECT_EQ(steps, want);
  // Cards 0 and 1 got their images at build time; card 2 waits for a swipe.
  EXPECT_NE(wall_->iconViews()[1]->image(), nullptr);
  EXPECT_NE(wall_->backImageViews()[1]->image(), nullptr);
  EXPECT_EQ(wall_->iconViews()[2]->image(), nullptr);
  EXPECT_EQ(QDXImageCache::shareInstance().memoryEntry(iconURL(2)), nullptr);
}

TEST_F(RecommendWall, SwipingReportsEachNewPageOnceAndPreFetchesOneCardAhead) {
  seedCards(4);
  showWall(4);
  auto strip = wall_->scrollView();
  EXPECT_EQ(wall_->iconViews()[2]->image(), nullptr);

  // A swipe lets go one page along, on card 1: card 2's images arrive
  // through the queue.
  EXPECT_EQ(kit::swipe(strip, 320), 1);
  ASSERT_TRUE(waitForIcon(2));
  EXPECT_NE(wall_->backImageViews()[2]->image(), nullptr);
  EXPECT_TRUE(wall_->imageDataArr().empty());

  EXPECT_EQ(kit::swipe(strip, 320), 2);
  ASSERT_TRUE(waitForIcon(3));
  EXPECT_EQ(kit::swipe(strip, -320), 1);
  EXPECT_EQ(kit::swipe(strip, 320), 2);
  EXPECT_EQ(kit::swipe(strip, -320), 1);
  EXPECT_EQ(kit::swipe(strip, -320), 0);
  EXPECT_EQ(kit::swipe(strip, -320), 0);  // bounces at the start: no new page
  EXPECT_EQ(delegate_->shows, (std::vector<std::int64_t>{1, 2, 1, 2, 1, 0}));
  EXPECT_EQ(wall_->pageControl()->currentPage(), 0);
}

TEST_F(RecommendWall, ACardWithHalfItsImagesStaysBlankAtBuildAndOnPreFetch) {
  seedCards(0);
  seed(iconURL(0), solidPng(kIconGreen));  // cards 0 and 2 lack their back images
  seed(iconURL(2), solidPng(kIconGreen));
  seed(iconURL(1), solidPng(kIconGreen));
  seed(backURL(1), solidPng(kBackBlue));
  showWall(3);
  EXPECT_EQ(wall_->iconViews()[0]->image(), nullptr);
  EXPECT_NE(wall_->iconViews()[1]->image(), nullptr);
  kit::swipe(wall_->scrollView(), 320);
  waitForQueues();
  EXPECT_EQ(wall_->iconViews()[2]->image(), nullptr);
  EXPECT_EQ(wall_->backImageViews()[2]->image(), nullptr);
  EXPECT_TRUE(wall_->imageDataArr().empty());
}

TEST_F(RecommendWall, OneOrTwoCardsNeverPreFetchAndOneCardShowsNoDots) {
  for (std::size_t count : {1u, 2u}) {
    seedCards(0);
    seed(assetURL(assets::kRecommendClose), solidPng(Color::black()));
    showWall(count);
    EXPECT_EQ(wall_->pageControl()->numberOfPages(), count == 1 ? 0 : 2);
    // The last card's artwork appears only now: a pre-fetch would find it.
    seedCards(count);
    kit::swipe(wall_->scrollView(), 320);
    kit::swipe(wall_->scrollView(), -320);
    waitForQueues();
    EXPECT_EQ(wall_->iconViews()[count - 1]->image(), nullptr) << count << " cards";
    host_->dismissViewController(false, nullptr);
  }
}


TEST_F(RecommendWall, DownloadTakesTheTappedCardOffAndRestartsOnTheFirstCard) {
  seedCards(4);
  showWall(4);
  kit::swipe(wall_->scrollView(), 320);
  kit::swipe(wall_->scrollView(), 320);  // on card 2 of 4
  ASSERT_EQ(wall_->pageControl()->currentPage(), 2);
  delegate_->shows.clear();

  ASSERT_TRUE(kit::tapView(downloadButton()));
  EXPECT_EQ(delegate_->taps, (std::vector<std::int64_t>{2}));
  EXPECT_EQ(delegate_->shows, (std::vector<std::int64_t>{0}));
  EXPECT_EQ(wall_->numberArrM(), (std::vector<std::int64_t>{0, 1, 3}));
  EXPECT_EQ(wall_->appNames(), (QDXRecommendWallVC::TextList{"App 0", "App 1", "App 3"}));
  EXPECT_EQ(wall_->icons()[2], iconURL(3));
  EXPECT_EQ(wall_->backImages()[2], backURL(3));
  EXPECT_EQ(wall_->descriptions()[2], "Description 3");
  EXPECT_EQ(wall_->expands().size(), 3u);
  drainMainQueue();
  EXPECT_EQ(wall_->scrollView()->subviews().size(), 15u);
  EXPECT_EQ(wall_->scrollView()->contentOffset().x, 0);
  EXPECT_EQ(wall_->pageControl()->numberOfPages(), 3);
  EXPECT_EQ(wall_->pageControl()->currentPage(), 0);
  EXPECT_EQ(rootChildren<kit::PageControl>().size(), 1u) << "the old dots went with the old wall";

  // Card 1 of the shortened wall is the one first received as 1; the
  // next swipe reports it by that index, and the tap reports the position.
  kit::swipe(wall_->scrollView(), 320);
  ASSERT_TRUE(kit::tapView(downloadButton()));
  EXPECT_EQ(delegate_->shows, (std::vector<std::int64_t>{0, 1, 0}));
  EXPECT_EQ(delegate_->taps, (std::vector<std::int64_t>{2, 1}));
  EXPECT_EQ(wall_->numberArrM(), (std::vector<std::int64_t>{0, 3}));
}

TEST_F(RecommendWall, DownloadWithoutANetworkOnlyReportsTheTap) {
  seedCards(3);
  showWall(3);
  kit::swipe(wall_->scrollView(), 320);
  env_.setDataNetworkCode(0);
  const auto before = wall_->view()->subviews();
  ASSERT_TRUE(kit::tapView(downloadButton()));
  drainMainQueue();
  EXPECT_EQ(delegate_->taps, (std::vector<std::int64_t>{1}));
  EXPECT_EQ(delegate_->shows, (std::vector<std::int64_t>{1}));
  EXPECT_EQ(wall_->numberArrM().size(), 3u);
  EXPECT_EQ(wall_->appNames().size(), 3u);
  EXPECT_EQ(wall_->view()->subviews(), before);
}

TEST_F(RecommendWall, TheLastCardDownloadedTurnsToTheEmptyState) {
  seedCards(1);
  showWall(1);
  ASSERT_TRUE(kit::tapView(downloadButton()));
  EXPECT_EQ(delegate_->taps, (std::vector<std::int64_t>{0}));
  EXPECT_TRUE(delegate_->shows.empty());
  EXPECT_TRUE(wall_->numberArrM().empty());
  drainMainQueue();
  auto children = wall_->view()->subviews();
  ASSERT_EQ(children.size(), 2u);
  auto placeholder = std::dynamic_pointer_cast<kit::ImageView>(children[0]);
  expectFrame(placeholder, Rect(40, 150, 240, 320));
  EXPECT_NE(placeholder->image(), nullptr);
  auto close = std::dynamic_pointer_cast<kit::Button>(children[1]);
  expectFrame(close, Rect(280, 20, 40, 40));
  EXPECT_NE(close->imageForState(kit::ControlStateNormal), nullptr);

  // The empty state's close still closes the wall.
  ASSERT_TRUE(kit::tapView(close));
  EXPECT_EQ(delegate_->closes, (std::vector<std::shared_ptr<kit::Control>>{close}));
  EXPECT_EQ(host_->presentedViewController(), nullptr);
}

TEST_F(RecommendWall, TheEmptyStateWithoutArtworkStillCloses) {
  wall_ = QDXRecommendWallVC::initWithAdRequest(nullptr);
  wall_->setEventDelegate(delegate_);
  window_->setRootViewController(host_);
  host_->presentViewController(wall_, false, nullptr);
  wall_->loadWithNoData();
  drainMainQueue();
  EXPECT_FALSE(wall_->indicatorView()->isAnimating());
  auto children = wall_->view()->subviews();
  ASSERT_EQ(children.size(), 3u);  // spinner, placeholder, close
  EXPECT_EQ(std::dynamic_pointer_cast<kit::ImageView>(children[1])->image(), nullptr);
  auto close = std::dynamic_pointer_cast<kit::Button>(children[2]);
  EXPECT_EQ(close->imageForState(kit::ControlStateNormal), nullptr);
  ASSERT_TRUE(kit::tapView(close));
  EXPECT_EQ(delegate_->closes.size(), 1u);
}

TEST_F(RecommendWall, CloseLogsDismissesAndHandsTheButtonToTheDelegate) {
  seedCards(2);
  showWall(2);
  std::weak_ptr<QDXRecommendWallVC> weak = wall_;
  auto close = closeButton();
  wall_.reset();  // the presenter owns the wall now
  mydebug = true;
  ASSERT_TRUE(kit::tapView(close));
  EXPECT_EQ(env_.logCount("点击关闭了推荐墙"), 1u);
  EXPECT_EQ(delegate_->closes, (std::vector<std::shared_ptr<kit::Control>>{close}));
  EXPECT_EQ(delegate_->closes[0]->tag(), 4);
  EXPECT_EQ(host_->presentedViewController(), nullptr);
  EXPECT_TRUE(weak.expired());
}

// Pixel probes of the rendered wall at the layout's frames, on both screens.
TEST_F(RecommendWall, RendersTheStripTintDownloadButtonAndDots) {
  struct Screen {
    double width, height;
    int downloadX, downloadY, backY, dotsY;
  };
  for (const Screen s : {Screen{320, 568, 56, 438, 250, 370}, Screen{375, 667, 66, 514, 300, 434}}) {
    useScreen(s.width, s.height);
    seedCards(3);
    showWall(3);
    auto image = kit::renderImage(wall_->view(), 1);
    ASSERT_NE(image, nullptr);
    // The title line above the strip is the root's white.
    expectColor(*image, 5, 100, Color::white());
    // FF8000 at 0.7 over the blue back image.
    expectColor(*image, 10, s.backY, Color::rgba(0.7, 0.7 * 128 / 255.0, 0.3, 1));
    expectColor(*image, s.downloadX, s.downloadY, Color::rgba(20 / 255.0, 150 / 255.0, 213 / 255.0, 1));
    // Three dots centred on the middle: the current (first) one orange.
    const int middle = static_cast<int>(s.width / 2);
    expectColor(*image, middle - 16, s.dotsY, Color::orange());
    expectColor(*image, middle, s.dotsY, Color::white());
    host_->dismissViewController(false, nullptr);
  }
}

// On a tall screen the first card's back image and tint reach below the
// strip; the strip clips them, so the wall's white shows there.
TEST_F(RecommendWall, TheStripClipsItsCardsOnATallScreen) {
  useScreen(375, 812);
  seedCards(2);
  showWall(2);
  const Rect strip = wall_->scrollView()->frame();
  const Rect back = wall_->backImageViews()[0]->frame();
  ASSERT_GT(strip.y() + back.maxY(), strip.maxY() + 6) << "the card overflows the strip";
  auto image = kit::renderImage(wall_->view(), 1);
  ASSERT_NE(image, nullptr);
  const int below = static_cast<int>(std::ceil(strip.maxY())) + 2;
  expectColor(*image, 10, below, Color::white());
  expectColor(*image, 10, below - 4, Color::rgba(0.7, 0.7 * 128 / 255.0, 0.3, 1));
}

TEST_F(RecommendWall, AnInvalidTintDrawsTheBackImageAtSeventyPercent) {
  seedCards(2);
  showWall(2, "#FF8000");
  auto image = kit::renderImage(wall_->view(), 1);
  ASSERT_NE(image, nullptr);
  expectColor(*image, 10, 250, Color::rgba(0.3, 0.3, 1, 1));
}

}  // namespace
}  // namespace qdx

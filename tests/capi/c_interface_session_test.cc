// A C host's session in process, against the reference server: a bottom
// banner drawn into the host's pixels and tapped through the overlay, the
// recommend wall dragged to its second page, and custom slots placed,
// moved and removed, with each callback on its documented thread.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capi/overlay.h"
#include "common/json_access.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Application.h"
#include "qdx/qdx.h"
#include "sdk/QDXLog.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXImageCache.h"

namespace qdx {
namespace {

constexpr double kWidth = 375, kHeight = 667;

// What the C callbacks heard, with the thread of each.
struct Heard {
  std::mutex mutex;
  std::vector<std::string> calls;
  std::vector<bool> onMain;
  void add(std::string call) {
    std::lock_guard<std::mutex> lock(mutex);
    calls.push_back(std::move(call));
    onMain.push_back(RunLoop::isMainThread());
  }
  // Whether a call beginning with prefix arrived, and on the main thread.
  std::optional<bool> heardOnMain(const std::string& prefix) {
    std::lock_guard<std::mutex> lock(mutex);
    for (std::size_t i = 0; i < calls.size(); ++i) {
      if (calls[i].rfind(prefix, 0) == 0) return onMain[i];
    }
    return std::nullopt;
  }
};

Heard* heardOf(void* user) { return static_cast<Heard*>(user); }

qdx_callbacks callbacksFor(Heard& heard) {
  qdx_callbacks c = {};
  c.user = &heard;
  c.loaded = [](void* user) { heardOf(user)->add("loaded"); };
  c.no_ad = [](void* user, long code) { heardOf(user)->add("no ad " + std::to_string(code)); };
  c.clicked = [](void* user) { heardOf(user)->add("clicked"); };
  c.showed = [](void* user, std::int32_t type, float, float) {
    heardOf(user)->add("showed " + std::to_string(type));
  };
  c.closed = [](void* user, std::int32_t type, float, float) {
    heardOf(user)->add("closed " + std::to_string(type));
  };
  return c;
}

// Every done(user, slot, placed) call.
struct SlotReports {
  std::vector<std::pair<int, int>> done;  // main thread only
  static void record(void* user, int slot, int placed) {
    EXPECT_TRUE(RunLoop::isMainThread());
    static_cast<SlotReports*>(user)->done.emplace_back(slot, placed);
  }
};

class CInterfaceSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    server_.configure(env_);
    env_.setMainScreen({kWidth, kHeight, 2});
    env_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
    QDXLog::setDebug(true);
    QDXImageCache::shareInstance().reset();
    overlay_ = qdx_overlay_create(kWidth, kHeight, 2);
    ASSERT_NE(overlay_, nullptr);
    callbacks_ = callbacksFor(heard_);
    qdx_set_callbacks(&callbacks_);
    // The SDK starts once in a process; a later test of the same process
    // finds it started and only stores the host's identity in its own home.
    const int started = qdx_start("AppStore", 10001, ReferenceServer::kAppKey);
    ASSERT_TRUE(started == QDX_OK || started == QDX_ERROR_STATE) << started;
    testing::storeHostIdentity();
  }
  void TearDown() override {
    qdx_set_callbacks(nullptr);
    qdx_overlay_destroy(overlay_);
  }

  // Pumps until predicate holds or seconds pass.
  static bool pumpUntil(const std::function<bool()>& predicate, double seconds = 20) {
    return RunLoop::main().runUntil(predicate, seconds);
  }
  bool heard(const std::string& prefix) { return heard_.heardOnMain(prefix).has_value(); }

  // Draws the whole overlay into pixels_ (BGRA) and returns the alpha at a point.
  int alphaAt(double x, double y) {
    pixels_.assign(static_cast<std::size_t>(kWidth * 2 * kHeight * 2 * 4), 0);
    qdx_overlay_draw(overlay_, pixels_.data(), int(kWidth * 2 * 4), QDX_FORMAT_BGRA8_PREMULTIPLIED);
    return pixels_[(std::size_t(y * 2) * std::size_t(kWidth * 2) + std::size_t(x * 2)) * 4 + 3];
  }

  std::vector<kit::View*> rootSubviews() {
    std::vector<kit::View*> found;
    for (const auto& view : inside()->root->view()->subviews()) found.push_back(view.get());
    return found;
  }

  // What the handle stands for, to look at its views.
  capi::Overlay* inside() { return capi::overlayOf(overlay_); }

  TestEnv env_;
  ReferenceServer server_;
  Heard heard_;
  qdx_callbacks callbacks_{};
  qdx_overlay* overlay_ = nullptr;
  std::vector<std::uint8_t> pixels_;
};

TEST_F(CInterfaceSessionTest, ABottomBannerIsDrawnAndATapReachesTheHostAndTheServer) {
  EXPECT_EQ(qdx_start("AppStore", 10001, ReferenceServer::kAppKey), QDX_ERROR_STATE);
  ASSERT_EQ(qdx_request_banner(overlay_, 3, 0, 10), QDX_OK);
  ASSERT_TRUE(pumpUntil([&] { return heard("showed 1"); }));
  RunLoop::main().runFor(0.3);
  EXPECT_EQ(heard_.heardOnMain("showed 1"), false) << "showed comes on the request's thread";
  EXPECT_EQ(heard_.heardOnMain("loaded"), false);

  const double bannerHeight = kWidth * 110 / 720;
  const double y = kHeight - 10 - bannerHeight / 2;
  EXPECT_EQ(qdx_overlay_needs_display(overlay_), 1);
  EXPECT_GT(alphaAt(kWidth / 2, y), 0) << "the banner is drawn";
  EXPECT_EQ(alphaAt(kWidth / 2, 100), 0) << "the rest of the overlay is transparent";

  const double t = env_.monotonicNow();
  EXPECT_EQ(qdx_overlay_pointer(overlay_, QDX_POINTER_DOWN, kWidth / 2, y, t), 1);
  EXPECT_EQ(qdx_overlay_pointer(overlay_, QDX_POINTER_UP, kWidth / 2, y, t + 0.05), 1);
  EXPECT_EQ(heard_.heardOnMain("clicked"), true) << "clicked comes inside the tap, on the main thread";
  EXPECT_TRUE(testing::journalHolds(server_, testing::kClickEvent, 1))
      << "the click is reported before the tap returns";
  EXPECT_FALSE(env_.openedURLs().empty()) << "the store link was opened";
}

TEST_F(CInterfaceSessionTest, TheWallIsPresentedOverTheOverlayAndPagesByDrag) {
  ASSERT_EQ(qdx_request_wall(overlay_), QDX_OK);
  ASSERT_TRUE(pumpUntil([&] { return heard("showed 4"); }));
  // The presentation's animation runs on the main queue's clock: step it.
  env_.advanceMonotonic(1);
  RunLoop::main().runFor(0.3);
  EXPECT_EQ(kit::Application::sharedApplication().delegate()->window, inside()->window);
  EXPECT_GT(alphaAt(kWidth / 2, kHeight / 2), 0) << "the wall covers the overlay";

  // A drag to the left, one page on, then the settle.
  double t = env_.monotonicNow();
  const double y = 300;
  ASSERT_EQ(qdx_overlay_pointer(overlay_, QDX_POINTER_DOWN, 320, y, t), 1);
  for (int step = 1; step <= 8; ++step) {
    EXPECT_EQ(qdx_overlay_pointer(overlay_, QDX_POINTER_MOVE, 320 - step * 32, y, t += 0.02), 1);
  }
  EXPECT_EQ(qdx_overlay_pointer(overlay_, QDX_POINTER_UP, 320 - 8 * 32, y, t += 0.02), 1);
  env_.advanceMonotonic(1);
  RunLoop::main().runFor(0.3);
  bool secondPageShown = false;
  for (int attempt = 0; attempt < 100 && !secondPageShown; ++attempt) {
    secondPageShown = testing::journalHolds(server_, testing::kShowEvent, 4, "20002");
    if (!secondPageShown) RunLoop::main().runFor(0.1);
  }
  EXPECT_TRUE(secondPageShown) << "no show event for the wall's second app";
  qdx_background();
}

TEST_F(CInterfaceSessionTest, SlotsArePlacedDuringThePumpMovedAndRemoved) {
  SlotReports reports;
  const int slot = qdx_place_slot(overlay_, 7, 10, 20, 355, 133, SlotReports::record, &reports);
  ASSERT_GT(slot, 0);
  EXPECT_TRUE(reports.done.empty()) << "done comes during a later pump";
  ASSERT_TRUE(pumpUntil([&] { return !reports.done.empty(); }));
  ASSERT_EQ(reports.done, (std::vector<std::pair<int, int>>{{slot, 1}}));
  auto placed = inside()->slots->slots.at(slot).view;
  ASSERT_TRUE(placed);
  EXPECT_EQ(placed->superview(), inside()->root->view());
  EXPECT_EQ(placed->frame(), kit::Rect(10, 20, 355, 133));

  EXPECT_EQ(qdx_move_slot(overlay_, slot, 0, 300, 375, 140), QDX_OK);
  EXPECT_EQ(placed->frame(), kit::Rect(0, 300, 375, 140));
  EXPECT_EQ(qdx_remove_slot(overlay_, slot), QDX_OK);
  EXPECT_EQ(placed->superview(), nullptr);
  EXPECT_EQ(qdx_remove_slot(overlay_, slot), QDX_ERROR_ARGUMENT);

  // A list item from the host's interface file, then a slot removed while
  // it loads: done still comes once, placing nothing.
  const int item = qdx_place_slot(overlay_, 8, 0, 0, 375, 80, SlotReports::record, &reports);
  const int dropped = qdx_place_slot(overlay_, 9, 0, 100, 375, 250, SlotReports::record, &reports);
  ASSERT_GT(dropped, item);
  EXPECT_EQ(qdx_move_slot(overlay_, dropped, 0, 120, 375, 250), QDX_OK) << "a loading slot moves too";
  EXPECT_EQ(qdx_remove_slot(overlay_, dropped), QDX_OK);
  ASSERT_TRUE(pumpUntil([&] { return reports.done.size() == 3; }));
  RunLoop::main().runFor(0.2);
  EXPECT_EQ(reports.done.size(), 3u);
  for (const auto& [id, wasPlaced] : reports.done) {
    if (id == item) {
      EXPECT_EQ(wasPlaced, 1);
    } else if (id == dropped) {
      EXPECT_EQ(wasPlaced, 0);
    }
  }
  EXPECT_EQ(rootSubviews().size(), 1u) << "only the list item is on the overlay";
}

TEST_F(CInterfaceSessionTest, ADestroyedOverlayPlacesNothingAndStillReportsDone) {
  SlotReports reports;
  const int slot = qdx_place_slot(overlay_, 7, 0, 0, 355, 133, SlotReports::record, &reports);
  ASSERT_GT(slot, 0);
  qdx_overlay_destroy(overlay_);
  overlay_ = nullptr;
  EXPECT_EQ(kit::Application::sharedApplication().delegate()->window, nullptr);
  ASSERT_TRUE(pumpUntil([&] { return !reports.done.empty(); }));
  EXPECT_EQ(reports.done, (std::vector<std::pair<int, int>>{{slot, 0}}));
}

}  // namespace
}  // namespace qdx

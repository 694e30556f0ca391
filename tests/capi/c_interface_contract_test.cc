// The C interface's contracts without a server: the version, refusals of
// NULL and invalid arguments (an error return and a debug line, never a
// crash), main-thread functions called from another thread, the overlay's
// transparent drawing and damage, and the callbacks' copy semantics.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "capi/callback_delegate.h"
#include "qdx/QDXADRequest.h"
#include "qdx/qdx.h"
#include "sdk/QDXLog.h"
#include "support/test_env.h"

namespace qdx {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class CInterfaceContractTest : public ::testing::Test {
 protected:
  void SetUp() override { QDXLog::setDebug(true); }
  void TearDown() override { qdx_set_callbacks(nullptr); }

  // Expects a debug line naming function since the last call.
  void expectRefusalLogged(const std::string& function) {
    bool found = false;
    for (const std::string& line : env_.logLines()) {
      found = found || line.rfind(function + ": ", 0) == 0;
    }
    EXPECT_TRUE(found) << "no debug line from " << function;
  }

  TestEnv env_;
};

TEST_F(CInterfaceContractTest, VersionsAreTheLibrarysOwn) {
  EXPECT_STREQ(qdx_version(), "1.0.2");
  EXPECT_EQ(qdx_abi_version(), QDX_ABI_VERSION);
}

TEST_F(CInterfaceContractTest, NullOverlaysAreRefusedByEveryOverlayFunction) {
  std::uint8_t pixel[4] = {};
  qdx_rect rect;
  EXPECT_EQ(qdx_overlay_pixel_width(nullptr), -1);
  EXPECT_EQ(qdx_overlay_pixel_height(nullptr), -1);
  EXPECT_EQ(qdx_overlay_needs_display(nullptr), -1);
  EXPECT_EQ(qdx_overlay_draw(nullptr, pixel, 4, QDX_FORMAT_BGRA8_PREMULTIPLIED), -1);
  EXPECT_EQ(qdx_overlay_damage(nullptr, &rect, 1), -1);
  EXPECT_EQ(qdx_overlay_pointer(nullptr, QDX_POINTER_DOWN, 1, 1, 0), -1);
  EXPECT_EQ(qdx_request_banner(nullptr, 3, 0, 10), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_request_wall(nullptr), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_place_slot(nullptr, 7, 0, 0, 320, 50, nullptr, nullptr), -1);
  EXPECT_EQ(qdx_move_slot(nullptr, 1, 0, 0, 320, 50), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_remove_slot(nullptr, 1), QDX_ERROR_ARGUMENT);
  qdx_overlay_destroy(nullptr);
  for (const char* function : {"qdx_overlay_pixel_width", "qdx_overlay_draw", "qdx_overlay_damage",
                               "qdx_overlay_pointer", "qdx_request_banner", "qdx_place_slot",
                               "qdx_move_slot", "qdx_remove_slot"}) {
    expectRefusalLogged(function);
  }
}

TEST_F(CInterfaceContractTest, InvalidArgumentsAreRefusedWithTheirReason) {
  EXPECT_EQ(qdx_overlay_create(0, 667, 2), nullptr);
  EXPECT_EQ(qdx_overlay_create(375, kNaN, 2), nullptr);
  EXPECT_EQ(qdx_overlay_create(375, 667, -1), nullptr);
  EXPECT_EQ(qdx_overlay_create(20000, 667, 1), nullptr);  // past 16384 pixels a side
  expectRefusalLogged("qdx_overlay_create");

  qdx_overlay* overlay = qdx_overlay_create(100, 200, 2);
  ASSERT_NE(overlay, nullptr);
  std::vector<std::uint8_t> pixels(200 * 400 * 4);
  EXPECT_EQ(qdx_overlay_draw(overlay, nullptr, 800, QDX_FORMAT_BGRA8_PREMULTIPLIED), -1);
  EXPECT_EQ(qdx_overlay_draw(overlay, pixels.data(), 799, QDX_FORMAT_BGRA8_PREMULTIPLIED), -1);
  EXPECT_EQ(qdx_overlay_draw(overlay, pixels.data(), 800, 2), -1);
  EXPECT_TRUE(env_.logContains("qdx_overlay_draw: a stride of 799 bytes is shorter than a row (800)"));
  EXPECT_EQ(qdx_overlay_needs_display(overlay), 1) << "a refused draw draws nothing";

  qdx_rect rect;
  EXPECT_EQ(qdx_overlay_damage(overlay, &rect, -1), -1);
  EXPECT_EQ(qdx_overlay_damage(overlay, nullptr, 1), -1);
  EXPECT_EQ(qdx_overlay_damage(overlay, nullptr, 0), 0);

  EXPECT_EQ(qdx_overlay_pointer(overlay, 4, 10, 10, 0), -1);
  EXPECT_EQ(qdx_overlay_pointer(overlay, -1, 10, 10, 0), -1);
  EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_DOWN, kNaN, 10, 0), -1);
  EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_UP, 10, 10, INFINITY), -1);
  EXPECT_TRUE(env_.logContains("qdx_overlay_pointer: unknown pointer event kind 4"));

  EXPECT_EQ(qdx_place_slot(overlay, 4, 0, 0, 320, 50, nullptr, nullptr), -1);
  EXPECT_TRUE(env_.logContains("qdx_place_slot: ad type 4 is not a custom slot (7, 8 or 9)"));
  EXPECT_EQ(qdx_place_slot(overlay, 7, 0, 0, 0, 50, nullptr, nullptr), -1);
  EXPECT_EQ(qdx_place_slot(overlay, 7, kNaN, 0, 320, 50, nullptr, nullptr), -1);
  EXPECT_EQ(qdx_place_slot(overlay, 7, 0, 0, 320, 50, nullptr, nullptr), -1)
      << "a slot needs a started SDK";
  EXPECT_TRUE(env_.logContains("qdx_place_slot: the SDK is not started: call qdx_start first"));
  EXPECT_EQ(qdx_move_slot(overlay, 12, 0, 0, 320, 50), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_remove_slot(overlay, 12), QDX_ERROR_ARGUMENT);
  EXPECT_TRUE(env_.logContains("qdx_remove_slot: no slot 12 in this overlay"));

  EXPECT_EQ(qdx_request_banner(overlay, 3, NAN, 10), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_request_banner(overlay, 3, 0, 10), QDX_ERROR_STATE);
  EXPECT_EQ(qdx_request_wall(overlay), QDX_ERROR_STATE);
  EXPECT_EQ(qdx_start("AppStore", 10001, nullptr), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_start(nullptr, 10001, "key"), QDX_ERROR_ARGUMENT);
  EXPECT_EQ(qdx_pump(-1), -1);
  EXPECT_EQ(qdx_pump(kNaN), -1);
  qdx_overlay_destroy(overlay);
}

TEST_F(CInterfaceContractTest, NullSettingsChangeNothing) {
  qdx_set_home_directory(nullptr);
  qdx_set_ca_file(nullptr);
  qdx_set_connect_to(nullptr);
  qdx_set_network(6);
  EXPECT_TRUE(env_.logContains("qdx_set_home_directory: the string is NULL: nothing changed"));
  EXPECT_TRUE(env_.logContains("qdx_set_network: no network has the code 6"));
}

TEST_F(CInterfaceContractTest, MainThreadFunctionsRefuseOtherThreads) {
  qdx_overlay* overlay = qdx_overlay_create(100, 200, 1);
  ASSERT_NE(overlay, nullptr);
  std::vector<std::uint8_t> pixels(100 * 200 * 4);
  std::thread([&] {
    EXPECT_EQ(qdx_overlay_create(100, 200, 1), nullptr);
    EXPECT_EQ(qdx_start("AppStore", 10001, "QDXDemoAppKey2016"), QDX_ERROR_THREAD);
    EXPECT_EQ(qdx_request_banner(overlay, 3, 0, 10), QDX_ERROR_THREAD);
    EXPECT_EQ(qdx_overlay_draw(overlay, pixels.data(), 400, QDX_FORMAT_BGRA8_PREMULTIPLIED), -1);
    EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_DOWN, 5, 5, 0), -1);
    EXPECT_EQ(qdx_place_slot(overlay, 7, 0, 0, 100, 20, nullptr, nullptr), -1);
    EXPECT_EQ(qdx_pump(0), -1);
    qdx_overlay_destroy(overlay);  // refused: the overlay stays usable
  }).join();
  EXPECT_TRUE(env_.logContains("qdx_start: called off the main thread"));
  EXPECT_EQ(qdx_overlay_pixel_width(overlay), 100);
  qdx_overlay_destroy(overlay);
}

TEST_F(CInterfaceContractTest, AnEmptyOverlayIsTransparentAndSaysWhatItRedrew) {
  qdx_overlay* overlay = qdx_overlay_create(100, 200, 2);
  ASSERT_NE(overlay, nullptr);
  EXPECT_EQ(qdx_overlay_pixel_width(overlay), 200);
  EXPECT_EQ(qdx_overlay_pixel_height(overlay), 400);
  EXPECT_EQ(qdx_overlay_needs_display(overlay), 1);

  const int stride = 200 * 4 + 16;  // padding past each row stays the host's
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(stride) * 400, 0xAB);
  const int redrawn = qdx_overlay_draw(overlay, pixels.data(), stride, QDX_FORMAT_RGBA8_PREMULTIPLIED);
  ASSERT_GE(redrawn, 1);
  for (int y = 0; y < 400; ++y) {
    for (int x = 0; x < 200 * 4; ++x) ASSERT_EQ(pixels[y * stride + x], 0) << x << "," << y;
    ASSERT_EQ(pixels[y * stride + 800], 0xAB) << "row " << y << "'s padding was touched";
  }
  std::vector<qdx_rect> rects(redrawn + 2, qdx_rect{-1, -1, -1, -1});
  EXPECT_EQ(qdx_overlay_damage(overlay, rects.data(), 1), redrawn);
  EXPECT_EQ(rects[1].x, -1) << "wrote past max";
  ASSERT_EQ(qdx_overlay_damage(overlay, rects.data(), redrawn + 2), redrawn);
  long covered = 0;
  for (int i = 0; i < redrawn; ++i) covered += static_cast<long>(rects[i].width) * rects[i].height;
  EXPECT_GE(covered, 200L * 400) << "the first draw redraws everything";

  EXPECT_EQ(qdx_overlay_needs_display(overlay), 0);
  EXPECT_EQ(qdx_overlay_draw(overlay, pixels.data(), stride, QDX_FORMAT_RGBA8_PREMULTIPLIED), 0);
  EXPECT_EQ(qdx_overlay_damage(overlay, nullptr, 0), 0);
  EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_DOWN, 50, 50, 1.0), 0)
      << "the overlay's empty area leaves the pointer to the host";
  EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_UP, 50, 50, 1.1), 0);
  EXPECT_EQ(qdx_overlay_pointer(overlay, QDX_POINTER_CANCEL, kNaN, kNaN, kNaN), 0);
  qdx_overlay_destroy(overlay);
}

// Counts what the callbacks hear.
struct Heard {
  int loaded = 0, clicked = 0;
  long noAdCode = 0;
  std::int32_t showedType = 0;
  float showedWidth = 0;
};

TEST_F(CInterfaceContractTest, CallbacksAreCopiedAndAbsentOnesAreSkipped) {
  Heard heard;
  qdx_callbacks callbacks = {};
  callbacks.user = &heard;
  callbacks.clicked = [](void* user) { ++static_cast<Heard*>(user)->clicked; };
  callbacks.showed = [](void* user, std::int32_t type, float width, float) {
    static_cast<Heard*>(user)->showedType = type;
    static_cast<Heard*>(user)->showedWidth = width;
  };
  qdx_set_callbacks(&callbacks);
  callbacks.clicked = nullptr;  // the SDK kept its own copy

  auto delegate = capi::CallbackDelegate::shared();
  delegate->onADClicked();
  delegate->onADLoaded();  // no loaded callback: nothing happens
  delegate->onNoAD(-4102);
  delegate->onADShowedWithADRequest(QDXADRequest::initWithADType(4), 375, 667);
  EXPECT_EQ(heard.clicked, 1);
  EXPECT_EQ(heard.showedType, 4);
  EXPECT_EQ(heard.showedWidth, 375);

  qdx_set_callbacks(nullptr);
  delegate->onADClicked();
  delegate->onADShowedWithADRequest(nullptr, 1, 1);
  EXPECT_EQ(heard.clicked, 1);
  EXPECT_EQ(heard.showedType, 4);
}

}  // namespace
}  // namespace qdx

// The kit is main-thread only: in a debug build, its entry points stop the
// process when called from another thread, naming the call.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "qdx/kit/Label.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/View.h"
#include "qdx/kit/ViewController.h"

namespace qdx::kit {
namespace {

// Runs work on a new thread and waits for it.
template <typename Work>
void offTheMainThread(Work work) {
  std::thread thread(work);
  thread.join();
}

#ifdef NDEBUG
TEST(KitMainThreadDeathTest, ReleaseBuildsDoNotCheck) { GTEST_SKIP() << "checked in debug builds"; }
#else
TEST(KitMainThreadDeathTest, EachKindOfEntryPointNamesItsCall) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto view = std::make_shared<View>(Rect(0, 0, 10, 10));
  EXPECT_DEATH(offTheMainThread([&] { view->addSubview(std::make_shared<View>()); }),
               "qdx kit: View::addSubview called off the main thread");
  EXPECT_DEATH(offTheMainThread([&] { view->setFrame(Rect(0, 0, 5, 5)); }),
               "qdx kit: View::setFrame called off the main thread");
  EXPECT_DEATH(offTheMainThread([&] {
                 auto controller = std::make_shared<ViewController>();
                 controller->presentViewController(std::make_shared<ViewController>(), false, nullptr);
               }),
               "qdx kit: ViewController::presentViewController called off the main thread");
  EXPECT_DEATH(offTheMainThread([&] { renderPng(view, 1); }),
               "qdx kit: kit::renderPng called off the main thread");
}

TEST(KitMainThread, TheMainThreadPasses) {
  auto view = std::make_shared<View>(Rect(0, 0, 10, 10));
  auto label = std::make_shared<Label>(Rect(0, 0, 10, 10));
  view->addSubview(label);
  label->setFont(nullptr);
  EXPECT_FALSE(renderPng(view, 1).empty());
}
#endif

}  // namespace
}  // namespace qdx::kit

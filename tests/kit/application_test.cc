// The shared application: its state and open-URL service go through the
// platform, and its window list keeps order without duplicates.
#include "qdx/kit/Application.h"

#include <gtest/gtest.h>

#include "qdx/kit/Window.h"
#include "support/test_env.h"

namespace qdx::kit {
namespace {

TEST(SharedApplication, StateAndOpenedLinksGoThroughThePlatform) {
  TestEnv env;
  auto& app = Application::sharedApplication();
  app.setApplicationState(ApplicationStateBackground);
  EXPECT_EQ(env.applicationState(), 2);
  EXPECT_EQ(app.applicationState(), ApplicationStateBackground);
  env.setApplicationState(7);  // nonsense from the platform reads as active
  EXPECT_EQ(app.applicationState(), ApplicationStateActive);

  EXPECT_TRUE(app.openURL("https://apps.example/app/id1"));
  EXPECT_EQ(env.openedURLs(), (std::vector<std::string>{"https://apps.example/app/id1"}));
  EXPECT_TRUE(Application::isMainThread());
}

TEST(SharedApplication, WindowsKeepTheirOrderAndTheKeyWindowIsTheLastMadeKey) {
  TestEnv env;
  auto& app = Application::sharedApplication();
  auto a = std::make_shared<Window>();
  auto b = std::make_shared<Window>();
  a->makeKeyAndVisible();
  b->makeKeyAndVisible();
  a->makeKeyAndVisible();
  EXPECT_EQ(app.windows(), (std::vector<std::shared_ptr<Window>>{a, b}));
  EXPECT_EQ(app.keyWindow(), a);
  app.removeWindow(a);
  EXPECT_EQ(app.windows(), (std::vector<std::shared_ptr<Window>>{b}));
  EXPECT_EQ(app.keyWindow(), nullptr);
}

}  // namespace
}  // namespace qdx::kit

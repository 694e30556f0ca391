#include "identity/QDXKeyChain.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/child_process.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(QDXKeyChainTest, ItemsOutliveTheAppDataAndARestart) {
  TestEnv env;
  ChildStatus child = ChildProcess::run([root = env.tempRoot()] {
    TestEnv restarted(root);
    QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "dev-42");
    QDXKeyChain::saveUniqueStrWithName("QDX_REPORT_ACTIVE", true);
    QDXUserDefaults::saveToLocal(1, "QDX_APP_ID");
    return 0;
  });
  ASSERT_TRUE(child.succeeded()) << child.describe();

  // The app is deleted and reinstalled: its whole home goes.
  std::filesystem::remove_all(env.homeDirectory());
  TestEnv reinstalled(env.tempRoot());
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("QDX_APP_ID").is_null());
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID"), "dev-42");
  Json active = QDXKeyChain::getUniqueStrWithName("QDX_REPORT_ACTIVE");
  EXPECT_TRUE(active.is_boolean() && active == true) << active.dump();
}

// Each save replaces the last (delete before add): one item, named by its
// service and account alike, holding the latest value of whatever kind.
TEST(QDXKeyChainTest, SavingAgainLeavesOneItemWithTheLatestValue) {
  TestEnv env;
  for (const Json& value : {Json("dev"), Json(""), Json(0), Json(false), Json(1.5),
                            Json::array({1, "a"}), Json{{"k", "v"}}}) {
    QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", value);
    EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION"), value) << value.dump();
  }
  EXPECT_EQ(env.keychain().items(),
            (std::vector<std::pair<std::string, std::string>>{{"QDX_APP_VERSION", "QDX_APP_VERSION"}}));
  // Bytes that are not UTF-8 are saved mangled rather than thrown at the host.
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", std::string("\xc3\x28", 2));
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION").is_string());
}

// A name never saved, or deleted, reads null without a word; a damaged
// archive reads null too, and says so while debugging.
TEST(QDXKeyChainTest, MissingItemsReadNullSilentlyAndDamagedOnesSaySo) {
  TestEnv env;
  QDXLog::setDebug(true);
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "x");
  QDXKeyChain::deleteUniqueStrWithName("QDX_Dev_ID");
  QDXKeyChain::deleteUniqueStrWithName("QDX_Dev_ID");  // deleting again is harmless
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  EXPECT_TRUE(env.logLines().empty());

  for (const char* garbage : {"not an archive", "{\"no_root\":1}", "[1,2]", ""}) {
    ASSERT_TRUE(env.keychain().add("QDX_Dev_ID", "QDX_Dev_ID", garbage));
    for (bool debug : {false, true}) {
      QDXLog::setDebug(debug);
      env.clearLog();
      EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null()) << garbage;
      ASSERT_EQ(env.logLines().size(), debug ? 1u : 0u) << garbage;
    }
    env.keychain().remove("QDX_Dev_ID", "QDX_Dev_ID");
    EXPECT_EQ(env.logLines()[0].rfind("Unarchive of QDX_Dev_ID failed: ", 0), 0u);
  }
}

}  // namespace
}  // namespace qdx

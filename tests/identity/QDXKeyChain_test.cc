#include "identity/QDXKeyChain.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "sdk/QDXLog.h"
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
    return 0;
  });
  ASSERT_TRUE(child.succeeded()) << child.describe();

  // The app is deleted and reinstalled: its whole home goes.
  std::filesystem::remove_all(env.homeDirectory());
  TestEnv reinstalled(env.tempRoot());
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID"), "dev-42");
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_REPORT_ACTIVE"), Json(true));
}

// Each save replaces the last (delete before add): one item, named by its
// service and account alike, holding the latest value of whatever kind. A
// deleted name reads null without a word; a damaged archive
// reads null too, and says so while debugging.
TEST(QDXKeyChainTest, SavesReplaceDeletesForgetAndDamagedItemsReadNull) {
  TestEnv env;
  QDXLog::setDebug(true);
  for (const Json& value : {Json("dev"), Json(""), Json(0), Json(false), Json(1.5),
                            Json::array({1, "a"}), Json{{"k", "v"}}}) {
    QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", value);
    EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID"), value) << value.dump();
  }
  EXPECT_EQ(env.keychain().items(),
            (std::vector<std::pair<std::string, std::string>>{{"QDX_Dev_ID", "QDX_Dev_ID"}}));
  // Bytes that are not UTF-8 are saved mangled rather than thrown at the host.
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", std::string("\xc3\x28", 2));
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_string());
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

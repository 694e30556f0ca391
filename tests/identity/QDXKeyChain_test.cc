#include "identity/QDXKeyChain.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/child_process.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(QDXKeyChainTest, QueryNamesServiceAndAccountAlike) {
  Json query = QDXKeyChain::getKeychainQuery("QDX_Dev_ID");
  EXPECT_EQ(query["svce"], "QDX_Dev_ID");
  EXPECT_EQ(query["acct"], "QDX_Dev_ID");
  EXPECT_EQ(query["class"], "genp");
  EXPECT_EQ(query["pdmn"], "ck");
}

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
  EXPECT_TRUE(active.is_boolean());
  EXPECT_EQ(active, true);
}

TEST(QDXKeyChainTest, SavingTwiceLeavesOneItemWithTheSecondValue) {
  TestEnv env;
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.0");
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.1");
  EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("QDX_APP_VERSION"), "1.1");
  auto items = env.keychain().items();
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0], std::make_pair(std::string("QDX_APP_VERSION"), std::string("QDX_APP_VERSION")));
}

TEST(QDXKeyChainTest, NeverSavedOrDeletedNameReadsNullSilently) {
  TestEnv env;
  QDXLog::setDebug(true);
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "x");
  QDXKeyChain::deleteUniqueStrWithName("QDX_Dev_ID");
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  QDXKeyChain::deleteUniqueStrWithName("QDX_Dev_ID");  // deleting again is silent too
  EXPECT_TRUE(env.logLines().empty());
}

TEST(QDXKeyChainTest, DamagedArchiveReadsNullAndIsReportedOnlyWhileDebugging) {
  TestEnv env;
  for (const char* garbage : {"not an archive", "{\"no_root\":1}", "[1,2]", ""}) {
    env.keychain().remove("QDX_Dev_ID", "QDX_Dev_ID");
    ASSERT_TRUE(env.keychain().add("QDX_Dev_ID", "QDX_Dev_ID", garbage));

    QDXLog::setDebug(false);
    env.clearLog();
    EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null()) << garbage;
    EXPECT_TRUE(env.logLines().empty()) << garbage;

    QDXLog::setDebug(true);
    EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null()) << garbage;
    auto lines = env.logLines();
    ASSERT_EQ(lines.size(), 1u) << garbage;
    EXPECT_EQ(lines[0].rfind("Unarchive of QDX_Dev_ID failed: ", 0), 0u) << lines[0];
  }
}

TEST(QDXKeyChainTest, ValuesOfEveryKindRoundTrip) {
  TestEnv env;
  for (const Json& value : {Json("dev"), Json(""), Json(0), Json(false), Json(1.5),
                            Json::array({1, "a"}), Json{{"k", "v"}}}) {
    QDXKeyChain::saveUniqueStrWithName("name", value);
    EXPECT_EQ(QDXKeyChain::getUniqueStrWithName("name"), value) << value.dump();
  }
  // Bytes that are not UTF-8 are saved mangled rather than thrown at the host.
  QDXKeyChain::saveUniqueStrWithName("name", std::string("\xc3\x28", 2));
  EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("name").is_string());
}

}  // namespace
}  // namespace qdx

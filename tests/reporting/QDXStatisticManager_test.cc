// Registration and the utype report against the reference server.
#include "reporting/QDXStatisticManager.h"

#include <gtest/gtest.h>

#include "identity/QDXKeyChain.h"
#include "reporting_fixture.h"
#include "sdk/QDXLog.h"

namespace qdx {
namespace {

using testing::stored;

using UTypeTest = testing::ServerReportingTest;

TEST_F(UTypeTest, TheAnswerDecidesBetweenTheTypesFlagAndThePendingType) {
  constexpr std::int64_t kEarlier = 3;  // a refused type left by an earlier report
  struct Case {
    const char* fault;
    std::int64_t adType;
    const char* flag;  // the type's once-only flag, or none
    bool flagRaised;
    Json pending;  // "QDX_UBIT_ADTYPE" afterwards
  };
  const std::vector<Case> cases = {
      {"none", 1, "REPORT_UTYPE_SUCCESS_BANNER", true, nullptr},
      {"none", 4, "REPORT_UTYPE_SUCCESS_RECOMMEND", true, nullptr},
      {"none", 7, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit", true, nullptr},
      {"none", 8, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit", true, nullptr},
      {"none", 9, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit", true, nullptr},
      {"none", 2, nullptr, false, nullptr},  // no flag, but still cleared
      {"retcode:9", 7, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit", false, 7},  // the latest refusal
      {"garbage", 4, "REPORT_UTYPE_SUCCESS_RECOMMEND", true, nullptr},  // not JSON: reads as 0
      {"drop", 1, "REPORT_UTYPE_SUCCESS_BANNER", false, kEarlier},  // lost: not remembered
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fault) + " for type " + std::to_string(c.adType));
    for (const char* flag : {"REPORT_UTYPE_SUCCESS_BANNER", "REPORT_UTYPE_SUCCESS_RECOMMEND",
                             "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"}) {
      QDXUserDefaults::removeObjectFromLocal(flag);
    }
    QDXUserDefaults::saveToLocal(kEarlier, "QDX_UBIT_ADTYPE");
    ASSERT_TRUE(server_.setFault(std::string("report_u_type:") + c.fault));
    const std::size_t before = server_.entriesFor("report_u_type").size();
    QDXStatisticManager::reportUType_active(c.adType);
    ASSERT_TRUE(server_.waitForEntries("report_u_type", before + 1));
    settle();
    if (c.flag) {
      EXPECT_EQ(stored(c.flag), c.flagRaised ? Json(true) : Json());
    }
    EXPECT_EQ(stored("QDX_UBIT_ADTYPE"), c.pending);
  }
  EXPECT_EQ(bodiesFor("report_u_type")[0], Json({{"utype", 1}}));
}

// The whole registration, synchronously on this thread; its base-information
// post completes on the main loop.
void registerNow() { QDXStatisticManager().newThreadRegisterDevice(); }

using RegistrationTest = testing::ServerReportingTest;

TEST_F(RegistrationTest, AnUnchangedReportedVersionSendsOnlyTheActivation) {
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.0");
  registerNow();
  EXPECT_EQ(bodiesFor("report_event").at(0)["event_list"][0]["sub_type"], 6);
  settle();
  EXPECT_TRUE(server_.entriesFor("report_base_info").empty());
}

TEST_F(RegistrationTest, NoChannelOrABadAnswerStoresAndReportsNothing) {
  QDXLog::setDebug(true);
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  registerNow();
  EXPECT_TRUE(env_.logContains("渠道号为空，设备注册失败"));
  EXPECT_TRUE(server_.journal().empty());

  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  server_.setFault("reg_dev:drop");
  registerNow();
  EXPECT_TRUE(env_.logContains("注册设备返回为空"));
  for (const char* fault : {"reg_dev:garbage", "reg_dev:no-data", "reg_dev:plaintext-data",
                            "reg_dev:retcode:4", "reg_dev:http:503"}) {
    SCOPED_TRACE(fault);
    ASSERT_TRUE(server_.setFault(fault));
    registerNow();
    EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  }
  EXPECT_TRUE(server_.entriesFor("report_event").empty());
  EXPECT_EQ(server_.entriesFor("reg_dev").size(), 6u);
}

}  // namespace
}  // namespace qdx

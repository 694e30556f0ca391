// Registration and the utype report against the reference server.
#include "reporting/QDXStatisticManager.h"

#include "reporting_fixture.h"

namespace qdx::testing {
namespace {

using UTypeTest = ServerReportingTest;

TEST_F(UTypeTest, TheAnswerDecidesBetweenTheTypesFlagAndThePendingType) {
  constexpr std::int64_t kEarlier = 3;  // a refused type left by an earlier report
  const char* const flags[] = {"REPORT_UTYPE_SUCCESS_BANNER", "REPORT_UTYPE_SUCCESS_RECOMMEND",
                               "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"};
  struct Case {
    const char* fault;
    std::int64_t adType;
    const char* raised;  // the once-only flag set afterwards, if any
    Json pending;        // "QDX_UBIT_ADTYPE" afterwards
  };
  const std::vector<Case> cases = {
      {"none", 1, flags[0], nullptr},
      {"none", 4, flags[1], nullptr},
      {"none", 7, flags[2], nullptr},
      {"none", 8, flags[2], nullptr},
      {"none", 9, flags[2], nullptr},
      {"none", 2, nullptr, nullptr},         // no flag, but still cleared
      {"retcode:9", 7, nullptr, 7},          // refused: the latest type is remembered
      {"garbage", 4, flags[1], nullptr},     // not JSON: reads as 0
      {"drop", 1, nullptr, kEarlier},        // lost: not remembered
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fault) + " for type " + std::to_string(c.adType));
    for (const char* flag : flags) QDXUserDefaults::removeObjectFromLocal(flag);
    QDXUserDefaults::saveToLocal(kEarlier, "QDX_UBIT_ADTYPE");
    ASSERT_TRUE(server_.setFault(std::string("report_u_type:") + c.fault));
    const std::size_t before = server_.entriesFor("report_u_type").size();
    QDXStatisticManager::reportUType_active(c.adType);
    ASSERT_TRUE(server_.waitForEntries("report_u_type", before + 1));
    settle();
    for (const char* flag : flags) {
      EXPECT_EQ(stored(flag), flag == c.raised ? Json(true) : Json()) << flag;
    }
    EXPECT_EQ(stored("QDX_UBIT_ADTYPE"), c.pending);
  }
  EXPECT_EQ(bodiesFor("report_u_type")[0], Json({{"utype", 1}}));
}

using RegistrationTest = ServerReportingTest;

// Each registration runs synchronously on this thread; its base-information
// post completes on the main loop.
TEST_F(RegistrationTest, OnlyAChannelAndADeviceIdInTheAnswerLeadToTheActivation) {
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  QDXStatisticManager().newThreadRegisterDevice();
  EXPECT_TRUE(env_.logContains("渠道号为空，设备注册失败"));
  EXPECT_TRUE(server_.journal().empty());

  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  for (const char* fault : {"reg_dev:drop", "reg_dev:garbage", "reg_dev:no-data",
                            "reg_dev:plaintext-data", "reg_dev:retcode:4", "reg_dev:http:503"}) {
    SCOPED_TRACE(fault);
    ASSERT_TRUE(server_.setFault(fault));
    QDXStatisticManager().newThreadRegisterDevice();
    EXPECT_TRUE(QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID").is_null());
  }
  EXPECT_TRUE(env_.logContains("注册设备返回为空")) << "for the unanswered one";
  EXPECT_TRUE(server_.entriesFor("report_event").empty()) << "bad answers report nothing";

  // A good answer while "QDX_APP_VERSION" already equals the app's version:
  // the activation only, no base information.
  server_.clearFaults();
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.0");
  QDXStatisticManager().newThreadRegisterDevice();
  EXPECT_EQ(bodiesFor("report_event").at(0)["event_list"][0]["sub_type"], 6) << "registered";
  settle();
  EXPECT_TRUE(server_.entriesFor("report_base_info").empty());
}

}  // namespace
}  // namespace qdx::testing

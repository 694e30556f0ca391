// Registration and the utype report against the reference server.
#include "reporting/QDXStatisticManager.h"

#include <gtest/gtest.h>

#include "identity/QDXKeyChain.h"
#include "reporting_fixture.h"
#include "sdk/QDXLog.h"

namespace qdx {
namespace {

using testing::serveMainUntil;

class UTypeTest : public testing::ServerReportingTest {
 protected:
  // Reports adType and serves the main loop until its answer was handled.
  void reportAndSettle(std::int64_t adType) {
    const std::size_t before = server_.entriesFor("report_u_type").size();
    QDXStatisticManager::reportUType_active(adType);
    ASSERT_TRUE(server_.waitForEntries("report_u_type", before + 1));
    RunLoop::main().runFor(0.3);
  }
  static Json stored(const char* key) { return QDXUserDefaults::getObjectFromLocal(key); }
};

TEST_F(UTypeTest, EachAcknowledgedTypeRaisesItsOwnFlagAndClearsThePendingType) {
  const std::vector<std::pair<std::int64_t, const char*>> cases = {
      {1, "REPORT_UTYPE_SUCCESS_BANNER"},
      {4, "REPORT_UTYPE_SUCCESS_RECOMMEND"},
      {7, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"},
      {8, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"},
      {9, "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"}};
  for (const auto& [adType, flag] : cases) {
    SCOPED_TRACE(adType);
    QDXUserDefaults::removeObjectFromLocal(flag);
    QDXUserDefaults::saveToLocal(adType, "QDX_UBIT_ADTYPE");
    reportAndSettle(adType);
    EXPECT_EQ(stored(flag), true);
    EXPECT_TRUE(stored("QDX_UBIT_ADTYPE").is_null());
  }
  EXPECT_EQ(bodiesFor("report_u_type")[0], Json({{"utype", 1}}));
}

TEST_F(UTypeTest, AnAcknowledgedTypeWithoutAFlagStillClearsThePendingType) {
  QDXUserDefaults::saveToLocal(1, "QDX_UBIT_ADTYPE");
  reportAndSettle(2);
  EXPECT_TRUE(stored("QDX_UBIT_ADTYPE").is_null());
  for (const char* flag : {"REPORT_UTYPE_SUCCESS_BANNER", "REPORT_UTYPE_SUCCESS_RECOMMEND",
                           "REPORT_UTYPE_SUCCESS_AdTypeCustomUBit"}) {
    EXPECT_TRUE(stored(flag).is_null()) << flag;
  }
}

TEST_F(UTypeTest, ARefusalIsRememberedAndOnlyTheLatestOne) {
  server_.setFault("report_u_type:retcode:9");
  reportAndSettle(1);
  EXPECT_EQ(stored("QDX_UBIT_ADTYPE"), 1);
  reportAndSettle(7);
  EXPECT_EQ(stored("QDX_UBIT_ADTYPE"), 7);
  EXPECT_TRUE(stored("REPORT_UTYPE_SUCCESS_BANNER").is_null());
}

TEST_F(UTypeTest, AnAnswerThatIsNotJsonReadsAsSuccess) {
  server_.setFault("report_u_type:garbage");
  reportAndSettle(4);
  EXPECT_EQ(stored("REPORT_UTYPE_SUCCESS_RECOMMEND"), true);
}

TEST_F(UTypeTest, ALostAnswerIsNotRemembered) {
  server_.setFault("report_u_type:drop");
  reportAndSettle(1);
  EXPECT_TRUE(stored("QDX_UBIT_ADTYPE").is_null());
  EXPECT_TRUE(stored("REPORT_UTYPE_SUCCESS_BANNER").is_null());
}

class RegistrationTest : public testing::ServerReportingTest {
 protected:
  // Registration runs synchronously here; its base-information post
  // completes on the main loop.
  void registerNow() { QDXStatisticManager().newThreadRegisterDevice(); }
};

TEST_F(RegistrationTest, RegistrationKeepsTheDeviceIdAndReportsBaseInfoAndActivation) {
  registerNow();
  const auto bodies = bodiesFor("reg_dev");
  ASSERT_EQ(bodies.size(), 1u);
  ASSERT_TRUE(bodies[0].is_object());
  EXPECT_EQ(bodies[0].size(), 2u);
  EXPECT_TRUE(bodies[0]["appinfo"].is_object());
  EXPECT_TRUE(bodies[0]["devinfo"].is_object());

  const Json devid = QDXKeyChain::getUniqueStrWithName("QDX_Dev_ID");
  ASSERT_TRUE(devid.is_string());
  EXPECT_FALSE(devid.get<std::string>().empty());
  ASSERT_EQ(server_.entriesFor("report_event").size(), 1u);
  EXPECT_EQ(bodiesFor("report_event")[0]["event_list"][0]["sub_type"], 6);
  EXPECT_EQ(server_.entriesFor("report_event")[0]["envelope"]["devid"], devid)
      << "the activation already carries the new device id";
  EXPECT_TRUE(server_.waitForEntries("report_base_info", 1));
}

TEST_F(RegistrationTest, AnUnchangedReportedVersionSendsOnlyTheActivation) {
  QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.0");
  registerNow();
  EXPECT_EQ(server_.entriesFor("report_event").size(), 1u);
  RunLoop::main().runFor(0.3);
  EXPECT_TRUE(server_.entriesFor("report_base_info").empty());
}

TEST_F(RegistrationTest, NoChannelMeansNoRegistration) {
  QDXLog::setDebug(true);
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  registerNow();
  EXPECT_TRUE(env_.logContains("渠道号为空，设备注册失败"));
  EXPECT_TRUE(server_.journal().empty());
}

TEST_F(RegistrationTest, BadAnswersStoreNothingAndReportNothing) {
  QDXLog::setDebug(true);
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

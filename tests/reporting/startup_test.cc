// The online part of start-up, seen from the reference server: first and
// later starts, starts without network, and what earlier runs left behind.
#include <unistd.h>

#include <iterator>

#include "qdx/QDXAD.h"
#include "reporting/background_work.h"
#include "reporting/startup_reports.h"
#include "reporting_fixture.h"

namespace qdx::testing {
namespace {

class StartupTest : public ServerReportingTest {
 protected:
  // The start-ups' background threads must be done with the platform
  // before it goes.
  void TearDown() override {
    EXPECT_TRUE(serveMainUntil([] { return detachedWorkInFlight() == 0; }));
    RunLoop::main().runFor(0.2);
    EXPECT_EQ(::chdir("/"), 0);  // the crash-log tests move into their directory
  }
  std::shared_ptr<QDXAD> start() {
    return QDXAD::initWithChannel("AppStore", kTestAppId, ReferenceServer::kAppKey);
  }
  std::size_t cachedImageFiles() {
    std::error_code ignored;
    fs::directory_iterator files(env_.cachesDirectory() + "/ImageCache", ignored);
    return static_cast<std::size_t>(std::distance(files, fs::directory_iterator()));
  }
  // What an earlier run left in the keychain: registered, activated,
  // base information of this version reported.
  static void knownDevice() {
    QDXKeyChain::saveUniqueStrWithName("QDX_Dev_ID", "device-1");
    QDXKeyChain::saveUniqueStrWithName("QDX_REPORT_ACTIVE", true);
    QDXKeyChain::saveUniqueStrWithName("QDX_APP_VERSION", "1.0");
  }
  static Json keychain(const char* name) { return QDXKeyChain::getUniqueStrWithName(name); }
  // Lets a start's background work finish before the platform goes: the
  // configuration answers of `starts` starts and the image warm-ups.
  void quiesce(std::size_t starts) {
    EXPECT_TRUE(server_.waitForEntries("get_configuration", starts));
    EXPECT_TRUE(serveMainUntil([] { return detachedWorkInFlight() == 0; }));
    EXPECT_EQ(cachedImageFiles(), 4u);
    settle();
  }
  std::string crashDirectory() const { return QDXHttpRequestProxy::crashLogDirectory(); }
  // A crash log file, "17.log", as a refused crash report leaves it.
  void writeCrashLog() {
    fs::create_directories(crashDirectory());
    writePropertyListDictionary(Json{{"ex_st", "s"}, {"ex_msg", "boom"}, {"timestamp", 17}},
                                crashDirectory() + "/17.log");
  }
};

TEST_F(StartupTest, AFirstOnlineStartRegistersAndActivatesTheNextSendsOnlyTheConfiguration) {
  auto first = start();
  // Both base-information posts go out before the main loop handles any
  // answer. Registration ends with the activation's acknowledgement; the
  // configuration and base information are stored on the main loop.
  ASSERT_TRUE(server_.waitForEntries("report_base_info", 2));
  ASSERT_TRUE(serveMainUntil([] { return !keychain("QDX_REPORT_ACTIVE").is_null(); }));
  ASSERT_TRUE(serveMainUntil([&] { return cachedImageFiles() == 4; }));
  ASSERT_TRUE(serveMainUntil([] { return !stored("QDX_Global_Config").is_null(); }));
  ASSERT_TRUE(serveMainUntil([] { return !keychain("QDX_APP_VERSION").is_null(); }));
  const auto registrations = bodiesFor("reg_dev");
  ASSERT_EQ(registrations.size(), 1u);
  EXPECT_TRUE(registrations[0].contains("appinfo"));
  EXPECT_TRUE(registrations[0].contains("devinfo"));
  ASSERT_TRUE(keychain("QDX_Dev_ID").is_string());
  const auto events = server_.entriesFor("report_event");
  ASSERT_EQ(events.size(), 1u) << "one activation, sent by registration, not by the start-up";
  EXPECT_EQ(events[0]["body"]["event_list"][0]["sub_type"], 6);
  EXPECT_EQ(events[0]["envelope"]["devid"], keychain("QDX_Dev_ID")) << "the new one";
  EXPECT_EQ(server_.entriesFor("report_base_info").size(), 2u)
      << "registration sends one, and so does the start-up: neither has been "
         "acknowledged when the other decides";
  EXPECT_EQ(keychain("QDX_APP_VERSION"), "1.0");
  EXPECT_EQ(json::member(stored("QDX_Global_Config"), "server"), "qdx-server");
  for (const char* image : {"images/close120.png", "images/guess_u_like.png",
                            "recommend/images/close.png", "images/btn_arrow_bg.png"}) {
    EXPECT_EQ(server_.entriesFor(image).size(), 1u) << image;
  }

  const std::size_t postsAfterFirst = server_.journal().size();
  auto second = start();
  ASSERT_TRUE(server_.waitForEntries("get_configuration", 2));
  RunLoop::main().runFor(0.5);
  EXPECT_EQ(server_.journal().size(), postsAfterFirst + 1)
      << "no registration, activation or base info again; the images come from disk";
}

TEST_F(StartupTest, AnOfflineStartSendsNothingTheFirstOnlineOneRegistersALaterOneActivates) {
  env_.setDataNetworkCode(0);
  auto offline = start();
  settle();
  EXPECT_TRUE(server_.journal().empty());

  env_.setDataNetworkCode(5);
  ASSERT_TRUE(server_.setFault("report_event:retcode:1"));
  auto firstOnline = start();
  ASSERT_TRUE(server_.waitForEntries("report_event", 1));
  EXPECT_EQ(server_.entriesFor("reg_dev").size(), 1u);
  EXPECT_TRUE(keychain("QDX_REPORT_ACTIVE").is_null()) << "the activation was refused";

  server_.clearFaults();
  auto next = start();
  EXPECT_EQ(server_.entriesFor("report_event").size(), 2u)
      << "start-up itself activates: a device id exists";
  EXPECT_EQ(keychain("QDX_REPORT_ACTIVE"), true);
  quiesce(2);
}

TEST_F(StartupTest, LeftoversOfAnEarlierRunAreSentAtTheNextStart) {
  // An earlier run: an event and a use-time period the server refused, and
  // a refused utype report.
  knownDevice();
  const Json keptUseTime = {{"id", "R"}, {"event_list", Json::array({Json{{"type", 2}}})}};
  QDXUserDefaults::saveToLocal(keptUseTime, "QDX_USE_TIME_EVENT_LIST");
  QDXUserDefaults::saveToLocal(Json::array({R"({"id":"S","event_list":[{"event_id":1}]})"}),
                               "QDX_REPORT_EVENT_LIST");
  QDXUserDefaults::saveToLocal(4, "QDX_UBIT_ADTYPE");

  auto facade = start();
  // The use-time group is re-sent synchronously during the start.
  EXPECT_TRUE(stored("QDX_USE_TIME_EVENT_LIST").is_null());
  EXPECT_EQ(bodiesFor("report_event").at(0), keptUseTime);
  ASSERT_TRUE(serveMainUntil([] {
    return stored("QDX_REPORT_EVENT_LIST").is_null() &&
           stored("REPORT_UTYPE_SUCCESS_RECOMMEND") == true;
  }));
  EXPECT_EQ(bodiesFor("report_u_type")[0], Json({{"utype", 4}}));
  EXPECT_TRUE(stored("QDX_UBIT_ADTYPE").is_null());
  quiesce(1);
  EXPECT_EQ(bodiesFor("report_event").size(), 2u)
      << "the kept use-time group and the pending group: no new period, no activation";
}

using CrashLogUploadTest = StartupTest;

TEST_F(CrashLogUploadTest, ARefusedUploadKeepsTheFileTheNextStartDeletesItThenNothingIsLeft) {
  knownDevice();
  writeCrashLog();
  ASSERT_EQ(::chdir(crashDirectory().c_str()), 0);
  ASSERT_TRUE(server_.setFault("error_log_report:retcode:2"));
  auto refused = start();
  ASSERT_TRUE(server_.waitForEntries("error_log_report", 1));
  quiesce(1);
  EXPECT_EQ(bodiesFor("error_log_report")[0]["ex_msg"], "boom");
  EXPECT_TRUE(fs::exists(crashDirectory() + "/17.log"));

  server_.clearFaults();
  auto acknowledged = start();
  ASSERT_TRUE(serveMainUntil([&] { return fs::is_empty(crashDirectory()); }));
  fs::remove_all(crashDirectory());
  auto again = start();
  quiesce(3);
  EXPECT_EQ(server_.entriesFor("error_log_report").size(), 2u) << "a missing directory: none";
}

TEST_F(CrashLogUploadTest, FromElsewhereTheBareNameFindsNothingAndTheEmptyPostIsAcknowledged) {
  writeCrashLog();
  ASSERT_EQ(::chdir(env_.tempRoot().c_str()), 0);
  uploadCrashLogs();
  ASSERT_TRUE(server_.waitForEntries("error_log_report", 1));
  const Json body = bodiesFor("error_log_report")[0];
  EXPECT_TRUE(body.is_null() || body == Json::object() || body == "") << body.dump();
  ASSERT_TRUE(serveMainUntil([&] { return fs::is_empty(crashDirectory()); }));
}

using GlobalConfigTest = StartupTest;

TEST_F(GlobalConfigTest, GarbageKeepsTheStoredConfigurationNoDataOrNonJsonDataClearsIt) {
  QDXUserDefaults::saveToLocal(Json{{"kept", 1}}, "QDX_Global_Config");
  ASSERT_TRUE(server_.setFault("get_configuration:garbage"));
  fetchGlobalConfig();
  ASSERT_TRUE(serveMainUntil([&] { return env_.logContains("获取全局配置data解析为 nil"); }));
  EXPECT_EQ(stored("QDX_Global_Config"), Json({{"kept", 1}}));

  ASSERT_TRUE(server_.setFault("get_configuration:no-data"));
  fetchGlobalConfig();
  ASSERT_TRUE(serveMainUntil([] { return stored("QDX_Global_Config").is_null(); }));

  // A "data" that is not JSON text parses to nothing, and saving nothing
  // clears the stored configuration too.
  QDXUserDefaults::saveToLocal(Json{{"kept", 1}}, "QDX_Global_Config");
  ASSERT_TRUE(server_.setFault("get_configuration:text-data"));
  fetchGlobalConfig();
  ASSERT_TRUE(serveMainUntil([] { return stored("QDX_Global_Config").is_null(); }));
}

}  // namespace
}  // namespace qdx::testing

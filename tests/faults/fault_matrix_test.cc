// The fault matrix: every flow of a host app against the reference server
// with one endpoint failing in one way at a time. The cells come from the
// two tables below (flows with the endpoints they use, and faults), one
// cell per flow, endpoint it uses and fault that applies to that endpoint;
// a certificate belongs to the whole server, so its cells fail every
// endpoint of a flow at once.
//
// Each cell runs in three kinds of process: the test itself keeps the
// servers and never runs SDK code; a forked child prepares what the flow
// needs, switches the fault on, runs the flow and switches it off; a second
// child is the clean start afterwards. Every cell checks:
//   - no process crashed;
//   - the flow ended within its serial requests' time-outs plus 2 s (the
//     time-outs are shortened to 1 s here);
//   - the host heard only callbacks the flow may make under that fault;
//   - every event filed was acknowledged by the server, in the flow or by
//     the clean start, and nothing is left pending after it; a refused
//     activation, registration, utype report, crash log or base
//     information is sent again by the clean start.
// Deliberate behaviour is expected as it stands: the first acknowledged
// resend clears every pending group, and an event may reach the server more
// than once.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "ads/QDXADManager.h"
#include "child_session.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXAdLoader.h"
#include "qdx/kit/Button.h"
#include "support/child_process.h"

namespace qdx::testing {
namespace {

// Request and download time-outs of every process of a cell.
constexpr double kTimeout = 1.0;
// The flow's bound: its serial requests' time-outs plus this.
constexpr double kSlack = 2.0;

enum class Flow {
  kFirstStart,
  kLaterStart,
  kBanner,
  kWall,
  kNativeBanner,
  kTextForm,
  kImageTextForm,
  kTap,
  kClose,
  kTerminate,
};

// Every image the server serves ends in ".png"; the fault plan takes the
// pattern as one endpoint.
constexpr const char* kImages = "*.png";

struct FlowRow {
  Flow flow;
  const char* name;
  // The longest chain of requests the flow makes one after another: its
  // bound is this many time-outs plus kSlack.
  int serialRequests;
  // The endpoints the flow sends to, POST names and kImages.
  std::vector<const char*> endpoints;
};

// The flows. A later start finds its images on disk, a tap sends only the
// click, a close sends nothing (so only the certificate cell applies).
const std::vector<FlowRow>& flows() {
  static const std::vector<FlowRow> rows = {
      {Flow::kFirstStart, "FirstStart", 4,
       {"reg_dev", "report_event", "report_base_info", "get_configuration", kImages}},
      {Flow::kLaterStart, "LaterStart", 3,
       {"report_event", "report_u_type", "error_log_report", "report_base_info",
        "get_configuration"}},
      {Flow::kBanner, "Banner", 5, {"report_u_type", "get_recommend_list", "report_event", kImages}},
      {Flow::kWall, "Wall", 4, {"report_u_type", "get_recommend_list", "report_event", kImages}},
      {Flow::kNativeBanner, "NativeBanner", 5,
       {"report_u_type", "get_recommend_list", "report_event", kImages}},
      {Flow::kTextForm, "TextForm", 5,
       {"report_u_type", "get_recommend_list", "report_event", kImages}},
      {Flow::kImageTextForm, "ImageTextForm", 7,
       {"report_u_type", "get_recommend_list", "report_event", kImages}},
      {Flow::kTap, "Tap", 1, {"report_event"}},
      {Flow::kClose, "Close", 0, {}},
      {Flow::kTerminate, "Terminate", 1, {"report_event"}},
  };
  return rows;
}

struct FaultColumn {
  const char* name;
  // The server's fault kind ("retcode:1"); empty for the untrusted
  // certificate, which is a second server rather than a rule.
  const char* kind;
  bool forPosts;
  bool forImages;
};

// A delayed answer comes this long after the client gave up.
const std::vector<FaultColumn>& faults() {
  static const std::vector<FaultColumn> columns = {
      {"Retcode", "retcode:1", true, false},
      {"Garbage", "garbage", true, true},
      {"Http500", "http:500", true, true},
      {"DataNotHex", "plaintext-data", true, false},
      {"NoData", "no-data", true, false},
      {"Delay", "delay:2.5", true, true},
      {"Drop", "drop", true, true},
      {"UntrustedCertificate", "", false, false},
  };
  return columns;
}

struct Cell {
  const FlowRow* flow;
  std::string endpoint;  // "" for the whole server (the certificate)
  const FaultColumn* fault;

  bool untrusted() const { return fault->kind[0] == '\0'; }
  std::string rule() const { return endpoint + ":" + fault->kind; }
  std::string name() const {
    std::string where = endpoint.empty() ? "AllEndpoints" : endpoint == kImages ? "Images" : endpoint;
    return std::string(flow->name) + "_" + where + "_" + fault->name;
  }
};

// gtest prints a cell by its name, not its bytes.
void PrintTo(const Cell& cell, std::ostream* out) { *out << cell.name(); }

// The cells: the table's product, only where the flow uses the endpoint
// and the fault applies to it.
std::vector<Cell> cells() {
  std::vector<Cell> out;
  for (const FlowRow& flow : flows()) {
    for (const FaultColumn& fault : faults()) {
      if (fault.kind[0] == '\0') {
        out.push_back({&flow, "", &fault});
        continue;
      }
      for (const char* endpoint : flow.endpoints) {
        const bool image = std::string(endpoint) == kImages;
        if (image ? fault.forImages : fault.forPosts) out.push_back({&flow, endpoint, &fault});
      }
    }
  }
  return out;
}

bool isAdKind(Flow flow) {
  return flow == Flow::kBanner || flow == Flow::kWall || flow == Flow::kNativeBanner ||
         flow == Flow::kTextForm || flow == Flow::kImageTextForm;
}

bool isCustomSlot(Flow flow) {
  return flow == Flow::kNativeBanner || flow == Flow::kTextForm || flow == Flow::kImageTextForm;
}

int customType(Flow flow) {
  return flow == Flow::kNativeBanner ? 7 : flow == Flow::kTextForm ? 8 : 9;
}

// What a cell's flow child reports.
struct FlowReport {
  std::vector<std::string> calls;  // delegate calls, in order
  int blockCalls = 0;              // custom slots: the loader's block
  std::size_t views = 0;           // custom slots: views handed out
  double seconds = 0;              // from the flow's first call until all was quiet
  bool quiet = false;
};

class FaultMatrixTest : public ::testing::TestWithParam<Cell> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    root_ = env_.tempRoot();
  }

  // The banner request of a host: a top banner in the root view.
  static std::shared_ptr<QDXADRequest> bannerRequest() { return QDXADRequest::initWithADType(1); }

  // Prepares a later start: a first start, then a run whose event and
  // utype reports and crash record were refused and whose use time was
  // left, so that the later start has everything to resend; its
  // activation and base information are still to be sent.
  int prepareLaterStart() {
    auto& host = *new ChildHost(root_, server_);  // the process ends with _exit
    host.env().setTimeouts(kTimeout, kTimeout);
    auto sdk = host.start();
    if (!ChildHost::quiesce()) return 10;
    for (const char* rule : {"report_event:retcode:1", "report_u_type:retcode:1",
                             "error_log_report:retcode:1"}) {
      if (!server_.setFault(rule)) return 11;
    }
    QDXAD::requestADWithADRequest(bannerRequest());
    if (!RunLoop::main().runUntil([&] { return host.delegate().heard("onADShowed"); }, 30)) return 12;
    if (!ChildHost::quiesce()) return 13;
    QDXHttpRequestProxy::shareInstance().reportCrashWithDictionary(
        Json{{"ex_st", "Signal 11 was raised."}, {"ex_msg", "frames"}, {"timestamp", 1700000000}});
    QDXAD::sdkTerminate();
    if (!ChildHost::quiesce()) return 14;
    if (!server_.clearFaults()) return 15;
    QDXKeyChain::deleteUniqueStrWithName(keys::kReportActive);
    QDXKeyChain::saveUniqueStrWithName(keys::kReportedAppVersion, "0.9");
    return 0;
  }

  // The flow's process: what the flow needs first, then the fault, the
  // flow, quiet, and the fault off again. Writes flow.json.
  int runFlow(const Cell& cell) {
    auto& host = *new ChildHost(root_, server_);
    host.env().setTimeouts(kTimeout, kTimeout);
    const Flow flow = cell.flow->flow;
    std::shared_ptr<QDXAD> sdk;
    if (flow != Flow::kFirstStart && flow != Flow::kLaterStart) {
      sdk = host.start();
      if (!ChildHost::quiesce()) return 20;
    }
    if (flow == Flow::kTap || flow == Flow::kClose) {
      QDXAD::requestADWithADRequest(bannerRequest());
      if (!RunLoop::main().runUntil([&] { return host.delegate().heard("onADShowed"); }, 30)) {
        return 21;
      }
      if (!ChildHost::quiesce()) return 22;
    }
    host.delegate().clear();

    if (cell.untrusted()) {
      host.env().setConnectTo({untrusted().connectTo()});
    } else if (!server_.setFault(cell.rule())) {
      return 23;
    }

    FlowReport report;
    const auto began = std::chrono::steady_clock::now();
    switch (flow) {
      case Flow::kFirstStart:
      case Flow::kLaterStart:
        sdk = host.start();
        break;
      case Flow::kBanner:
        QDXAD::requestADWithADRequest(bannerRequest());
        break;
      case Flow::kWall:
        QDXAD::requestADWithADRequest(QDXADRequest::initWithADType(4));
        break;
      case Flow::kNativeBanner:
      case Flow::kTextForm:
      case Flow::kImageTextForm: {
        QDXAdLoader loader;
        loader.loadAdWithType(customType(flow), 3, kit::Size(320, 50),
                              [&](const std::vector<std::shared_ptr<kit::View>>& views) {
                                ++report.blockCalls;
                                report.views += views.size();
                              });
        break;
      }
      case Flow::kTap:
        QDXADManager::defaultADManager().tapAD(0);
        break;
      case Flow::kClose: {
        auto close = kit::Button::buttonWithType(kit::ButtonTypeCustom);
        close->setTag(1);
        QDXADManager::defaultADManager().closeAD(close);
        break;
      }
      case Flow::kTerminate:
        QDXAD::sdkTerminate();
        break;
    }
    report.quiet = ChildHost::quiesce();
    report.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    report.calls = host.delegate().calls();

    if (cell.untrusted()) {
      server_.configure(host.env());
    } else if (!server_.clearFaults()) {
      return 24;
    }
    Json out = {{"calls", report.calls},
                {"blockCalls", report.blockCalls},
                {"views", report.views},
                {"seconds", report.seconds},
                {"quiet", report.quiet}};
    writeJsonFile(root_ + "/flow.json", out);
    return 0;
  }

  // The clean start afterwards: everything pending goes out, refused
  // one-off reports are sent again. Writes after.json with both stores.
  int cleanStart() {
    auto& host = *new ChildHost(root_, server_);
    auto sdk = host.start();
    if (!ChildHost::quiesce()) return 30;
    // A device registered by this start activates on its own thread;
    // wait for it and for the configuration's completion.
    RunLoop::main().runUntil(
        [] {
          return !QDXKeyChain::getUniqueStrWithName(keys::kReportActive).is_null() &&
                 !QDXUserDefaults::getObjectFromLocal(keys::kGlobalConfig).is_null();
        },
        20);
    if (!ChildHost::quiesce()) return 31;
    writeJsonFile(root_ + "/after.json", ChildHost::storeState());
    return 0;
  }

  const ReferenceServer& untrusted() {
    if (!untrusted_) {
      ReferenceServer::Options options;
      options.catalog = 2;
      options.untrustedCertificate = true;
      untrusted_ = std::make_unique<ReferenceServer>(options);
    }
    return *untrusted_;
  }

  static ReferenceServer::Options serverOptions() {
    ReferenceServer::Options options;
    options.catalog = 2;  // two apps: every image path runs, the cells stay short
    return options;
  }

  TestEnv env_;  // the shared root; the test process itself runs no SDK code
  ReferenceServer server_{serverOptions()};
  std::unique_ptr<ReferenceServer> untrusted_;
  std::string root_;
};

// The callbacks a flow may make under the cell's fault, given what the
// child saw. Empty when they are allowed, else why not.
std::string judgeCallbacks(const Cell& cell, const FlowReport& report) {
  const Flow flow = cell.flow->flow;
  const std::vector<std::string>& calls = report.calls;
  auto is = [&](std::vector<std::string> expected) { return calls == expected; };
  const bool listFaulted = cell.untrusted() || cell.endpoint == "get_recommend_list";
  const std::string kind = cell.fault->kind;
  if (flow == Flow::kFirstStart || flow == Flow::kLaterStart || flow == Flow::kTerminate) {
    return calls.empty() ? "" : "a start or a terminate tells the host nothing";
  }
  if (flow == Flow::kTap) return is({"onADClicked"}) ? "" : "a tap is a click, whatever the network";
  if (flow == Flow::kClose) return is({"onADClosed"}) ? "" : "a close tells only onADClosed";
  if (isCustomSlot(flow)) {
    // The loader's delegate hears only taps; the load answers through
    // its block, once, or not at all when no list came.
    if (!calls.empty()) return "a custom-slot load tells the delegate nothing";
    if (report.blockCalls > 1) return "the block runs at most once";
    if (report.views > 2) return "at most one view per app";
    if (listFaulted && report.blockCalls != 0) return "no list: the block is not called";
    if (!listFaulted && cell.endpoint != kImages && (report.blockCalls != 1 || report.views != 2)) {
      return "a list with two apps and their images gives two views";
    }
    return "";
  }
  // Banner and wall.
  const std::vector<std::string> noAnswer = {};
  const std::vector<std::string> emptyAnswer = {"onNoAD -4102", "onADLoaded"};
  const std::vector<std::string> loaded = {"onADLoaded"};
  const std::vector<std::string> shown = {"onADLoaded", "onADShowed"};
  if (listFaulted) {
    // No answer, or one refused: nothing. An answer that holds no
    // readable list: onNoAD then onADLoaded, or onADLoaded alone when
    // something deciphered but was no list.
    if (cell.untrusted() || kind == "retcode:1" || kind == "drop" || kind.rfind("delay", 0) == 0) {
      return is(noAnswer) ? "" : "no answer: no callback";
    }
    return is(emptyAnswer) || is(loaded) ? "" : "an unreadable list: onNoAD and onADLoaded";
  }
  if (cell.endpoint == kImages && flow == Flow::kBanner) {
    // A banner without its artwork is not shown.
    return is(loaded) || is(shown) ? "" : "a banner without artwork: loaded, maybe shown";
  }
  return is(shown) ? "" : "the list came: loaded, then shown";
}

TEST_P(FaultMatrixTest, EndsInTimeTellsTheHostOnlyWhatItMayAndLosesNoEvent) {
  const Cell& cell = GetParam();
  const Flow flow = cell.flow->flow;

  if (flow == Flow::kLaterStart) {
    ChildStatus prepared = ChildProcess::run([&] { return prepareLaterStart(); }, 120);
    ASSERT_TRUE(prepared.succeeded()) << "preparing: " << prepared.describe();
  }
  if (cell.untrusted()) {
    ASSERT_TRUE(untrusted().running());
  }
  ChildStatus ran = ChildProcess::run([&] { return runFlow(cell); }, 120);
  ASSERT_TRUE(ran.succeeded()) << "the flow's process: " << ran.describe();
  const Json flowJson = readJsonFile(root_ + "/flow.json");
  ASSERT_TRUE(flowJson.is_object());
  FlowReport report;
  for (const Json& call : flowJson["calls"]) report.calls.push_back(call.get<std::string>());
  report.blockCalls = flowJson["blockCalls"].get<int>();
  report.views = flowJson["views"].get<std::size_t>();
  report.seconds = flowJson["seconds"].get<double>();
  report.quiet = flowJson["quiet"].get<bool>();

  EXPECT_TRUE(report.quiet) << "the flow's work never ended";
  const double bound = cell.flow->serialRequests * kTimeout + kSlack;
  EXPECT_LE(report.seconds, bound) << "the flow took longer than its requests' time-outs allow";
  std::string calls;
  for (const auto& call : report.calls) calls += "[" + call + "] ";
  EXPECT_EQ(judgeCallbacks(cell, report), "") << "heard: " << calls;

  // Let a delayed answer's handler finish before the journal is read.
  ChildStatus clean = ChildProcess::run([&] { return cleanStart(); }, 120);
  ASSERT_TRUE(clean.succeeded()) << "the clean start afterwards: " << clean.describe();
  const Json after = readJsonFile(root_ + "/after.json");
  ASSERT_TRUE(after.is_object());

  const std::set<std::string> filed = FilingRecorderEnv::notedEvents(filedEventsPath(root_));
  const std::set<std::string> acknowledged = acknowledgedEvents(server_.journal());
  for (const std::string& event : filed) {
    EXPECT_TRUE(acknowledged.count(event)) << "filed, never acknowledged: " << event;
  }
  if (isAdKind(flow) && cell.endpoint == "report_event") {
    EXPECT_FALSE(filed.empty()) << "the flow filed its events";
  }
  const Json& local = after["local"];
  const Json& keychain = after["keychain"];
  EXPECT_TRUE(local[keys::kReportEventList].is_null() ||
              local[keys::kReportEventList] == Json::array())
      << "still pending after a clean start: " << local[keys::kReportEventList].dump();
  EXPECT_TRUE(local[keys::kUseTimeEventList].is_null()) << "use time left unsent";
  EXPECT_TRUE(local[keys::kUbitAdType].is_null() || local[keys::kUbitAdType] == Json(0))
      << "a refused utype report is retried and then forgotten";
  EXPECT_TRUE(keychain[keys::kDeviceId].is_string()) << "registered at last";
  EXPECT_FALSE(keychain[keys::kReportActive].is_null()) << "activated at last";
  EXPECT_EQ(keychain[keys::kReportedAppVersion], kHostVersion) << "base information sent";
  EXPECT_EQ(json::member(local[keys::kGlobalConfig], "server"), "qdx-server");
  EXPECT_EQ(after["crashLogs"], Json::array()) << "crash logs uploaded";
}

INSTANTIATE_TEST_SUITE_P(Cells, FaultMatrixTest, ::testing::ValuesIn(cells()),
                         [](const ::testing::TestParamInfo<Cell>& info) {
                           return info.param.name();
                         });

}  // namespace
}  // namespace qdx::testing

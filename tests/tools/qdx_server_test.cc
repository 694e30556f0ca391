// The reference server as clients meet it: signature checks, per-endpoint
// answers, artwork, faults and its command line.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "fault_plan.h"
#include "platform/env.h"
#include "sdk/QDXUserDefaults.h"
#include "server_options.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXApiBase.h"
#include "transport/envelope_verifier.h"
#include "transport/request_builder.h"

namespace qdx {
namespace {

std::string endpointURL(const std::string& endpoint) {
  return std::string(kQDXApiBase) + "/qdx/" + endpoint;
}

// Width and height from a PNG's header chunk; {0, 0} if it is no PNG.
std::pair<int, int> pngSize(const std::string& png) {
  if (png.size() < 24 || png.compare(0, 4, "\x89PNG") != 0) return {0, 0};
  auto word = [&](std::size_t at) {
    return (static_cast<unsigned char>(png[at]) << 24) |
           (static_cast<unsigned char>(png[at + 1]) << 16) |
           (static_cast<unsigned char>(png[at + 2]) << 8) | static_cast<unsigned char>(png[at + 3]);
  };
  return {static_cast<int>(word(16)), static_cast<int>(word(20))};
}

class QdxServerTest : public ::testing::Test {
 protected:
  explicit QdxServerTest(ReferenceServer::Options options = {}) : server_(std::move(options)) {}

  void SetUp() override {
    ASSERT_TRUE(server_.running());
    QDXUserDefaults::saveToLocal(Json(10001), "QDX_APP_ID");
    QDXUserDefaults::saveToLocal(Json(ReferenceServer::kAppKey), "QDX_APP_KEY");
    QDXUserDefaults::saveToLocal(Json("AppStore"), "QDX_CHANNEL");
  }

  // Posts text to url as the SDK would, bypassing the client.
  HttpResponse postRaw(const std::string& url, const std::string& text) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.headers = {{"content-Type", "application/json"}};
    request.body = text;
    return env_.performHttp(request);
  }
  HttpResponse get(const std::string& path) {
    HttpRequest request;
    request.url = std::string(kQDXApiBase) + path;
    return env_.performHttp(request);
  }
  // A correctly signed post of body to endpoint; the parsed answer.
  Json post(const std::string& endpoint, const Json& body) {
    std::optional<std::string> envelope = buildSignedRequestBody(endpointURL(endpoint), body);
    if (!envelope) return Json::object();
    Json answer = Json::parse(postRaw(endpointURL(endpoint), *envelope).body, nullptr, false);
    return answer.is_object() ? answer : Json::object();
  }
  Json decipheredData(const Json& answer) {
    return Json::parse(decipherWithKey(answer.value("data", ""), ReferenceServer::kAppKey),
                       nullptr, false);
  }

  TestEnv env_;
  ReferenceServer server_;
};

TEST_F(QdxServerTest, RefusedEnvelopesAreJournaledWithTheirVerdict) {
  const std::string url = endpointURL("report_event");
  Json envelope = Json::parse(*buildSignedRequestBody(url, Json{{"k", "v"}}));

  Json tampered = envelope;
  tampered["sign"] = "AAAAAAAAAAAAAAAAAAAAAAAAAAA=";
  Json blank = envelope;
  blank["sign"] = "";
  Json stranger = envelope;
  stranger["appid"] = "99999";

  struct Case {
    std::string name, text, postedTo, verdict;
    int retcode;
  };
  const Case cases[] = {
      {"tampered", tampered.dump(), url, "invalid", 1001},
      {"blank sign", blank.dump(), url, "unsigned", 1001},
      {"unknown app", stranger.dump(), url, "unknown-app", 1002},
      {"not JSON", "{\"devid\":", url, "malformed", 1003},
      {"signed for another URL", envelope.dump(), endpointURL("report_base_info"), "invalid", 1001},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    HttpResponse response = postRaw(c.postedTo, c.text);
    ASSERT_TRUE(response.arrived);
    EXPECT_EQ(Json::parse(response.body).value("retcode", 0), c.retcode);
    Json entry = server_.journal().back();
    EXPECT_EQ(entry["signature"], c.verdict);
    EXPECT_EQ(entry["retcode"], c.retcode);
  }
  // A refused but decipherable body is still shown as the client meant it.
  EXPECT_EQ(server_.journal().front()["body"]["k"], "v");
  EXPECT_EQ(server_.journal()[3]["raw"], "{\"devid\":");
}

TEST_F(QdxServerTest, DeviceIdIsStablePerAdvertisingId) {
  auto register_ = [&](const std::string& imei) {
    Json answer = post("reg_dev", {{"appinfo", Json::object()}, {"devinfo", {{"imei", imei}}}});
    EXPECT_EQ(answer.value("retcode", -1), 0);
    return decipheredData(answer).value("devid", "");
  };
  std::string first = register_("1E2DFA89-496A-47FD-9941-DF1FC4E6484A");
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(register_("1E2DFA89-496A-47FD-9941-DF1FC4E6484A"), first);
  EXPECT_NE(register_("00000000-0000-0000-0000-000000000000"), first);
}

TEST_F(QdxServerTest, AdListCarriesEveryKeyAndArtworkSizedForTheSlot) {
  for (int adType : {1, 4}) {
    SCOPED_TRACE(adType);
    Json answer = post("get_recommend_list", {{"timestamp", "1"}, {"screen", "750*1334"},
                                              {"ad_type", adType}});
    ASSERT_EQ(answer.value("retcode", -1), 0);
    Json applist = decipheredData(answer)["applist"];
    ASSERT_EQ(applist.size(), 5u);
    bool fractional = false, whole = false, twoWords = false, oddTint = false;
    for (const Json& app : applist) {
      for (const char* key : {"appid", "appname", "icon", "use_count", "adlist"}) {
        EXPECT_TRUE(app.contains(key)) << key;
      }
      const Json& ad = app["adlist"][0];
      for (const char* key : {"ad_id", "ad_url", "ad_down_url", "ad_desc", "expand"}) {
        EXPECT_TRUE(ad[key].is_string()) << key;
      }
      fractional |= app["use_count"].is_number_float();
      whole |= app["use_count"].is_number_integer();
      twoWords |= app["appname"].get<std::string>().find(' ') != std::string::npos;
      oddTint |= ad["expand"] == "#FF8000";
      const std::string prefix = std::string(kQDXApiBase);
      std::string adPath = ad["ad_url"].get<std::string>().substr(prefix.size());
      std::string iconPath = app["icon"].get<std::string>().substr(prefix.size());
      EXPECT_EQ(pngSize(get(adPath).body),
                adType == 4 ? std::make_pair(640, 470) : std::make_pair(720, 110));
      EXPECT_EQ(pngSize(get(iconPath).body), std::make_pair(120, 120));
    }
    EXPECT_TRUE(fractional && whole && twoWords && oddTint);
  }
}

TEST_F(QdxServerTest, ConfigurationIsPlainTextAndReportsAnswerZero) {
  Json config = post("get_configuration", nullptr);
  EXPECT_TRUE(Json::parse(config.value("data", ""), nullptr, false).is_object());
  for (const char* endpoint :
       {"report_u_type", "error_log_report", "report_event", "report_base_info"}) {
    EXPECT_EQ(post(endpoint, {{"k", 1}}), Json({{"retcode", 0}, {"errmsg", ""}})) << endpoint;
  }
  EXPECT_EQ(post("no_such_endpoint", {{"k", 1}}).value("retcode", 0), 1004);
}

TEST_F(QdxServerTest, SdkImagesAreServedAndUnknownOnesAreNot) {
  for (const char* path : {"/qdx/images/close120.png", "/qdx/images/guess_u_like.png",
                           "/qdx/recommend/images/close.png", "/qdx/images/btn_arrow_bg.png"}) {
    HttpResponse response = get(path);
    EXPECT_EQ(response.status, 200) << path;
    EXPECT_NE(pngSize(response.body).first, 0) << path;
  }
  EXPECT_EQ(get("/qdx/images/nothing.png").status, 404);
  EXPECT_EQ(get("/qdx/assets/banner/6.png").status, 404);  // beyond the catalog
  EXPECT_EQ(get("/qdx/assets/banner/0.png").status, 404);
}

TEST_F(QdxServerTest, FaultsShapeAnswersAndCanBeChangedWhileRunning) {
  const Json body = {{"ad_type", 1}};
  ASSERT_TRUE(server_.setFault("get_recommend_list:retcode:7"));
  Json refused = post("get_recommend_list", body);
  EXPECT_EQ(refused.value("retcode", 0), 7);
  EXPECT_FALSE(refused.contains("data"));

  ASSERT_TRUE(server_.setFault("get_recommend_list:no-data"));
  Json empty = post("get_recommend_list", body);
  EXPECT_EQ(empty.value("retcode", -1), 0);
  EXPECT_FALSE(empty.contains("data"));

  ASSERT_TRUE(server_.setFault("get_recommend_list:plaintext-data"));
  EXPECT_TRUE(Json::parse(post("get_recommend_list", body).value("data", ""), nullptr, false)
                  .contains("applist"));

  // The endpoint's own fault wins over the wildcard.
  ASSERT_TRUE(server_.setFault("*:http:502"));
  EXPECT_TRUE(Json::parse(post("get_recommend_list", body).value("data", ""), nullptr, false)
                  .contains("applist"));
  EXPECT_EQ(get("/qdx/images/close120.png").status, 502);
  ASSERT_TRUE(server_.setFault("*:none"));
  ASSERT_TRUE(server_.setFault("get_recommend_list:none"));
  EXPECT_TRUE(decipheredData(post("get_recommend_list", body)).contains("applist"));

  ASSERT_TRUE(server_.setFault("images/close120.png:garbage"));
  EXPECT_EQ(pngSize(get("/qdx/images/close120.png").body).first, 0);
  ASSERT_TRUE(server_.clearFaults());
  EXPECT_EQ(get("/qdx/images/close120.png").status, 200);
  EXPECT_FALSE(server_.setFault("reg_dev:explode"));
  EXPECT_EQ(server_.journal().back()["fault"], nullptr);
}

class QdxServerFromCommandLineTest : public QdxServerTest {
 protected:
  QdxServerFromCommandLineTest()
      : QdxServerTest(ReferenceServer::Options{
            {{"10001", ReferenceServer::kAppKey}, {"20002", "AnotherAppKey0000"}},
            {"report_event:retcode:42"},
            8}) {}
};

TEST_F(QdxServerFromCommandLineTest, AppsCatalogAndFaultsComeFromTheFlags) {
  EXPECT_EQ(post("report_event", {{"k", 1}}).value("retcode", 0), 42);
  Json applist = decipheredData(post("get_recommend_list", {{"ad_type", 4}}))["applist"];
  EXPECT_EQ(applist.size(), 8u);
  std::set<std::string> names;
  for (const Json& app : applist) names.insert(app["appname"].get<std::string>());
  EXPECT_EQ(names.size(), 8u);

  QDXUserDefaults::saveToLocal(Json(20002), "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(Json("AnotherAppKey0000"), "QDX_APP_KEY");
  EXPECT_EQ(post("report_base_info", {{"k", 1}}).value("retcode", -1), 0);
  EXPECT_EQ(server_.journal().back()["signature"], "valid");
}

TEST(QdxServerOptionsTest, FlagsAreParsedAndBadOnesExplained) {
  std::string error;
  auto options = server::parseServerOptions(
      {"--port", "8443", "--app", "7:0123456789abcdef", "--catalog", "0", "--fault",
       "reg_dev:delay:1.5", "--journal", "/tmp/j.jsonl"},
      error);
  ASSERT_TRUE(options.has_value()) << error;
  EXPECT_EQ(options->port, 8443);
  EXPECT_EQ(options->apps.at("7"), "0123456789abcdef");
  EXPECT_EQ(options->catalogSize, 0);
  EXPECT_EQ(options->faults.size(), 1u);

  auto defaults = server::parseServerOptions({}, error);
  ASSERT_TRUE(defaults.has_value());
  EXPECT_EQ(defaults->apps.at(server::kDefaultAppId), server::kDefaultAppKey);

  const std::vector<std::vector<std::string>> bad = {
      {"--port", "70000"}, {"--port"},          {"--app", "7:shortkey"},
      {"--app", ":0123456789abcdef"},           {"--catalog", "-1"},
      {"--fault", "reg_dev"}, {"--fault", "reg_dev:retcode"}, {"--fault", "reg_dev:drop:3"},
      {"--fault", "reg_dev:http:99"},           {"--verbose", "1"}};
  for (const auto& args : bad) {
    error.clear();
    EXPECT_FALSE(server::parseServerOptions(args, error).has_value()) << args[0];
    EXPECT_FALSE(error.empty());
  }
}

TEST(QdxServerOptionsTest, FaultPlanPrefersTheEndpointOverTheWildcard) {
  server::FaultPlan plan;
  std::string error;
  plan.apply(*server::parseFaultRule("*:garbage", error));
  plan.apply(*server::parseFaultRule("reg_dev:retcode:-3", error));
  EXPECT_EQ(plan.faultFor("reg_dev")->kind, server::FaultKind::kRetcode);
  EXPECT_EQ(plan.faultFor("reg_dev")->arg, -3);
  EXPECT_EQ(plan.faultFor("report_event")->kind, server::FaultKind::kGarbage);
  plan.apply(*server::parseFaultRule("*:none", error));
  EXPECT_FALSE(plan.faultFor("report_event").has_value());
  EXPECT_EQ(plan.describe(), Json({{"reg_dev", "retcode:-3"}}));
}

}  // namespace
}  // namespace qdx

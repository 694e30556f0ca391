// The reference server as clients meet it: signature checks, per-endpoint
// answers, artwork, faults and its command line. The SDK's own tests cover
// the rest of what it serves (assets, drops, delays, error pages).
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "ad_catalog.h"
#include "kit/image_decode.h"
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

const char* const kSecondAppKey = "AnotherAppKey0000";

std::string endpointURL(const std::string& endpoint) {
  return std::string(kQDXApiBase) + "/qdx/" + endpoint;
}

// Width and height of a decodable image; {0, 0} for anything else.
std::pair<int, int> imageSize(const std::string& bytes) {
  kit::DecodedPixels image;
  if (!kit::decodeImage(bytes, image)) return {0, 0};
  return {image.width, image.height};
}

// A server started with two apps, a catalog of 6 and one fault from its
// command line.
class QdxServerTest : public ::testing::Test {
 protected:
  QdxServerTest()
      : server_(ReferenceServer::Options{
            {{ReferenceServer::kAppId, ReferenceServer::kAppKey}, {"20002", kSecondAppKey}},
            {"error_log_report:retcode:42"},
            6}) {}

  void SetUp() override {
    ASSERT_TRUE(server_.running());
    QDXUserDefaults::saveToLocal(Json(10001), "QDX_APP_ID");
    QDXUserDefaults::saveToLocal(Json(ReferenceServer::kAppKey), "QDX_APP_KEY");
    QDXUserDefaults::saveToLocal(Json("AppStore"), "QDX_CHANNEL");
  }

  HttpResponse send(const std::string& url, const std::optional<std::string>& postBody) {
    HttpRequest request;
    request.method = postBody ? "POST" : "GET";
    request.url = url;
    request.body = postBody.value_or("");
    return env_.performHttp(request);
  }
  HttpResponse get(const std::string& path) { return send(kQDXApiBase + path, std::nullopt); }
  // A correctly signed post of body to endpoint; the parsed answer.
  Json post(const std::string& endpoint, const Json& body) {
    std::optional<std::string> envelope = buildSignedRequestBody(endpointURL(endpoint), body);
    Json answer = Json::parse(send(endpointURL(endpoint), envelope).body, nullptr, false);
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
  const Json envelope = Json::parse(*buildSignedRequestBody(url, Json{{"k", "v"}}));
  auto with = [&](const char* name, const char* value) {
    Json changed = envelope;
    changed[name] = value;
    return changed.dump();
  };
  struct Case {
    std::string name, text, verdict;
    int retcode;
  };
  const Case cases[] = {
      {"tampered", with("sign", "AAAAAAAAAAAAAAAAAAAAAAAAAAA="), "invalid", 1001},
      {"blank sign", with("sign", ""), "unsigned", 1001},
      {"unknown app", with("appid", "99999"), "unknown-app", 1002},
      {"not JSON", "{\"devid\":", "malformed", 1003},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Json::parse(send(url, c.text).body).value("retcode", 0), c.retcode);
    Json entry = server_.journal().back();
    EXPECT_EQ(entry["signature"], c.verdict);
    EXPECT_EQ(entry["retcode"], c.retcode);
  }
  // A refused but decipherable body is still shown as the client meant it.
  EXPECT_EQ(server_.journal().front()["body"]["k"], "v");
}

TEST_F(QdxServerTest, AdListCarriesEveryKeyAndArtworkSizedForTheSlot) {
  const std::size_t origin = std::string(kQDXApiBase).size();
  for (int adType : {1, 4}) {
    SCOPED_TRACE(adType);
    Json answer = post("get_recommend_list", {{"screen", "750*1334"}, {"ad_type", adType}});
    ASSERT_EQ(answer.value("retcode", -1), 0);
    Json applist = decipheredData(answer)["applist"];
    ASSERT_EQ(applist.size(), 6u);
    for (const Json& app : applist) {
      const Json& ad = app["adlist"][0];
      for (const char* key : {"ad_id", "ad_url", "ad_down_url", "ad_desc", "expand"}) {
        EXPECT_TRUE(ad[key].is_string()) << key;
      }
      for (const char* key : {"appid", "appname", "icon"}) EXPECT_TRUE(app[key].is_string()) << key;
      EXPECT_TRUE(app["use_count"].is_number());
      EXPECT_EQ(ad["ad_down_url"].get<std::string>().rfind("https://apps.qdx.invalid/", 0), 0u)
          << "never a store that resolves";
      EXPECT_EQ(imageSize(get(ad["ad_url"].get<std::string>().substr(origin)).body),
                adType == 4 ? std::make_pair(640, 470) : std::make_pair(720, 110));
      EXPECT_EQ(imageSize(get(app["icon"].get<std::string>().substr(origin)).body),
                std::make_pair(120, 120));
    }
  }
  EXPECT_EQ(get("/qdx/assets/banner/7.png").status, 404);  // beyond the catalog

  // Tints and user counts come in every form the views must handle.
  const Json eight = server::buildAdList(8, 4, kQDXApiBase)["applist"];
  std::set<std::string> tints;
  std::set<bool> fractional;
  for (const Json& app : eight) {
    tints.insert(app["adlist"][0]["expand"].get<std::string>());
    fractional.insert(app["use_count"].is_number_float());
  }
  EXPECT_TRUE(tints.count("#FF8000") && tints.count("") && tints.count("3A7BD5"));
  EXPECT_EQ(fractional, (std::set<bool>{false, true}));
}

TEST_F(QdxServerTest, OtherEndpointsAnswerPerAppAndPerStartUpFault) {
  EXPECT_TRUE(Json::parse(post("get_configuration", nullptr).value("data", ""), nullptr, false)
                  .is_object()) << "the configuration is plain JSON text";
  for (const char* endpoint : {"report_u_type", "report_event", "report_base_info"}) {
    EXPECT_EQ(post(endpoint, {{"k", 1}}), Json({{"retcode", 0}, {"errmsg", ""}})) << endpoint;
  }
  EXPECT_EQ(post("error_log_report", {{"k", 1}}).value("retcode", 0), 42);
  EXPECT_EQ(post("no_such_endpoint", {{"k", 1}}).value("retcode", 0), 1004);

  QDXUserDefaults::saveToLocal(Json(20002), "QDX_APP_ID");
  QDXUserDefaults::saveToLocal(Json(kSecondAppKey), "QDX_APP_KEY");
  EXPECT_EQ(post("report_base_info", {{"k", 1}}).value("retcode", -1), 0);
  EXPECT_EQ(server_.journal().back()["signature"], "valid");
}

TEST_F(QdxServerTest, FaultsShapeAnswersAndCanBeChangedWhileRunning) {
  const Json body = {{"ad_type", 1}};
  ASSERT_TRUE(server_.setFault("get_recommend_list:retcode:7"));
  EXPECT_EQ(post("get_recommend_list", body), Json({{"retcode", 7}, {"errmsg", "injected failure"}}));
  // The endpoint's own fault wins over the wildcard.
  ASSERT_TRUE(server_.setFault("*:http:502"));
  EXPECT_EQ(post("get_recommend_list", body).value("retcode", 0), 7);
  EXPECT_EQ(get("/qdx/images/close120.png").status, 502);
  ASSERT_TRUE(server_.setFault("get_recommend_list:no-data"));
  EXPECT_EQ(post("get_recommend_list", body), Json({{"retcode", 0}, {"errmsg", ""}}));
  ASSERT_TRUE(server_.setFault("get_recommend_list:plaintext-data"));
  EXPECT_TRUE(Json::parse(post("get_recommend_list", body).value("data", ""), nullptr, false)
                  .contains("applist"));
  ASSERT_TRUE(server_.clearFaults());
  EXPECT_TRUE(decipheredData(post("get_recommend_list", body)).contains("applist"));
  EXPECT_EQ(post("error_log_report", {{"k", 1}}).value("retcode", -1), 0);
  EXPECT_FALSE(server_.setFault("reg_dev:explode"));
}

TEST_F(QdxServerTest, APatternFaultsEveryMatchingAssetAndYieldsToAnEndpointsOwn) {
  ASSERT_TRUE(server_.setFault("*.png:http:500"));
  ASSERT_TRUE(server_.setFault("images/guess_u_like.png:garbage"));
  EXPECT_EQ(get("/qdx/images/close120.png").status, 500);
  EXPECT_EQ(get("/qdx/recommend/images/close.png").status, 500) << "'*' spans folders";
  EXPECT_EQ(get("/qdx/images/guess_u_like.png").body, "not a PNG");
  EXPECT_EQ(post("report_event", {{"k", 1}}).value("retcode", -1), 0) << "not a .png";
}

TEST(QdxServerCertificateTest, AServerWithAnUntrustedCertificateIsRefusedBeforeAnyRequest) {
  TestEnv env;
  ReferenceServer::Options options;
  options.untrustedCertificate = true;
  ReferenceServer untrusted(options);
  ASSERT_TRUE(untrusted.running());
  HttpRequest request;
  request.url = std::string(kQDXApiBase) + "/qdx/images/close120.png";
  HttpResponse response = env.performHttp(request);
  EXPECT_FALSE(response.arrived);
  EXPECT_NE(response.error.find("certificate"), std::string::npos) << response.error;
  EXPECT_TRUE(untrusted.journal().empty());
}

TEST(QdxServerOptionsTest, BadFlagsAreExplained) {
  // Good flags are what every server above was started with.
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"--port", "70000"}, {"--port"}, {"--app", "7:shortkey"}, {"--app", ":0123456789abcdef"},
           {"--catalog", "-1"}, {"--fault", "reg_dev"}, {"--fault", "reg_dev:retcode"},
           {"--fault", "reg_dev:drop:3"}, {"--fault", "reg_dev:http:99"}, {"--verbose", "1"}}) {
    std::string error;
    EXPECT_FALSE(server::parseServerOptions(args, error).has_value()) << args[0];
    EXPECT_FALSE(error.empty());
  }
}

}  // namespace
}  // namespace qdx

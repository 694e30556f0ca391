// QDXHttpClient against the reference server: what leaves, what is signed,
// and which answers reach the caller.
#include "transport/QDXHttpClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "platform/run_loop.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXEncryptAndDecrypt.h"

namespace qdx {
namespace {

const char* const kEndpoints[] = {"reg_dev",          "report_u_type",      "get_configuration",
                                  "error_log_report", "get_recommend_list", "report_event",
                                  "report_base_info"};

std::string endpointURL(const std::string& endpoint) {
  return std::string(kQDXApiBase) + "/qdx/" + endpoint;
}

class HttpClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.running());
    QDXUserDefaults::saveToLocal(Json(10001), "QDX_APP_ID");
    QDXUserDefaults::saveToLocal(Json(ReferenceServer::kAppKey), "QDX_APP_KEY");
    QDXUserDefaults::saveToLocal(Json("AppStore"), "QDX_CHANNEL");
    env_.setBundleInfo("CFBundleShortVersionString", "2.1");
  }
  void TearDown() override { QDXLog::setDebug(false); }

  QDXHttpClient& client() { return QDXHttpClient::shareHttpClient(); }

  TestEnv env_;
  ReferenceServer server_;
};

TEST_F(HttpClientTest, EveryEndpointArrivesSignedOverThePostedURLWithItsBodyIntact) {
  // The cipher drops spaces and raw line feeds from the JSON text; an
  // escaped line feed inside a value is two characters and survives.
  Json body = {{"appname", "快乐 农场"}, {"note", "line one\nline two"}, {"count", 3}};
  for (const char* endpoint : kEndpoints) {
    SCOPED_TRACE(endpoint);
    std::optional<std::string> answer =
        client().synPostUseConnectionWithURL(endpointURL(endpoint), body);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(Json::parse(*answer).value("retcode", -1), 0);

    std::vector<Json> entries = server_.entriesFor(endpoint);
    ASSERT_EQ(entries.size(), 1u);
    const Json& entry = entries[0];
    EXPECT_EQ(entry["url"], endpointURL(endpoint));
    EXPECT_EQ(entry["signature"], "valid");
    EXPECT_EQ(entry["contentType"], "application/json");
    EXPECT_EQ(entry["accept"], "application/json;charset=utf-8");
    EXPECT_EQ(entry["envelope"]["appid"], "10001");
    EXPECT_EQ(entry["envelope"]["app_ver"], "2.1");
    EXPECT_EQ(entry["body"]["appname"], "快乐农场");
    EXPECT_EQ(entry["body"]["note"], "lineone\nlinetwo");
    EXPECT_EQ(entry["body"]["count"], 3);
  }
}

TEST_F(HttpClientTest, TheClientDeciphersWhatTheServerEnciphers) {
  Json body = {{"appinfo", Json::object()}, {"devinfo", {{"imei", "0000-AAAA"}}}};
  std::optional<std::string> answer =
      client().synPostUseConnectionWithURL(endpointURL("reg_dev"), body);
  ASSERT_TRUE(answer.has_value());
  std::string plain =
      QDXEncryptAndDecrypt().decryptWithString(Json::parse(*answer)["data"].get<std::string>());
  Json payload = Json::parse(plain, nullptr, false);
  ASSERT_TRUE(payload.is_object()) << plain;
  EXPECT_TRUE(payload["devid"].is_string());
}

TEST_F(HttpClientTest, AQueryStringIsSignedAndPostedAsGiven) {
  const std::string url = endpointURL("report_event") + "?page=2&kind=a%20b";
  ASSERT_TRUE(client().synPostUseConnectionWithURL(url, Json{{"k", 1}}).has_value());
  std::vector<Json> entries = server_.entriesFor("report_event");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["url"], url);
  EXPECT_EQ(entries[0]["signature"], "valid");
}

TEST_F(HttpClientTest, PostsFromOneThreadShareAConnection) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client().synPostUseConnectionWithURL(endpointURL("report_event"), Json{{"n", i}}));
  }
  std::vector<Json> entries = server_.entriesFor("report_event");
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[1]["clientPort"], entries[0]["clientPort"]);
  EXPECT_EQ(entries[2]["clientPort"], entries[0]["clientPort"]);
}

TEST_F(HttpClientTest, AsynchronousAnswerReachesTheBlockOnTheMainThreadOnly) {
  bool called = false;
  bool onMain = false;
  bool hadError = true;
  QDXURLResponse seen;
  std::string data;
  client().asyPostWithURL(endpointURL("report_u_type"), Json{{"utype", 1}},
                          [&](const std::string& bytes, const QDXURLResponse& response,
                              const std::optional<std::string>& error) {
                            called = true;
                            onMain = RunLoop::isMainThread();
                            hadError = error.has_value();
                            seen = response;
                            data = bytes;
                          });
  // The block is queued on the main loop, which only this thread runs.
  EXPECT_FALSE(called);
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return called; }, 15));
  EXPECT_TRUE(onMain);
  EXPECT_FALSE(hadError);
  EXPECT_EQ(seen.statusCode, 200);
  EXPECT_EQ(seen.url, endpointURL("report_u_type"));
  EXPECT_EQ(Json::parse(data).value("retcode", -1), 0);
  EXPECT_EQ(server_.entriesFor("report_u_type").at(0)["body"]["utype"], 1);
}

TEST_F(HttpClientTest, ManyAsynchronousPostsEachCompleteOnce) {
  constexpr int kPosts = 24;
  int completions = 0;
  for (int i = 0; i < kPosts; ++i) {
    client().asyPostWithURL(endpointURL("report_event"), Json{{"n", i}},
                            [&](const std::string&, const QDXURLResponse&,
                                const std::optional<std::string>&) { ++completions; });
  }
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return completions == kPosts; }, 30));
  RunLoop::main().runFor(0.2);
  EXPECT_EQ(completions, kPosts);
  EXPECT_EQ(server_.entriesFor("report_event").size(), static_cast<std::size_t>(kPosts));
}

TEST_F(HttpClientTest, WithoutNetworkNothingLeavesAndNoBlockRuns) {
  env_.setDataNetworkCode(0);
  bool called = false;
  client().asyPostWithURL(endpointURL("report_event"), Json{{"k", 1}},
                          [&](const std::string&, const QDXURLResponse&,
                              const std::optional<std::string>&) { called = true; });
  EXPECT_FALSE(client().synPostUseConnectionWithURL(endpointURL("reg_dev"), Json{{"k", 1}}));
  EXPECT_FALSE(client().downloadImageFromString(std::string(kQDXApiBase) +
                                                "/qdx/images/close120.png"));
  RunLoop::main().runFor(1.0);
  EXPECT_FALSE(called);
  EXPECT_TRUE(server_.journal().empty());
}

TEST_F(HttpClientTest, AsynchronousTransportErrorNeverCallsTheBlockAndLogsOnlyWhileDebugging) {
  ASSERT_TRUE(server_.setFault("report_u_type:drop"));
  bool called = false;
  auto block = [&](const std::string&, const QDXURLResponse&,
                   const std::optional<std::string>&) { called = true; };

  client().asyPostWithURL(endpointURL("report_u_type"), Json{{"utype", 4}}, block);
  ASSERT_TRUE(server_.waitForEntries("report_u_type", 1));
  RunLoop::main().runFor(1.0);
  EXPECT_FALSE(called);
  EXPECT_FALSE(env_.logContains("error:"));

  // Waiting for this post's line also waits for the worker that ran the
  // first one: it is the same, now idle, worker.
  QDXLog::setDebug(true);
  client().asyPostWithURL(endpointURL("report_u_type"), Json{{"utype", 4}}, block);
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return env_.logContains("error:"); }, 15));
  RunLoop::main().runFor(0.2);
  EXPECT_FALSE(called);
}

TEST_F(HttpClientTest, AnAnswerWithAnErrorStatusStillReachesTheBlock) {
  ASSERT_TRUE(server_.setFault("report_base_info:http:503"));
  long status = 0;
  client().asyPostWithURL(endpointURL("report_base_info"), Json::object(),
                          [&](const std::string&, const QDXURLResponse& response,
                              const std::optional<std::string>&) { status = response.statusCode; });
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return status != 0; }, 15));
  EXPECT_EQ(status, 503);
}

TEST_F(HttpClientTest, SynchronousPostReturnsWhateverArrivedAndNothingOnTransportFailure) {
  const std::string url = endpointURL("get_recommend_list");
  Json body = {{"ad_type", 1}};

  ASSERT_TRUE(server_.setFault("get_recommend_list:http:500"));
  std::optional<std::string> errorPage = client().synPostUseConnectionWithURL(url, body);
  ASSERT_TRUE(errorPage.has_value());
  EXPECT_NE(errorPage->find("injected error page"), std::string::npos);

  ASSERT_TRUE(server_.setFault("get_recommend_list:garbage"));
  std::optional<std::string> garbage = client().synPostUseConnectionWithURL(url, body);
  ASSERT_TRUE(garbage.has_value());
  EXPECT_TRUE(Json::parse(*garbage, nullptr, false).is_discarded());

  ASSERT_TRUE(server_.setFault("get_recommend_list:drop"));
  EXPECT_FALSE(client().synPostUseConnectionWithURL(url, body).has_value());
}

TEST_F(HttpClientTest, SynchronousPostGivesUpAfterTenSeconds) {
  ASSERT_TRUE(server_.setFault("reg_dev:delay:13"));
  EXPECT_FALSE(client().synPostUseConnectionWithURL(endpointURL("reg_dev"), Json{{"k", 1}}));
}

TEST_F(HttpClientTest, AServerOutsideTheTrustedCAsOrNotListeningGivesNothing) {
  env_.setCaFile("");
  EXPECT_FALSE(client().synPostUseConnectionWithURL(endpointURL("report_event"), Json{{"k", 1}}));
  EXPECT_FALSE(client().downloadImageFromString(std::string(kQDXApiBase) +
                                                "/qdx/images/close120.png"));
  EXPECT_TRUE(server_.journal().empty());

  server_.configure(env_);
  env_.setConnectTo({"api.qdx.example:443:127.0.0.1:1"});
  EXPECT_FALSE(client().synPostUseConnectionWithURL(endpointURL("report_event"), Json{{"k", 1}}));
}

TEST_F(HttpClientTest, NoEnvelopeWithoutAnAppKeyMeansNothingSent) {
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_KEY");
  EXPECT_FALSE(client().synPostUseConnectionWithURL(endpointURL("report_event"), Json{{"k", 1}}));
  EXPECT_TRUE(server_.journal().empty());
}

TEST_F(HttpClientTest, DownloadGivesTheWholeImageAndNoErrorPages) {
  const std::string assets = std::string(kQDXApiBase) + "/qdx/";
  std::optional<std::string> png = client().downloadImageFromString(assets + "assets/wall/1.png");
  ASSERT_TRUE(png.has_value());
  EXPECT_EQ(png->substr(0, 4), "\x89PNG");
  EXPECT_GT(png->size(), 1000u);

  EXPECT_FALSE(client().downloadImageFromString(assets + "images/no_such.png"));
  ASSERT_TRUE(server_.setFault("images/close120.png:http:503"));
  EXPECT_FALSE(client().downloadImageFromString(assets + "images/close120.png"));
}

}  // namespace
}  // namespace qdx

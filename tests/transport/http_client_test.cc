// QDXHttpClient against the reference server: what leaves, what is signed,
// and which answers reach the caller.
#include "transport/QDXHttpClient.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <string>
#include <tuple>
#include <vector>

#include "qdx/RunLoop.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "support/child_process.h"
#include "support/reference_server.h"
#include "support/test_env.h"
#include "transport/QDXApiBase.h"

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

  QDXHttpClient& client() { return QDXHttpClient::shareHttpClient(); }
  std::optional<std::string> post(const std::string& endpoint) {
    return client().synPostUseConnectionWithURL(endpointURL(endpoint), Json{{"k", 1}});
  }
  std::optional<std::string> download(const std::string& path) {
    return client().downloadImageFromString(std::string(kQDXApiBase) + "/qdx/" + path);
  }

  TestEnv env_;
  ReferenceServer server_;
};

TEST_F(HttpClientTest, EveryEndpointGetsItsBodySignedOverThePostedURLOnOneConnection) {
  // The cipher drops spaces and raw line feeds from the JSON text; an
  // escaped line feed inside a value is two characters and survives.
  Json body = {{"appname", "快乐 农场"}, {"note", "line one\nline two"}, {"count", 3}};
  std::set<Json> clientPorts;
  for (const char* endpoint : kEndpoints) {
    SCOPED_TRACE(endpoint);
    // A query string is signed and posted as given, like the rest.
    const std::string url = endpointURL(endpoint) + "?page=2&kind=a%20b";
    std::optional<std::string> answer = client().synPostUseConnectionWithURL(url, body);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(Json::parse(*answer).value("retcode", -1), 0);

    std::vector<Json> entries = server_.entriesFor(endpoint);
    ASSERT_EQ(entries.size(), 1u);
    const Json& entry = entries[0];
    EXPECT_EQ(entry["url"], url);
    EXPECT_EQ(entry["signature"], "valid");
    EXPECT_EQ(entry["contentType"], "application/json");
    EXPECT_EQ(entry["accept"], "application/json;charset=utf-8");
    EXPECT_EQ(entry["body"]["appname"], "快乐农场");
    EXPECT_EQ(entry["body"]["note"], "lineone\nlinetwo");
    EXPECT_EQ(entry["body"]["count"], 3);
    clientPorts.insert(entry["clientPort"]);
  }
  EXPECT_EQ(clientPorts.size(), 1u) << "one thread's posts reuse its connection";
}

// Every ad request runs on a thread of its own: the threads take turns on
// one kept connection. A forked child opens a connection of its own, and
// leaves its parent's intact.
TEST_F(HttpClientTest, ThreadsTakeTurnsOnOneConnectionAndAForkedChildOpensItsOwn) {
  const std::string url = endpointURL("report_event");
  const auto postFromANewThread = [&] {
    bool answered = false;
    std::thread([&] { answered = client().synPostUseConnectionWithURL(url, Json{{"k", 1}}).has_value(); }).join();
    return answered;
  };
  ASSERT_TRUE(postFromANewThread());
  ASSERT_TRUE(postFromANewThread());
  const ChildStatus child =
      ChildProcess::run([&] { return client().synPostUseConnectionWithURL(url, Json{{"k", 2}}) ? 0 : 1; });
  EXPECT_TRUE(child.succeeded()) << child.describe();
  ASSERT_TRUE(postFromANewThread()) << "the parent's connection still works";

  const std::vector<Json> entries = server_.entriesFor("report_event");
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(entries[1]["clientPort"], entries[0]["clientPort"]);
  EXPECT_NE(entries[2]["clientPort"], entries[0]["clientPort"]) << "the child's own connection";
  EXPECT_EQ(entries[3]["clientPort"], entries[0]["clientPort"]);
}

TEST_F(HttpClientTest, EachAsynchronousAnswerReachesItsBlockOnceOnTheMainThread) {
  // An answer with an error status is still an answer.
  ASSERT_TRUE(server_.setFault("report_base_info:http:503"));
  constexpr std::size_t kPosts = 24;
  std::vector<std::tuple<std::string, long, std::string>> answers;
  int offMainOrWithError = 0;
  for (std::size_t i = 0; i < kPosts; ++i) {
    client().asyPostWithURL(endpointURL(i % 2 ? "report_base_info" : "report_event"), Json{{"n", i}},
                            [&](const std::string& bytes, const QDXURLResponse& response,
                                const std::optional<std::string>& error) {
                              offMainOrWithError += !RunLoop::isMainThread() || error.has_value();
                              answers.emplace_back(response.url, response.statusCode, bytes);
                            });
  }
  // The blocks are queued on the main loop, which only this thread runs.
  EXPECT_TRUE(answers.empty());
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return answers.size() == kPosts; }, 30));
  RunLoop::main().runFor(0.2);
  EXPECT_EQ(answers.size(), kPosts);
  EXPECT_EQ(offMainOrWithError, 0);
  EXPECT_EQ(server_.journal().size(), kPosts);
  for (const auto& [url, status, bytes] : answers) {
    const bool failing = url == endpointURL("report_base_info");
    EXPECT_EQ(status, failing ? 503 : 200) << url;
    if (!failing) {
      EXPECT_EQ(Json::parse(bytes).value("retcode", -1), 0);
    }
  }
}

TEST_F(HttpClientTest, NothingLeavesWithoutNetworkOrKeyAndNothingComesFromAnUntrustedServer) {
  env_.setDataNetworkCode(0);
  bool called = false;
  client().asyPostWithURL(endpointURL("report_event"), Json{{"k", 1}},
                          [&](const std::string&, const QDXURLResponse&,
                              const std::optional<std::string>&) { called = true; });
  EXPECT_FALSE(post("reg_dev"));
  EXPECT_FALSE(download("images/close120.png"));
  // With network but no app key to sign with, nothing leaves either.
  env_.setDataNetworkCode(1);
  QDXUserDefaults::removeObjectFromLocal("QDX_APP_KEY");
  EXPECT_FALSE(post("reg_dev"));
  // A key too short to encipher with: no envelope leaves, so no answer can
  // acknowledge (and drop) a pending event whose body never went out.
  QDXUserDefaults::saveToLocal(Json("fifteen-chars!!"), "QDX_APP_KEY");
  const Json pending = Json::array({"{\"events\":[1]}"});
  QDXUserDefaults::saveToLocal(pending, "QDX_REPORT_EVENT_LIST");
  EXPECT_FALSE(post("report_event"));
  QDXHttpRequestProxy::shareInstance().reportEvent();
  client().asyPostWithURL(endpointURL("report_event"), Json{{"k", 1}},
                          [&](const std::string&, const QDXURLResponse&,
                              const std::optional<std::string>&) { called = true; });
  RunLoop::main().runFor(1.0);
  EXPECT_FALSE(called);
  EXPECT_TRUE(server_.journal().empty());
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("QDX_REPORT_EVENT_LIST"), pending);

  // A server outside the trusted CAs, or none listening, gives nothing.
  QDXUserDefaults::saveToLocal(Json(ReferenceServer::kAppKey), "QDX_APP_KEY");
  env_.setCaFile("");
  EXPECT_FALSE(post("report_event"));
  EXPECT_FALSE(download("images/close120.png"));
  server_.configure(env_);
  env_.setConnectTo({"api.qdx.example:443:127.0.0.1:1"});
  EXPECT_FALSE(post("report_event"));
}

TEST_F(HttpClientTest, AsynchronousTransportErrorNeverCallsTheBlockButIsLoggedWhileDebugging) {
  ASSERT_TRUE(server_.setFault("report_u_type:drop"));
  QDXLog::setDebug(true);
  bool called = false;
  client().asyPostWithURL(endpointURL("report_u_type"), Json{{"utype", 4}},
                          [&](const std::string&, const QDXURLResponse&,
                              const std::optional<std::string>&) { called = true; });
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return env_.logContains("error:"); }, 15));
  RunLoop::main().runFor(0.2);
  EXPECT_FALSE(called);
}

TEST_F(HttpClientTest, SynchronousPostGivesWhateverArrivedDownloadOnlyImages) {
  const std::string url = endpointURL("get_recommend_list");
  ASSERT_TRUE(server_.setFault("get_recommend_list:http:500"));
  std::optional<std::string> page = client().synPostUseConnectionWithURL(url, Json::object());
  EXPECT_NE(page.value_or("").find("injected error page"), std::string::npos);
  // A dropped exchange and one past the 10-second time-out give nothing.
  ASSERT_TRUE(server_.setFault("get_recommend_list:drop"));
  EXPECT_FALSE(client().synPostUseConnectionWithURL(url, Json::object()).has_value());
  ASSERT_TRUE(server_.setFault("get_recommend_list:delay:13"));
  EXPECT_FALSE(client().synPostUseConnectionWithURL(url, Json::object()).has_value());

  // A download follows a redirect but gives no error page. Plain downloads
  // and misses: QDXImageCache_test.cc.
  ASSERT_TRUE(server_.setFault("images/close120.png:moved"));
  EXPECT_EQ(download("images/close120.png").value_or("").substr(0, 4), "\x89PNG");
  ASSERT_TRUE(server_.setFault("images/close120.png:http:503"));
  EXPECT_FALSE(download("images/close120.png"));
}

}  // namespace
}  // namespace qdx

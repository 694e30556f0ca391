// Answers too large to hold: a body over 16 MiB, an ad list or an image,
// is refused while it arrives, logged and treated as no answer.
#include <gtest/gtest.h>

#include <string>

#include "platform/env_wrapper.h"
#include "reporting/reporting_fixture.h"
#include "transport/QDXHttpClient.h"
#include "transport/QDXImageCache.h"

namespace qdx::testing {
namespace {

// A platform that answers every exchange with 200 and a body of a chosen
// length, ignoring the request's limit as a careless platform might.
class OversizedAnswers : public EnvWrapper {
 public:
  explicit OversizedAnswers(std::size_t bodyBytes)
      : EnvWrapper(Env::Default()), bodyBytes_(bodyBytes) {
    Env::Install(this);
  }
  ~OversizedAnswers() override {
    if (Env::Default() == this) Env::Install(target());
  }
  HttpResponse performHttp(const HttpRequest&) override {
    HttpResponse response;
    response.arrived = true;
    response.status = 200;
    response.body.assign(bodyBytes_, '{');
    return response;
  }

 private:
  std::size_t bodyBytes_;
};

using AnswerLimitTest = LocalReportingTest;

TEST_F(AnswerLimitTest, ABodyOverSixteenMebibytesIsNoAnswerForPostsAndImages) {
  OversizedAnswers network(kMaxHttpBodyBytes + 1);
  const std::string image = "https://cdn.example/huge.png";
  EXPECT_EQ(QDXHttpClient::shareHttpClient().downloadImageFromString(image), std::nullopt);
  EXPECT_TRUE(env_.logContains("error:the answer from " + image + " is over 16777216 bytes"));

  const std::string endpoint = "https://api.qdx.example/qdx/ad/list";
  EXPECT_EQ(QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(endpoint, Json::object()),
            std::nullopt);
  EXPECT_TRUE(env_.logContains("error:the answer from " + endpoint + " is over 16777216 bytes"));

  QDXImageCache cache;
  EXPECT_EQ(cache.getImageFromString(image), std::nullopt) << "a missing image";
  EXPECT_FALSE(std::filesystem::exists(cache.filePathForURL(image)));
}

TEST_F(AnswerLimitTest, ABodyOfExactlyTheLimitIsStillAnAnswer) {
  OversizedAnswers network(kMaxHttpBodyBytes);
  const std::optional<std::string> body =
      QDXHttpClient::shareHttpClient().downloadImageFromString("https://cdn.example/large.png");
  ASSERT_TRUE(body.has_value());
  EXPECT_EQ(body->size(), kMaxHttpBodyBytes);
}

using TransportLimitTest = ServerReportingTest;

// The POSIX transport stops a body past the request's limit itself, before
// holding it, and says why.
TEST_F(TransportLimitTest, ThePosixTransportRefusesABodyPastTheRequestsLimit) {
  HttpRequest request;
  request.url = "https://api.qdx.example/qdx/images/close120.png";
  HttpResponse whole = env_.posix().performHttp(request);
  ASSERT_TRUE(whole.arrived);
  ASSERT_GT(whole.body.size(), 100u);

  request.maxBodyBytes = whole.body.size() - 1;
  HttpResponse refused = env_.posix().performHttp(request);
  EXPECT_FALSE(refused.arrived);
  EXPECT_TRUE(refused.tooLarge);
  EXPECT_EQ(refused.body, "");
  EXPECT_NE(refused.error.find("is over " + std::to_string(request.maxBodyBytes) + " bytes"),
            std::string::npos)
      << refused.error;

  request.maxBodyBytes = whole.body.size();
  EXPECT_EQ(env_.posix().performHttp(request).body, whole.body) << "exactly the limit passes";
}

}  // namespace
}  // namespace qdx::testing

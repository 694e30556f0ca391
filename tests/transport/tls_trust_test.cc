// The transport trusts only what it is told to: a server certificate from
// an untrusted authority, or one made out to another host, ends the
// exchange before any request is sent.
#include <gtest/gtest.h>

#include "reporting/reporting_fixture.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXHttpClient.h"

namespace qdx::testing {
namespace {

class TlsTrustTest : public ServerReportingTest {
 protected:
  // One GET of an SDK image through the POSIX transport.
  HttpResponse fetch(const std::string& url) {
    HttpRequest request;
    request.url = url;
    return env_.posix().performHttp(request);
  }
  const std::string imageURL_ = "https://api.qdx.example/qdx/images/close120.png";
};

TEST_F(TlsTrustTest, TheReferenceServerIsTrustedThroughTheTestAuthority) {
  const HttpResponse response = fetch(imageURL_);
  EXPECT_TRUE(response.arrived) << response.error;
  EXPECT_EQ(response.status, 200);
}

TEST_F(TlsTrustTest, ACertificateFromAnUntrustedAuthorityIsRefused) {
  env_.setCaFile("");  // the system's authorities only: none signed the test server's
  const std::size_t before = server_.journal().size();
  const HttpResponse response = fetch(imageURL_);
  EXPECT_FALSE(response.arrived);
  EXPECT_NE(response.error, "");
  EXPECT_EQ(QDXHttpClient::shareHttpClient().downloadImageFromString(imageURL_), std::nullopt);
  EXPECT_EQ(QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(
                endpointURL(endpoints::kReportEvent), Json{{"event_list", Json::array()}}),
            std::nullopt);
  EXPECT_EQ(server_.journal().size(), before) << "no request reached the server";
}

TEST_F(TlsTrustTest, ACertificateMadeOutToAnotherHostIsRefused) {
  // The certificate names api.qdx.example (and 127.0.0.1); the same server
  // reached as "localhost" is another host.
  const std::string otherHost =
      "https://localhost:" + std::to_string(server_.port()) + "/qdx/images/close120.png";
  const std::size_t before = server_.journal().size();
  const HttpResponse response = fetch(otherHost);
  EXPECT_FALSE(response.arrived);
  EXPECT_NE(response.error, "");
  EXPECT_EQ(QDXHttpClient::shareHttpClient().downloadImageFromString(otherHost), std::nullopt);
  EXPECT_EQ(server_.journal().size(), before) << "no request reached the server";
}

}  // namespace
}  // namespace qdx::testing

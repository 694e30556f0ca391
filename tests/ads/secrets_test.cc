// The app key signs every request but is never written out: a whole online
// session with debugging on (start-up, a banner, the wall, custom slots, a
// tap, a close, the end of the session) logs no line that holds it.
#include <algorithm>
#include <cctype>

#include "ad_flow_fixture.h"
#include "ads/QDXADManager.h"
#include "qdx/QDXAdLoader.h"
#include "reporting/background_work.h"
#include "transport/QDXHttpClient.h"

namespace qdx::testing {
namespace {

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::string hexOf(const std::string& text) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char c : text) {
    hex += kDigits[c >> 4];
    hex += kDigits[c & 0xF];
  }
  return hex;
}

using SecretsTest = AdFlowTest;

TEST_F(SecretsTest, NoLogLineOfAWholeOnlineSessionHoldsTheAppKey) {
  env_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
  env_.clearLog();
  auto sdk = QDXAD::initWithChannel("AppStore", 10001, ReferenceServer::kAppKey);
  ASSERT_TRUE(server_.waitForEntries("get_configuration", 1));
  ASSERT_TRUE(RunLoop::main().runUntil([] { return detachedWorkInFlight() == 0; }, 15));

  ASSERT_TRUE(request(QDXADRequest::initWithBannerType(1, 0, 0, hostView()), "onADShowed"));
  QDXADManager::defaultADManager().tapAD(1);
  ASSERT_TRUE(request(QDXADRequest::initWithADType(4), "onADLoaded"));
  RunLoop::main().runUntil([&] { return delegate_->count("onADShowed") >= 2; }, 15);

  QDXAdLoader loader;
  for (std::int32_t type : {7, 8, 9}) {
    loader.loadAdWithType(type, 2, {320, 120}, [](const auto&) {});
  }
  QDXAD::sdkTerminate();
  ASSERT_TRUE(RunLoop::main().runUntil(
      [] { return QDXHttpClient::asyncPostsInFlight() == 0 && detachedWorkInFlight() == 0; }, 30));
  settle();

  const std::vector<std::string> lines = env_.logLines();
  ASSERT_GT(lines.size(), 20u) << "debugging was on: the session said a lot";
  const std::string key = ReferenceServer::kAppKey;
  for (const std::string& form : {key, hexOf(key), upper(hexOf(key))}) {
    for (const std::string& line : lines) {
      EXPECT_EQ(line.find(form), std::string::npos) << "logged: " << line;
    }
  }
  EXPECT_FALSE(server_.entriesFor("report_event").empty()) << "the session did report";
}

}  // namespace
}  // namespace qdx::testing

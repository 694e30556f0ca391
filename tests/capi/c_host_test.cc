// The example C host (examples/c-host, strict C11) against the reference
// server: it starts the SDK, shows a bottom banner, draws a frame, taps the
// banner through the overlay and prints every callback; the server's
// journal holds the banner's click.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "common/json_access.h"
#include "server_process.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

TEST(CHostTest, TheExampleShowsATapsTheBannerAndTheServerJournalsTheClick) {
  TestEnv env;  // a temporary root for the host's files
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const std::string home = env.tempRoot() + "/c-host";
  const std::string output = env.tempRoot() + "/c-host-output";
  const std::string command = "env -u QDX_NETWORK -u QDX_HOME -u QDX_KEYCHAIN_DIR QDX_CA_FILE=" +
                              ServerProcess::caFile() + " QDX_CONNECT_TO=" + server.connectTo() +
                              " " QDX_C_HOST_BINARY " " + home + " > " + output + " 2>&1";
  const int status = std::system(command.c_str());
  std::ifstream in(output);
  std::stringstream printed;
  printed << in.rdbuf();
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << printed.str();

  for (const char* line : {"c-host: SDK 1.0.2 started", "c-host: loaded",
                           "c-host: showed type 1, 375 x 57 points", "c-host: drew ",
                           "c-host: the overlay took the tap", "c-host: clicked",
                           "c-host: store link https://"}) {
    EXPECT_NE(printed.str().find(line), std::string::npos) << "missing \"" << line << "\" in\n"
                                                           << printed.str();
  }
  bool clickJournaled = false;
  for (const Json& event : testing::journaledEvents(server, testing::kClickEvent)) {
    clickJournaled = clickJournaled || json::member(event, "adtype") == 1;
  }
  std::string journal;
  for (const Json& entry : server.journal()) journal += entry.dump() + "\n";
  EXPECT_TRUE(clickJournaled) << printed.str() << "\njournal:\n" << journal;
}

}  // namespace
}  // namespace qdx

// The example C host (examples/c-host, strict C11) against the reference
// server: it starts the SDK, shows a bottom banner, draws a frame, taps the
// banner through the overlay and prints every callback; the server's
// journal holds the banner's click.
#include <gtest/gtest.h>

#include "capi/host_program.h"
#include "support/ad_journal.h"
#include "support/test_env.h"

namespace qdx::testing {
namespace {

TEST(CHostTest, TheExampleShowsATapsTheBannerAndTheServerJournalsTheClick) {
  TestEnv env;  // a temporary root for the host's files
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const HostRun run = runHostProgram(server, QDX_C_HOST_BINARY " " + env.tempRoot() + "/c-host",
                                     env.tempRoot() + "/c-host-output");
  ASSERT_TRUE(run.exitedZero) << run.output;
  EXPECT_EQ(run.missing({"c-host: SDK 1.0.2 started", "c-host: loaded",
                         "c-host: showed type 1, 375 x 57 points", "c-host: drew ",
                         "c-host: the overlay took the tap", "c-host: clicked",
                         "c-host: store link https://"}),
            std::vector<std::string>{})
      << run.output;
  EXPECT_TRUE(journalHolds(server, kClickEvent, 1)) << run.output;
}

}  // namespace
}  // namespace qdx::testing

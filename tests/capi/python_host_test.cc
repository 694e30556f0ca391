// The Python host (tests/capi/python_host.py) drives the shared library
// through ctypes against the reference server; here its output says which
// callbacks came, and the server's journal holds the banner's click and the
// wall's second page.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "capi/host_program.h"
#include "support/ad_journal.h"
#include "support/test_env.h"

namespace qdx::testing {
namespace {

TEST(PythonHostTest, ACtypesSessionShowsTapsAndPagesThroughTheSharedLibrary) {
  if (::access(QDX_SHARED_LIBRARY, R_OK) != 0) {
    GTEST_SKIP() << QDX_SHARED_LIBRARY << " is not built: ctest builds it first "
                 << "(the fixture packaging.BuildSharedLibrary)";
  }
  TestEnv env;
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const HostRun run = runHostProgram(
      server,
      QDX_PYTHON3 " " QDX_SOURCE_DIR "/tests/capi/python_host.py " QDX_SHARED_LIBRARY " " +
          env.tempRoot() + "/python-home",
      env.tempRoot() + "/python-output");
  ASSERT_TRUE(run.exitedZero) << run.output;
  EXPECT_EQ(run.missing({"python-host: loaded", "python-host: showed 1 375x57", "python-host: clicked",
                         "python-host: showed 4 375x667", "python-host: done"}),
            std::vector<std::string>{})
      << run.output;
  EXPECT_TRUE(journalHolds(server, kClickEvent, 1)) << "the banner's click";
  bool secondPage = false;
  for (int attempt = 0; attempt < 50 && !secondPage; ++attempt) {
    secondPage = journalHolds(server, kShowEvent, 4, "20002");
    if (!secondPage) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_TRUE(secondPage) << "no show event for the wall's second app\n" << run.output;
}

}  // namespace
}  // namespace qdx::testing

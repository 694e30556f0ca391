// The Python host (tests/capi/python_host.py) drives the shared library
// through ctypes against the reference server; here its output says which
// callbacks came, and the server's journal holds the banner's click and the
// wall's second page.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "common/json_access.h"
#include "server_process.h"
#include "support/ad_journal.h"
#include "support/reference_server.h"
#include "support/test_env.h"

namespace qdx {
namespace {

bool journalHolds(const ReferenceServer& server, int subType, int adType, const std::string& app) {
  for (const Json& event : testing::journaledEvents(server, subType)) {
    if (json::member(event, "adtype") == adType &&
        (app.empty() || json::member(event, "to_appid") == app)) {
      return true;
    }
  }
  return false;
}

TEST(PythonHostTest, ACtypesSessionShowsTapsAndPagesThroughTheSharedLibrary) {
  if (::access(QDX_SHARED_LIBRARY, R_OK) != 0) {
    GTEST_SKIP() << QDX_SHARED_LIBRARY << " is not built: ctest builds it first "
                 << "(the fixture packaging.BuildSharedLibrary)";
  }
  TestEnv env;
  ReferenceServer server;
  ASSERT_TRUE(server.running());
  const std::string output = env.tempRoot() + "/python-output";
  const std::string command =
      "env -u QDX_NETWORK -u QDX_HOME -u QDX_KEYCHAIN_DIR QDX_CA_FILE=" + ServerProcess::caFile() +
      " QDX_CONNECT_TO=" + server.connectTo() + " " QDX_PYTHON3 " " QDX_SOURCE_DIR
      "/tests/capi/python_host.py " QDX_SHARED_LIBRARY " " + env.tempRoot() + "/python-home > " +
      output + " 2>&1";
  const int status = std::system(command.c_str());
  std::ifstream in(output);
  std::stringstream printed;
  printed << in.rdbuf();
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << printed.str();
  for (const char* line : {"python-host: loaded", "python-host: showed 1 375x57",
                           "python-host: clicked", "python-host: showed 4 375x667",
                           "python-host: done"}) {
    EXPECT_NE(printed.str().find(line), std::string::npos) << "missing \"" << line << "\" in\n"
                                                           << printed.str();
  }
  EXPECT_TRUE(journalHolds(server, testing::kClickEvent, 1, "")) << "the banner's click";
  bool secondPage = false;
  for (int attempt = 0; attempt < 50 && !secondPage; ++attempt) {
    secondPage = journalHolds(server, testing::kShowEvent, 4, "20002");
    if (!secondPage) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_TRUE(secondPage) << "no show event for the wall's second app\n" << printed.str();
}

}  // namespace
}  // namespace qdx

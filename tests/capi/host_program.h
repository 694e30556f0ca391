#pragma once
// Runs a host program written apart from the library (the example C host,
// the Python host) against a reference server, as a host machine would:
// none of the caller's QDX_* settings, the test CA trusted and the API host
// mapped to the server. Used by the C interface's tests.
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "server_process.h"
#include "support/reference_server.h"

namespace qdx::testing {

struct HostRun {
  bool exitedZero = false;
  std::string output;  // standard output and error
  // The lines of expected that the output does not contain.
  std::vector<std::string> missing(const std::vector<std::string>& expected) const {
    std::vector<std::string> absent;
    for (const std::string& line : expected) {
      if (output.find(line) == std::string::npos) absent.push_back(line);
    }
    return absent;
  }
};

// Runs commandLine against server, capturing its output in outputFile.
inline HostRun runHostProgram(const ReferenceServer& server, const std::string& commandLine,
                              const std::string& outputFile) {
  const std::string command = "env -u QDX_NETWORK -u QDX_HOME -u QDX_KEYCHAIN_DIR QDX_CA_FILE=" +
                              ServerProcess::caFile() + " QDX_CONNECT_TO=" + server.connectTo() +
                              " " + commandLine + " > " + outputFile + " 2>&1";
  const int status = std::system(command.c_str());
  std::ifstream in(outputFile);
  std::stringstream printed;
  printed << in.rdbuf();
  return {WIFEXITED(status) && WEXITSTATUS(status) == 0, printed.str()};
}

}  // namespace qdx::testing

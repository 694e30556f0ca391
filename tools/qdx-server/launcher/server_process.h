#pragma once
// Runs the reference ad server (the qdx-server program) as a child process:
// on a free port of 127.0.0.1, with its own journal in a temporary folder,
// stopped when the object goes. The tests and the demo both start their
// servers through it.
#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/json.h"

namespace qdx {

class ServerProcess {
 public:
  struct Options {
    std::string binary;  // empty: the build's qdx-server
    std::vector<std::pair<std::string, std::string>> apps;  // (app id, app key)
    std::vector<std::string> faults;                        // "ENDPOINT:KIND[:ARG]"
    int catalog = 5;                                        // apps in the ad list
    // Serve a self-signed certificate for the API host that no client
    // trusts, instead of the one the test CA signed.
    bool untrustedCertificate = false;
    // Serve no /__control/ endpoints (the journal is still read from its
    // file; setFault and clearFaults fail).
    bool noControl = false;
    double startTimeoutSeconds = 20;
  };

  // Starts the server and waits until it reports its port. nullptr, with
  // error saying why, when it cannot be started or never listens.
  static std::unique_ptr<ServerProcess> start(const Options& options, std::string& error);

  // Stops the server (SIGTERM, then reaps it) and removes its folder. In a
  // forked child of the starting process it does nothing, so a child that
  // unwinds cannot stop its parent's server.
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  int port() const { return port_; }
  // The API host mapped to this server, "HOST:443:127.0.0.1:PORT" (the host
  // of the built-in base address), a curl CONNECT_TO mapping.
  std::string connectTo() const;
  // The CA that signed the server's certificate (the build's test CA).
  static std::string caFile();

  const std::string& journalPath() const { return journalPath_; }
  // Every journal entry so far, oldest first; unreadable lines are skipped.
  std::vector<Json> journal() const;
  // The entries whose "endpoint" is endpoint.
  std::vector<Json> entriesFor(const std::string& endpoint) const;
  // Waits until endpoint has at least count entries or timeoutSeconds pass.
  bool waitForEntries(const std::string& endpoint, std::size_t count,
                      double timeoutSeconds = 10) const;

  // Changes faults while the server runs (rule as for --fault, "E:none"
  // clears one). Returns whether the server accepted it. These control
  // requests go straight to the server, whatever network the SDK's device
  // has.
  bool setFault(const std::string& rule) const;
  bool clearFaults() const;

 private:
  ServerProcess() = default;
  bool control(const std::string& path, const std::string& body) const;

  std::string directory_;
  std::string journalPath_;
  pid_t owner_ = -1;  // the process that started the server
  pid_t pid_ = -1;
  int port_ = 0;
};

// One line about a journal entry: method, endpoint, signature verdict,
// status, answer retcode and the deciphered body (cut after maxBody bytes).
std::string describeJournalEntry(const Json& entry, std::size_t maxBody = 400);

}  // namespace qdx

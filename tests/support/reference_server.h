#pragma once
// Runs the reference ad server (the qdx-server program) for one test: on a
// free port of 127.0.0.1, with its own journal, killed when the object
// goes. The TestEnv installed at construction, if any, is pointed at it:
// the test CA is trusted and api.qdx.example:443 is connected to the
// server's port.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/posix_env.h"
#include "server_process.h"
#include "common/json.h"
#include "support/test_env.h"

namespace qdx {

class ReferenceServer {
 public:
  // The app the tests use unless they list their own.
  static constexpr const char* kAppId = "10001";
  static constexpr const char* kAppKey = "QDXDemoAppKey2016";

  struct Options {
    std::vector<std::pair<std::string, std::string>> apps = {{kAppId, kAppKey}};
    std::vector<std::string> faults;  // "ENDPOINT:KIND[:ARG]"
    int catalog = 5;
    // Serve a self-signed certificate that the client does not trust.
    bool untrustedCertificate = false;
    // Offer no /__control/ endpoints, like a server the client does not
    // know (the test still reads the journal file).
    bool noControl = false;
  };

  // Starts the server and waits until it listens; check running().
  ReferenceServer();
  explicit ReferenceServer(Options options);
  ~ReferenceServer();
  ReferenceServer(const ReferenceServer&) = delete;
  ReferenceServer& operator=(const ReferenceServer&) = delete;

  bool running() const { return process_ != nullptr; }
  int port() const { return process_ ? process_->port() : 0; }
  // "api.qdx.example:443:127.0.0.1:PORT", a curl CONNECT_TO mapping.
  std::string connectTo() const;
  // Trusts the test CA and maps the API host to this server in env.
  void configure(PosixEnv& env) const;
  void configure(TestEnv& env) const { configure(env.posix()); }

  // Every journal entry so far, oldest first (read from the journal file).
  std::vector<Json> journal() const;
  // The entries whose "endpoint" is endpoint.
  std::vector<Json> entriesFor(const std::string& endpoint) const;
  // Waits until endpoint has at least count entries or timeoutSeconds pass.
  bool waitForEntries(const std::string& endpoint, std::size_t count,
                      double timeoutSeconds = 10) const;

  // Changes faults while the server runs (rule as for --fault, "E:none"
  // clears one). Returns whether the server accepted it.
  bool setFault(const std::string& rule) const;
  bool clearFaults() const;

  std::string journalPath() const { return process_ ? process_->journalPath() : ""; }

 private:
  std::unique_ptr<ServerProcess> process_;
};

}  // namespace qdx

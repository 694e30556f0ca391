#pragma once
// The reference ad server: HTTPS on 127.0.0.1 for the host name
// api.qdx.example, checking every signed post the way production does,
// journaling it and answering per endpoint; plus the ad artwork, the SDK's
// own images and a control API (/__control/...) for tests.
#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "ad_catalog.h"
#include "artwork.h"
#include "fault_plan.h"
#include "journal.h"
#include "server_options.h"

namespace httplib {
class SSLServer;
struct Request;
struct Response;
}  // namespace httplib

namespace qdx::server {

class AdServer {
 public:
  // journalPath must be set in options (main picks a temp file otherwise).
  explicit AdServer(ServerOptions options);
  ~AdServer();
  AdServer(const AdServer&) = delete;
  AdServer& operator=(const AdServer&) = delete;

  // Loads the certificate, binds 127.0.0.1:options.port and starts serving
  // on a background thread. Returns false with error set on failure.
  bool start(std::string& error);
  // The bound port (valid after a successful start()).
  int port() const { return port_; }
  // Stops serving and joins the listener. Idempotent.
  void stop();

  Journal& journal() { return *journal_; }
  FaultPlan& faults() { return faults_; }

 private:
  void handlePost(const httplib::Request& req, httplib::Response& res);
  void handleGet(const httplib::Request& req, httplib::Response& res);
  void handleControl(const httplib::Request& req, httplib::Response& res);
  // The answer of a correctly signed post to endpoint.
  Json answerFor(const std::string& endpoint, const Json& body, const std::string& appKey,
                 bool encipher);
  std::string origin(const httplib::Request& req) const;
  // Sleeps seconds, waking early when the server stops.
  void pause(double seconds);
  // Applies the faults that act on the connection rather than the answer:
  // "drop" journals the request and closes the connection (returns true:
  // nothing more to do); "delay" waits before the answer is made.
  bool applyConnectionFault(const std::optional<Fault>& fault, const httplib::Request& req,
                            Json& entry);

  ServerOptions options_;
  std::unique_ptr<Journal> journal_;
  FaultPlan faults_;
  Artwork artwork_;
  std::unique_ptr<httplib::SSLServer> http_;
  std::thread listener_;
  std::atomic<bool> stopping_{false};
  int port_ = -1;
};

}  // namespace qdx::server

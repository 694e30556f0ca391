#pragma once
// Faults the reference server injects, per endpoint, so tests can walk the
// client's failure paths against a real server.
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx::server {

enum class FaultKind {
  kRetcode,        // answer {"retcode": arg, "errmsg": ...} without "data"
  kGarbage,        // answer 200 with a body that is not JSON
  kHttpStatus,     // answer with HTTP status arg and an HTML error page
  kDelay,          // wait arg seconds, then answer normally
  kDrop,           // close the connection without an answer
  kPlaintextData,  // answer normally but with "data" not enciphered
  kNoData,         // answer {"retcode":0} without "data"
  kTextData,       // answer {"retcode":0} whose "data" is text that is not JSON
  kPayload,        // answer normally with text (the rest of the rule) enciphered as "data"
  kMoved,          // images only: redirect (302) to the same path + "?moved"
};

struct Fault {
  FaultKind kind = FaultKind::kGarbage;
  double arg = 0;  // retcode, HTTP status or seconds
  std::string text;  // payload: the text served as the deciphered "data"
};

// Parses "ENDPOINT:KIND[:ARG]". The endpoint is a POST endpoint name
// ("reg_dev"), an asset path under /qdx/ ("images/close120.png"), a
// pattern of those ("*.png": every image; '*' also matches '/') or "*" for
// everything under /qdx/. KIND "none" clears the endpoint's fault (the
// result then holds no fault). Returns nullopt with error set when the rule
// is malformed.
struct FaultRule {
  std::string endpoint;
  std::optional<Fault> fault;
};
std::optional<FaultRule> parseFaultRule(const std::string& rule, std::string& error);

// The faults in force. Thread-safe: request handlers read it while the
// control endpoint changes it.
class FaultPlan {
 public:
  // Applies a parsed rule (sets or clears one endpoint).
  void apply(const FaultRule& rule);
  void clear();
  // The fault for endpoint: its own, else that of a matching pattern, else
  // the "*" one, else none.
  std::optional<Fault> faultFor(const std::string& endpoint) const;
  // {"endpoint": "KIND[:ARG]", ...} for the control endpoint.
  Json describe() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Fault> faults_;
};

}  // namespace qdx::server

#pragma once
// How the reference server reads a posted envelope and enciphers its
// answers, with the same signature and cipher code the SDK uses.
#include <map>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx::server {

struct EnvelopeCheck {
  // "valid", "invalid" (signature mismatch), "unsigned" (no or empty
  // "sign"), "unknown-app" (no key for "appid") or "malformed" (not a JSON
  // object of string members).
  std::string verdict;
  // The posted object as parsed; null when the body was not JSON.
  Json envelope;
  // The deciphered "data", when the app is known and "data" is present.
  std::optional<std::string> plainBody;
};

// Checks text, posted to url, against the app keys in apps (app id -> key).
EnvelopeCheck checkEnvelope(const std::string& text, const std::string& url,
                            const std::map<std::string, std::string>& apps);

// The hex cipher text of plain under key, for an answer's "data".
std::string encipherAnswer(const std::string& plain, const std::string& key);

}  // namespace qdx::server

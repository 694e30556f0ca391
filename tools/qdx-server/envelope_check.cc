#include "envelope_check.h"

#include "common/json_access.h"
#include "transport/envelope_verifier.h"

namespace qdx::server {

EnvelopeCheck checkEnvelope(const std::string& text, const std::string& url,
                            const std::map<std::string, std::string>& apps) {
  EnvelopeVerdict verdict = verifyEnvelope(text, url, [&apps](const std::string& appid) {
    auto found = apps.find(appid);
    return found == apps.end() ? std::nullopt : std::optional<std::string>(found->second);
  });
  EnvelopeCheck check;
  check.envelope = verdict.envelope;
  const std::optional<std::string> sign = json::stringMember(verdict.envelope, "sign");
  bool unsignedEnvelope = verdict.envelope.is_object() && (!sign || sign->empty());
  switch (verdict.status) {
    case EnvelopeStatus::kOk: check.verdict = "valid"; break;
    case EnvelopeStatus::kUnknownApp: check.verdict = "unknown-app"; break;
    case EnvelopeStatus::kBadSignature:
      check.verdict = unsignedEnvelope ? "unsigned" : "invalid";
      break;
    case EnvelopeStatus::kMissingMember:
      check.verdict = unsignedEnvelope ? "unsigned" : "malformed";
      break;
    default: check.verdict = "malformed"; break;
  }
  if (verdict.body) {
    check.plainBody = verdict.body;
  } else if (!verdict.appKey.empty()) {
    // A refused envelope is still journaled with its body, to show what
    // the client meant to send.
    if (auto data = json::stringMember(verdict.envelope, "data")) {
      check.plainBody = decipherWithKey(*data, verdict.appKey);
    }
  }
  return check;
}

std::string encipherAnswer(const std::string& plain, const std::string& key) {
  return encipherWithKey(plain, key);
}

}  // namespace qdx::server

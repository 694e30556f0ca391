#include "transport/envelope_verifier.h"

#include "common/json_access.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXEncryptUtil.h"
#include "transport/qdx_cipher.h"

namespace qdx {

namespace {

const char* const kIdentityMembers[] = {"devid",   "appid",   "sdk_ver",   "app_ver",
                                        "channel", "os_type", "timestamp", "sign"};

EnvelopeVerdict refuse(EnvelopeVerdict verdict, EnvelopeStatus status, std::string detail) {
  verdict.status = status;
  verdict.detail = std::move(detail);
  return verdict;
}

// Compares without stopping at the first difference.
bool sameText(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  }
  return difference == 0;
}

}  // namespace

EnvelopeVerdict verifyEnvelope(const std::string& postedJson, const std::string& url,
                               const AppKeyLookup& lookup) {
  EnvelopeVerdict verdict;
  Json posted = QDXDictionaryAndJSON::objectFromJsonData(postedJson, true);
  if (posted.is_null()) return refuse(std::move(verdict), EnvelopeStatus::kNotJson, "not JSON");
  if (!posted.is_object()) {
    return refuse(std::move(verdict), EnvelopeStatus::kNotObject, "not a JSON object");
  }
  verdict.envelope = posted;
  for (const char* name : kIdentityMembers) {
    if (!json::member(posted, name).is_string()) {
      return refuse(std::move(verdict), EnvelopeStatus::kMissingMember,
                    std::string("missing member ") + name);
    }
  }
  const Json& data = json::member(posted, "data");
  if (!data.is_null() && !data.is_string()) {
    return refuse(std::move(verdict), EnvelopeStatus::kMissingMember, "member data is not a string");
  }

  const std::string appid = posted["appid"].get<std::string>();
  std::optional<std::string> key;
  try {
    if (lookup) key = lookup(appid);
  } catch (...) {
    key.reset();
  }
  if (!key) return refuse(std::move(verdict), EnvelopeStatus::kUnknownApp, "unknown appid " + appid);
  verdict.appKey = *key;

  // The client signed this very envelope with "sign" still empty.
  Json blanked = posted;
  blanked["sign"] = "";
  const std::string expected = QDXEncryptUtil::makeSig("POST", url, blanked, *key);
  if (!sameText(expected, posted["sign"].get<std::string>())) {
    return refuse(std::move(verdict), EnvelopeStatus::kBadSignature, "signature mismatch");
  }
  if (data.is_string()) verdict.body = decipherWithKey(data.get<std::string>(), *key);
  verdict.status = EnvelopeStatus::kOk;
  verdict.detail = "ok";
  return verdict;
}

std::string encipherWithKey(const std::string& text, const std::string& appKey) {
  return cipher::encipherHex(text, cipher::keyUnits(appKey));
}

std::string decipherWithKey(const std::string& hex, const std::string& appKey) {
  return cipher::decipherHex(hex, cipher::keyUnits(appKey));
}

}  // namespace qdx

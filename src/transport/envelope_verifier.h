#pragma once
// The receiving side of the envelope, for the reference server and for
// tests: checks a posted envelope's members and signature and deciphers its
// body, and enciphers answer bodies with an explicit app key.
#include <functional>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

enum class EnvelopeStatus {
  kOk,
  kNotJson,          // the posted text is not JSON
  kNotObject,        // JSON, but not an object
  kMissingMember,    // an identity member is absent or not a string, or
                     // "data" is present but not a string
  kUnknownApp,       // the lookup knows no key for "appid"
  kBadSignature,     // "sign" differs from the recomputed signature
};

struct EnvelopeVerdict {
  EnvelopeStatus status = EnvelopeStatus::kNotJson;
  // A short explanation for logs ("missing member channel", ...).
  std::string detail;
  // The parsed envelope as posted (null unless it was a JSON object).
  Json envelope;
  // The app key the lookup gave for "appid" ("" when none).
  std::string appKey;
  // The deciphered "data" text when the signature holds and "data" is
  // present; nullopt otherwise. A "data" that does not decipher reads "".
  std::optional<std::string> body;
};

// Finds the app key for an app id string; nullopt when the app is unknown.
using AppKeyLookup = std::function<std::optional<std::string>(const std::string& appid)>;

// Checks postedJson, the body posted to url (the full URL string the client
// signed): it must be a JSON object whose eight identity members ("devid",
// "appid", "sdk_ver", "app_ver", "channel", "os_type", "timestamp", "sign")
// are strings, with an optional string "data". The signature is recomputed
// over every member with "sign" blanked, keyed by the app's key, and
// compared. Never throws.
EnvelopeVerdict verifyEnvelope(const std::string& postedJson, const std::string& url,
                               const AppKeyLookup& lookup);

// The uppercase hex cipher text of text under appKey (an answer's "data"),
// exactly as the client enciphers, but without removing spaces or writing
// to standard output. "" when appKey has fewer than 16 characters.
std::string encipherWithKey(const std::string& text, const std::string& appKey);

// The deciphered text of hex under appKey, with the client's key rules
// (decryptWithString reads the stored app key and calls this).
std::string decipherWithKey(const std::string& hex, const std::string& appKey);

}  // namespace qdx

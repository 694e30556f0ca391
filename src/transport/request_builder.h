#pragma once
// Turns a caller's body into the bytes that are posted: the body's JSON text
// enciphered with the app key, wrapped in a fresh envelope, signed, and the
// signed envelope written as pretty-printed JSON.
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

// The signed envelope for one POST to url (the URL string exactly as it will
// be posted to), with parameterDic (null for no body) enciphered in "data".
// Reads "QDX_APP_KEY", "QDX_CHANNEL" and "QDX_APP_ID" from the local store,
// the device id from the keychain and the clock now. Returns nullopt (and
// logs a line while debugging) when the envelope cannot be built: no app key
// stored, or a channel, app id or app version without a value.
std::optional<std::string> buildSignedRequestBody(const std::string& url, const Json& parameterDic);

}  // namespace qdx

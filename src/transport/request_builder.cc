#include "transport/request_builder.h"

#include "common/json_access.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/QDXEncryptUtil.h"
#include "transport/QDXHttpRequest.h"
#include "sdk/store_keys.h"

namespace qdx {

std::optional<std::string> buildSignedRequestBody(const std::string& url, const Json& parameterDic) {
  // A body that cannot be written enciphers as nothing: "data" is "".
  std::optional<std::string> text = QDXDictionaryAndJSON::jsonStringFromObjectDic(parameterDic);
  std::string cipherText = QDXEncryptAndDecrypt().encryptWithString(text);
  if (text && !text->empty() && cipherText.empty()) {
    // The body did not encipher (an app key under 16 characters): an
    // envelope without it must not go out, or an acknowledgement would drop
    // a pending event whose content never left the device.
    debugLog("QDXHttpClient: no envelope for " + url + ": the body could not be enciphered");
    return std::nullopt;
  }

  QDXHttpRequest request;
  Json unsigned_ = request.getDictionaryWithRequsetString(cipherText);
  if (unsigned_.is_null()) {
    debugLog("QDXHttpClient: no envelope for " + url +
             ": channel, app id or app version has no value yet");
    return std::nullopt;
  }
  std::optional<std::string> appKey =
      json::asString(QDXUserDefaults::getObjectFromLocal(keys::kAppKey));
  if (!appKey) {
    debugLog("QDXHttpClient: no envelope for " + url + ": no app key stored under QDX_APP_KEY");
    return std::nullopt;
  }
  // The signature covers the envelope with "sign" present and empty.
  request.sign = QDXEncryptUtil::makeSig("POST", url, unsigned_, *appKey);
  return QDXDictionaryAndJSON::jsonDataFromObjectDic(request.getDictionaryWithRequsetString(cipherText));
}

}  // namespace qdx

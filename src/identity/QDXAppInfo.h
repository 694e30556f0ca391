#pragma once
// What the SDK tells the server about the host app: which app, which build
// of it and of the SDK, and through which channel. Registration sends
// getAppInfo() as its "appinfo" member.
#include <string>

#include "common/json.h"

namespace qdx {

class QDXAppInfo {
 public:
  // The properties, in the order the server lists them. Missing sources
  // read as "": a channel or app id not stored yet, or a bundle without
  // the key (a real app bundle always has both keys).
  std::string channel;   // "QDX_CHANNEL" from the local store
  std::string pkg_name;  // "CFBundleIdentifier"
  std::string appid;     // "QDX_APP_ID" from the local store, in decimal
  std::string sdk_ver;   // "1.0.2"
  std::string app_ver;   // "CFBundleShortVersionString"
  std::string tag;       // always ""
  std::string app_sign;  // always ""

  // Reads the local store and the main bundle once (init).
  QDXAppInfo();

  // The seven properties as {"appid", "pkg_name", "app_ver", "sdk_ver",
  // "channel", "app_sign", "tag"}, all strings, from the current values:
  // a property changed after construction is what is sent.
  Json getAppInfo() const;

  // The SDK's version string, "1.0.2".
  static const char* const kSdkVersion;
  // "CFBundleShortVersionString" of the main bundle, or "" when absent.
  static std::string bundleShortVersion();
  // "CFBundleIdentifier" of the main bundle, or "" when absent.
  static std::string bundleIdentifier();
};

}  // namespace qdx

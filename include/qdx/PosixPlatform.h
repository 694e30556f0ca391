#pragma once
// The settings of the POSIX platform: the simulated device a host app runs
// the SDK on under Linux. Each setting starts from a QDX_* environment
// variable (read once, when the platform is first used) or its default, and
// a host may change it in code, typically before QDXAD::initWithChannel.
// All calls are safe from any thread.
//
// The settings belong to the process-wide POSIX platform. A process that
// installed a platform of its own (a test double) is not affected by them.
#include <functional>
#include <string>
#include <vector>

#include "qdx/QDXExport.h"

namespace qdx {

class QDX_EXPORT PosixPlatform {
 public:
  // The app's home directory: Documents, Library/Caches and the local
  // store live under it (QDX_HOME; default a per-app folder under
  // ~/.local/share/qdx/apps/<bundle id>). Changing it reopens the store.
  static void setHomeDirectory(const std::string& directory);
  static std::string homeDirectory();

  // The keychain database's folder, outside every app home, so that its
  // items outlive an app's removal (QDX_KEYCHAIN_DIR; default
  // ~/.local/share/qdx/keychain). Changing it reopens the database.
  static void setKeychainDirectory(const std::string& directory);
  static std::string keychainDirectory();

  // The status bar's data-network code: 0 none, 1-4 cellular kinds, 5 Wi-Fi
  // (QDX_NETWORK; default 5). With 0 the SDK sends nothing and keeps its
  // reports for a later start.
  static void setDataNetworkCode(unsigned code);
  static unsigned dataNetworkCode();

  // The main bundle's "CFBundleIdentifier" (QDX_BUNDLE_ID; default
  // "com.example.qdxhost") and "CFBundleShortVersionString"
  // (QDX_APP_VERSION; default "1.0").
  static void setBundleIdentifier(const std::string& bundleId);
  static void setAppVersion(const std::string& version);

  // The main screen in points and its scale in pixels per point
  // (QDX_SCREEN, e.g. "375x667@2", the default).
  static void setMainScreen(double width, double height, double scale);

  // The device's locale identifier, e.g. "en_US" (QDX_LOCALE; the
  // default): dates follow its calendar rules.
  static void setLocale(const std::string& locale);

  // The main bundle's resource folder, where the host ships interface
  // files and their images (QDX_BUNDLE_DIR; default none).
  static void setBundleResourceDirectory(const std::string& directory);

  // A CA bundle (PEM file) to trust for HTTPS, then the only one trusted
  // (QDX_CA_FILE; default: the system's store). Empty restores the default.
  static void setCaFile(const std::string& path);
  static std::string caFile();

  // curl CONNECT_TO mappings, "HOST:PORT:CONNECT-HOST:CONNECT-PORT", e.g.
  // "api.qdx.example:443:127.0.0.1:8443" (QDX_CONNECT_TO, comma-separated;
  // default none). The SDK still signs and posts its own URLs, so a staging
  // or local server can stand in without a changed SDK.
  static void setConnectTo(const std::vector<std::string>& mappings);
  static std::vector<std::string> connectTo();

  // What opening a store link does. The handler gets the URL and says
  // whether it opened. Without one the link is logged and, when
  // QDX_OPEN_URL_COMMAND names a program, that program is started with the
  // URL as its one argument. An empty function restores that default.
  static void setOpenURLHandler(std::function<bool(const std::string& url)> handler);

  // Where the SDK's log lines go (each without its newline). The default
  // writes them to standard error. An empty function restores it.
  static void setLogSink(std::function<void(const std::string& line)> sink);
};

}  // namespace qdx

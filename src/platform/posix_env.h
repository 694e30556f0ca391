#pragma once
// The POSIX default Env. Hosts configure it in code with the setters below;
// integrators and tests may instead use environment variables, read once
// when the object is created:
//   QDX_HOME          the app's home directory (default: a per-app folder
//                     under $XDG_DATA_HOME or ~/.local/share/qdx/apps/<bundle id>)
//   QDX_KEYCHAIN_DIR  the keychain database's folder (default: a per-user
//                     folder outside every app home, ~/.local/share/qdx/keychain)
//   QDX_NETWORK       the data-network code, 0-5 (default 5, Wi-Fi)
//   QDX_BUNDLE_ID     "CFBundleIdentifier" (default "com.example.qdxhost")
//   QDX_APP_VERSION   "CFBundleShortVersionString" (default "1.0")
//   QDX_SCREEN        points and scale, e.g. "375x667@2" (the default)
//   QDX_LOCALE        the locale identifier (default "en_US")
//   QDX_BUNDLE_DIR    the main bundle's resource folder (default: none)
//   QDX_CA_FILE       an extra CA bundle to trust for HTTPS
//   QDX_CONNECT_TO    curl CONNECT_TO mapping, e.g. "api.qdx.example:443:127.0.0.1:8443"
//   QDX_OPEN_URL_COMMAND  a program run with the URL as its one argument when
//                     openURL has no host hook (read at each call)
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/env.h"

namespace qdx {

class PosixEnv : public Env {
 public:
  // Reads the QDX_* environment variables.
  PosixEnv();
  // The process-wide instance the SDK uses when no Env was installed, made
  // on first use; what the public PosixPlatform settings configure.
  static PosixEnv& processDefault();
  ~PosixEnv() override;

  // --- Configuration (thread-safe) -----------------------------------------
  void setBundleInfo(const std::string& key, const std::string& value);
  void removeBundleInfo(const std::string& key);
  void setMainScreen(ScreenMetrics screen);
  void setSystemVersion(std::string version);
  void setMachineIdentifier(std::string machine);  // default: uname()
  void setAdvertisingIdentifier(std::string idfa);  // default: stable per home
  void setDataNetworkCode(unsigned code);
  void setLocale(std::string locale);
  void setBundleResourceDirectory(std::string dir);
  // Changing the home directory reopens the local store under it.
  void setHomeDirectory(std::string home);
  // Changing the keychain directory reopens the keychain database.
  void setKeychainDirectory(std::string dir);
  void setCaFile(std::string path);
  void setConnectTo(std::vector<std::string> mappings);
  // Where log lines go; the default writes each line to stderr.
  void setLogSink(std::function<void(const std::string&)> sink);
  // What openURL does. Without a handler it logs the URL while debugging
  // and, when QDX_OPEN_URL_COMMAND is set, starts that program with the URL
  // as its one argument (no shell, not waited for); false only when it
  // cannot start.
  void setOpenURLHandler(std::function<bool(const std::string&)> handler);

  std::string keychainDirectory();
  std::string caFile();
  std::vector<std::string> connectTo();

  // --- Env -----------------------------------------------------------------
  std::optional<std::string> bundleInfo(const std::string& key) override;
  ScreenMetrics mainScreen() override;
  std::string systemVersion() override;
  std::string machineIdentifier() override;
  std::string advertisingIdentifier() override;
  unsigned dataNetworkCode() override;
  int applicationState() override;
  // Always accepted (true): on POSIX the kit or the host decides the state.
  bool setApplicationState(int state) override;
  std::string locale() override;
  std::string bundleResourceDirectory() override;
  double now() override;
  std::string homeDirectory() override;
  std::string documentsDirectory() override;
  std::string cachesDirectory() override;
  std::optional<std::string> readFile(const std::string& path) override;
  bool fileExists(const std::string& path) override;
  bool writeFileAtomically(const std::string& path, const std::string& contents) override;
  std::optional<std::vector<std::string>> listDirectory(const std::string& directory) override;
  bool removeFile(const std::string& path) override;
  bool createDirectories(const std::string& directory) override;
  // Threads carry name (shortened to 15 bytes) for debuggers.
  bool startThread(const std::string& name, std::function<void()> work) override;
  bool openURL(const std::string& url) override;
  void log(const std::string& line) override;
  KeyValueBackend& localStore() override;
  SecureItemBackend& keychain() override;
  // Defined with the curl transport (posix_http.cc).
  HttpResponse performHttp(const HttpRequest& request) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qdx

#pragma once
// Env is the SDK's one seam to the operating system, in the manner of
// LevelDB's Env: everything the SDK asks of the device goes through it.
// A host (or a test) installs its Env once, before the SDK starts; without
// one the POSIX default (posix_env.h) is used.
//
// Implementations are safe to call from any thread.
#include <optional>
#include <string>

#include "platform/http_transport.h"
#include "platform/store_backends.h"
#include "qdx/QDXTypes.h"

namespace qdx {

struct ScreenMetrics {
  double width = 375;   // main screen bounds, points
  double height = 667;
  double scale = 2;     // pixels per point
};

class Env {
 public:
  virtual ~Env() = default;

  // The installed Env, or the process-wide POSIX default.
  static Env* Default();
  // Installs env for the rest of the process (not owned; must outlive every
  // SDK call). Call before the SDK starts; nullptr restores the default.
  static void Install(Env* env);

  // --- Bundle and device facts ---------------------------------------------
  // A value of the main bundle's information dictionary, e.g.
  // "CFBundleIdentifier" or "CFBundleShortVersionString"; nullopt if absent.
  virtual std::optional<std::string> bundleInfo(const std::string& key) = 0;
  // The main screen's bounds (points) and scale.
  virtual ScreenMetrics mainScreen() = 0;
  // The OS version string, e.g. "17.2".
  virtual std::string systemVersion() = 0;
  // The machine identifier (uname's machine field), e.g. "iPhone8,1".
  virtual std::string machineIdentifier() = 0;
  // The advertising identifier as an uppercase UUID string.
  virtual std::string advertisingIdentifier() = 0;
  // The status bar's data-network code: 0 none, 1-4 cellular kinds, 5 Wi-Fi.
  virtual unsigned dataNetworkCode() = 0;
  // The application state: 0 active, 1 inactive, 2 background.
  virtual int applicationState() = 0;
  // The device's locale identifier, e.g. "en_US" or "de_DE": date formats
  // follow its calendar rules (first day of the week, week-based year).
  virtual std::string locale() = 0;
  // The main bundle's resource folder, where the host ships its interface
  // files and their images; empty when the host has none.
  virtual std::string bundleResourceDirectory() = 0;

  // --- Clock ---------------------------------------------------------------
  // Seconds since 1970-01-01 UTC, with the fraction.
  virtual double now() = 0;

  // --- Directories ---------------------------------------------------------
  // The app's home directory; Documents and Library/Caches live under it.
  virtual std::string homeDirectory() = 0;
  virtual std::string documentsDirectory() = 0;
  virtual std::string cachesDirectory() = 0;

  // --- Services ------------------------------------------------------------
  // Asks the system to open url (the store page of an app). Returns whether
  // the system accepted it.
  virtual bool openURL(const std::string& url) = 0;
  // Writes one diagnostic line (no trailing newline needed).
  virtual void log(const std::string& line) = 0;
  // The app's key-value store and the per-user keychain.
  virtual KeyValueBackend& localStore() = 0;
  virtual SecureItemBackend& keychain() = 0;
  // Performs one blocking HTTP exchange (TLS verified).
  virtual HttpResponse performHttp(const HttpRequest& request) = 0;
};

}  // namespace qdx

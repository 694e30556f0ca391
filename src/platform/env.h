#pragma once
// Env is the SDK's one seam to the operating system, in the manner of
// LevelDB's Env: everything the SDK asks of the device goes through it.
// A host (or a test) installs its Env once, before the SDK starts; without
// one the POSIX default (posix_env.h) is used.
//
// Implementations are safe to call from any thread.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/http_transport.h"
#include "platform/store_backends.h"
#include "common/json.h"

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
  // Changes the application state where the platform lets the library's
  // own kit decide it (a desktop device, a test). Returns false, changing
  // nothing, where the system alone owns the state (the default).
  virtual bool setApplicationState(int state);
  // The device's locale identifier, e.g. "en_US" or "de_DE": date formats
  // follow its calendar rules (first day of the week, week-based year).
  virtual std::string locale() = 0;
  // The main bundle's resource folder, where the host ships its interface
  // files and their images; empty when the host has none.
  virtual std::string bundleResourceDirectory() = 0;

  // --- Network time-outs ---------------------------------------------------
  // How long one API post (signed envelope, answer awaited) may take before
  // it counts as failed: 10 seconds. Waits of the SDK that stand for a
  // request (a flow waiting on the main queue) use it too.
  virtual double requestTimeoutSeconds();
  // How long one image download may take: 60 seconds, the platform URL
  // loading's own default. A test platform shortens both, so that a stalled
  // server costs it seconds, not minutes.
  virtual double downloadTimeoutSeconds();

  // --- Clock ---------------------------------------------------------------
  // Seconds since 1970-01-01 UTC, with the fraction.
  virtual double now() = 0;
  // Seconds on a clock that never goes back and ignores changes to the
  // wall time, from an arbitrary start: run-loop timers, animations and
  // gestures measure time on it. The default reads the system's steady
  // clock.
  virtual double monotonicNow();

  // --- Directories ---------------------------------------------------------
  // The app's home directory; Documents and Library/Caches live under it.
  virtual std::string homeDirectory() = 0;
  virtual std::string documentsDirectory() = 0;
  virtual std::string cachesDirectory() = 0;

  // --- Files ---------------------------------------------------------------
  // Paths are absolute, or relative to the process's working directory.
  // Failures are reported by the result; nothing is thrown.
  //
  // The whole content of the file at path; nullopt when it is missing or
  // cannot be read (a directory, no permission, an I/O error).
  virtual std::optional<std::string> readFile(const std::string& path) = 0;
  // True when path names an existing regular file.
  virtual bool fileExists(const std::string& path) = 0;
  // Replaces the file at path with contents, atomically: they are written
  // to a uniquely named temporary file in the same directory, which is then
  // renamed over path, so a reader (or a second writer, in this process or
  // another) sees the old file or the new one whole, never a part. Returns
  // false when it fails, leaving path as it was and no temporary behind.
  // The directory must exist.
  virtual bool writeFileAtomically(const std::string& path, const std::string& contents) = 0;
  // The bare names of the entries of directory (no "." or ".."), in the
  // order the system lists them; nullopt when it cannot be listed.
  virtual std::optional<std::vector<std::string>> listDirectory(const std::string& directory) = 0;
  // Removes the file at path. Returns true when a file was removed.
  virtual bool removeFile(const std::string& path) = 0;
  // Creates directory and every missing parent. Returns true when it
  // exists as a directory afterwards.
  virtual bool createDirectories(const std::string& directory) = 0;

  // --- Threads -------------------------------------------------------------
  // Runs work on a new detached thread, named name where the system keeps
  // thread names (for debuggers; it may be shortened). work must not throw:
  // anything escaping it is dropped. The thread never touches this Env, so
  // it may outlive it. Returns false, dropping work, when no thread can be
  // started.
  virtual bool startThread(const std::string& name, std::function<void()> work) = 0;

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

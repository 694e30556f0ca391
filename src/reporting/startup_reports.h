#pragma once
// The online part of start-up: what runs after the network test found a
// data connection. QDXAD's initialiser calls runOnlineStartup(); its
// getImageToLocal and getGlobalConfig are warmImageCache() and
// fetchGlobalConfig().
#include <optional>
#include <string>

namespace qdx {

// In order: registers the device when the keychain has no "QDX_Dev_ID";
// re-sends a stored use-time group; retries a refused utype report;
// uploads stored crash logs; re-sends pending events; sends the activation
// when a device id was present and "QDX_REPORT_ACTIVE" is absent; starts
// warmImageCache() and fetchGlobalConfig() on two new background threads;
// reports base information when the keychain's "QDX_APP_VERSION" differs
// from bundleVersion (the app's short version read at start-up, "" when
// the bundle has none).
void runOnlineStartup(const std::string& bundleVersion);

// Posts each file listed in "<home>/Documents/qdx_sdk_error" to
// error_log_report. Each file is read by its bare name as listed, so it
// resolves against the working directory (the start-up has always done
// so; a file not found that way goes out as an empty body). An
// acknowledged upload deletes "<crash directory>/<name>".
void uploadCrashLogs();

// Fetches the SDK's own four images into the image cache.
void warmImageCache();

// Posts to get_configuration with no body; the answer's "data" (JSON text)
// parsed is stored under "QDX_Global_Config". "retcode" is not consulted.
void fetchGlobalConfig();

}  // namespace qdx

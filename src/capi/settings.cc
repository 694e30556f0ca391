// The C interface's platform settings, version and debug switch: each
// forwards to the C++ call of the same meaning.
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "capi/entry_guard.h"
#include "identity/QDXAppInfo.h"
#include "qdx/PosixPlatform.h"
#include "qdx/QDXAD.h"
#include "qdx/qdx.h"

using qdx::PosixPlatform;
using qdx::capi::guardedVoid;
using qdx::capi::refuse;

namespace {

// Calls set(value) for a non-NULL string; a NULL one is refused.
template <typename Setter>
void setString(const char* function, const char* value, Setter set) {
  guardedVoid(function, [&] {
    if (value == nullptr) return refuse(function, "the string is NULL: nothing changed");
    set(std::string(value));
  });
}

std::vector<std::string> splitOnCommas(const std::string& list) {
  std::vector<std::string> parts;
  std::stringstream in(list);
  std::string part;
  while (std::getline(in, part, ',')) {
    if (!part.empty()) parts.push_back(part);
  }
  return parts;
}

}  // namespace

extern "C" {

const char* qdx_version(void) { return qdx::QDXAppInfo::kSdkVersion; }

int qdx_abi_version(void) { return QDX_ABI_VERSION; }

void qdx_set_home_directory(const char* path) {
  setString("qdx_set_home_directory", path, PosixPlatform::setHomeDirectory);
}

void qdx_set_keychain_directory(const char* path) {
  setString("qdx_set_keychain_directory", path, PosixPlatform::setKeychainDirectory);
}

void qdx_set_network(unsigned code) {
  guardedVoid("qdx_set_network", [&] {
    if (code > 5) return refuse("qdx_set_network", "no network has the code " + std::to_string(code));
    PosixPlatform::setDataNetworkCode(code);
  });
}

void qdx_set_ca_file(const char* path) {
  setString("qdx_set_ca_file", path, PosixPlatform::setCaFile);
}

void qdx_set_connect_to(const char* mappings) {
  setString("qdx_set_connect_to", mappings, [](const std::string& list) {
    PosixPlatform::setConnectTo(splitOnCommas(list));
  });
}

void qdx_set_open_url_handler(int (*open)(void* user, const char* url), void* user) {
  guardedVoid("qdx_set_open_url_handler", [&] {
    if (open == nullptr) return PosixPlatform::setOpenURLHandler(nullptr);
    PosixPlatform::setOpenURLHandler(
        [open, user](const std::string& url) { return open(user, url.c_str()) != 0; });
  });
}

void qdx_set_log_sink(void (*sink)(void* user, const char* line), void* user) {
  guardedVoid("qdx_set_log_sink", [&] {
    if (sink == nullptr) return PosixPlatform::setLogSink(nullptr);
    PosixPlatform::setLogSink([sink, user](const std::string& line) { sink(user, line.c_str()); });
  });
}

void qdx_set_debug(int on) {
  guardedVoid("qdx_set_debug", [&] { qdx::QDXAD::setDebug(on != 0); });
}

void qdx_set_bundle_identifier(const char* id) {
  setString("qdx_set_bundle_identifier", id, PosixPlatform::setBundleIdentifier);
}

void qdx_set_app_version(const char* version) {
  setString("qdx_set_app_version", version, PosixPlatform::setAppVersion);
}

void qdx_set_bundle_directory(const char* path) {
  setString("qdx_set_bundle_directory", path, PosixPlatform::setBundleResourceDirectory);
}

}  // extern "C"

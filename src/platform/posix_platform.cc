// The public settings forward to the process-wide PosixEnv.
#include "qdx/PosixPlatform.h"

#include <utility>

#include "platform/posix_env.h"

namespace qdx {

namespace {

PosixEnv& device() { return PosixEnv::processDefault(); }

}  // namespace

void PosixPlatform::setHomeDirectory(const std::string& directory) {
  device().setHomeDirectory(directory);
}
std::string PosixPlatform::homeDirectory() { return device().homeDirectory(); }

void PosixPlatform::setKeychainDirectory(const std::string& directory) {
  device().setKeychainDirectory(directory);
}
std::string PosixPlatform::keychainDirectory() { return device().keychainDirectory(); }

void PosixPlatform::setDataNetworkCode(unsigned code) { device().setDataNetworkCode(code); }
unsigned PosixPlatform::dataNetworkCode() { return device().dataNetworkCode(); }

void PosixPlatform::setBundleIdentifier(const std::string& bundleId) {
  device().setBundleInfo("CFBundleIdentifier", bundleId);
}
void PosixPlatform::setAppVersion(const std::string& version) {
  device().setBundleInfo("CFBundleShortVersionString", version);
}

void PosixPlatform::setMainScreen(double width, double height, double scale) {
  device().setMainScreen(ScreenMetrics{width, height, scale});
}

void PosixPlatform::setLocale(const std::string& locale) { device().setLocale(locale); }

void PosixPlatform::setBundleResourceDirectory(const std::string& directory) {
  device().setBundleResourceDirectory(directory);
}

void PosixPlatform::setCaFile(const std::string& path) { device().setCaFile(path); }
std::string PosixPlatform::caFile() { return device().caFile(); }

void PosixPlatform::setConnectTo(const std::vector<std::string>& mappings) {
  device().setConnectTo(mappings);
}
std::vector<std::string> PosixPlatform::connectTo() { return device().connectTo(); }

void PosixPlatform::setOpenURLHandler(std::function<bool(const std::string& url)> handler) {
  device().setOpenURLHandler(std::move(handler));
}

void PosixPlatform::setLogSink(std::function<void(const std::string& line)> sink) {
  device().setLogSink(std::move(sink));
}

}  // namespace qdx

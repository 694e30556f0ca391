#include "platform/posix_env.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include "common/hex.h"
#include "platform/posix_files.h"
#include "platform/sqlite_key_value_store.h"
#include "platform/sqlite_secure_store.h"
#include "sdk/QDXLog.h"

namespace qdx {

namespace {

constexpr const char* kDefaultBundleId = "com.example.qdxhost";
constexpr const char* kDefaultVersion = "1.0";
constexpr unsigned kDefaultNetwork = 5;
constexpr const char* kDefaultSystemVersion = "17.0";

// Runs command with url as its one argument (no shell), without waiting:
// a thread of its own reaps it, so a slow browser never holds up a tap.
// False when it cannot be started.
bool runOpenURLCommand(const std::string& command, const std::string& url) {
  std::vector<char*> argv = {const_cast<char*>(command.c_str()), const_cast<char*>(url.c_str()),
                             nullptr};
  pid_t pid = -1;
  if (posix_spawnp(&pid, command.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return false;
  // Without a reaper thread the child stays unreaped until the process
  // ends; the URL was handed over all the same.
  posix::startThread("qdx open-url", [pid] { waitpid(pid, nullptr, 0); });
  return true;
}

std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::string(value);
}

std::string userDataRoot() {
  if (auto xdg = environment("XDG_DATA_HOME")) return *xdg;
  std::string home = environment("HOME").value_or("/tmp");
  return home + "/.local/share";
}

// "375x667@2" -> {375, 667, 2}; nullopt when the text is not of that form.
std::optional<ScreenMetrics> parseScreen(const std::string& text) {
  ScreenMetrics screen;
  char x = 0, at = 0;
  std::istringstream in(text);
  in >> screen.width >> x >> screen.height;
  if (!in || x != 'x') return std::nullopt;
  if (in >> at) {
    if (at != '@' || !(in >> screen.scale)) return std::nullopt;
  }
  if (screen.width <= 0 || screen.height <= 0 || screen.scale <= 0) return std::nullopt;
  return screen;
}

std::vector<std::string> splitCommas(const std::string& text) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream in(text);
  while (std::getline(in, part, ',')) {
    if (!part.empty()) parts.push_back(part);
  }
  return parts;
}

std::string unameField(bool machine) {
  struct utsname names {};
  if (::uname(&names) != 0) return std::string();
  return machine ? names.machine : names.release;
}

std::string randomUppercaseUuid() {
  std::random_device device;
  std::mt19937_64 generator((static_cast<std::uint64_t>(device()) << 32) ^ device());
  unsigned char bytes[16];
  for (auto& byte : bytes) byte = static_cast<unsigned char>(generator());
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  std::string uuid;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uuid.push_back('-');
    hex::appendByte(uuid, bytes[i]);
  }
  return uuid;
}

bool looksLikeUuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

}  // namespace

struct PosixEnv::State {
  std::mutex mutex;
  std::map<std::string, std::string> bundleInfo;
  ScreenMetrics screen;
  std::string systemVersion;
  std::string machine;
  std::optional<std::string> advertisingIdentifier;
  unsigned network = kDefaultNetwork;
  int applicationState = 0;
  std::string locale = "en_US";
  std::string bundleDirectory;
  std::string home;
  std::string keychainDirectory;
  std::string caFile;
  std::vector<std::string> connectTo;
  std::function<void(const std::string&)> logSink;
  std::function<bool(const std::string&)> openURLHandler;
  // Made on first use, so that a home or keychain directory set before the
  // SDK starts is the only one ever touched.
  std::unique_ptr<SqliteKeyValueStore> localStore;
  std::unique_ptr<SqliteSecureStore> keychain;
  // Serialises writes to stderr from many threads.
  std::mutex stderrMutex;
};

PosixEnv::PosixEnv() : state_(std::make_unique<State>()) {
  State& s = *state_;
  std::string bundleId = environment("QDX_BUNDLE_ID").value_or(kDefaultBundleId);
  s.bundleInfo["CFBundleIdentifier"] = bundleId;
  s.bundleInfo["CFBundleShortVersionString"] =
      environment("QDX_APP_VERSION").value_or(kDefaultVersion);
  if (auto screen = environment("QDX_SCREEN")) {
    if (auto parsed = parseScreen(*screen)) s.screen = *parsed;
  }
  if (auto locale = environment("QDX_LOCALE")) s.locale = *locale;
  if (auto bundle = environment("QDX_BUNDLE_DIR")) s.bundleDirectory = *bundle;
  if (auto network = environment("QDX_NETWORK")) {
    char* end = nullptr;
    unsigned long code = std::strtoul(network->c_str(), &end, 10);
    if (end != network->c_str() && *end == '\0') s.network = static_cast<unsigned>(code);
  }
  std::string release = unameField(/*machine=*/false);
  s.systemVersion = release.empty() ? kDefaultSystemVersion : release;
  s.machine = unameField(/*machine=*/true);
  s.home = environment("QDX_HOME").value_or(userDataRoot() + "/qdx/apps/" + bundleId);
  s.keychainDirectory =
      environment("QDX_KEYCHAIN_DIR").value_or(userDataRoot() + "/qdx/keychain");
  s.caFile = environment("QDX_CA_FILE").value_or("");
  if (auto connect = environment("QDX_CONNECT_TO")) s.connectTo = splitCommas(*connect);
}

PosixEnv::~PosixEnv() = default;

// --- Configuration ---------------------------------------------------------

void PosixEnv::setBundleInfo(const std::string& key, const std::string& value) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->bundleInfo[key] = value;
}

void PosixEnv::removeBundleInfo(const std::string& key) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->bundleInfo.erase(key);
}

void PosixEnv::setMainScreen(ScreenMetrics screen) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->screen = screen;
}

void PosixEnv::setSystemVersion(std::string version) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->systemVersion = std::move(version);
}

void PosixEnv::setMachineIdentifier(std::string machine) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->machine = std::move(machine);
}

void PosixEnv::setAdvertisingIdentifier(std::string idfa) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->advertisingIdentifier = std::move(idfa);
}

void PosixEnv::setDataNetworkCode(unsigned code) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->network = code;
}

bool PosixEnv::setApplicationState(int state) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->applicationState = state;
  return true;
}

void PosixEnv::setHomeDirectory(std::string home) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->home = std::move(home);
  // The identifier file belongs to the old home; read the new one's.
  state_->advertisingIdentifier.reset();
  if (state_->localStore) {
    state_->localStore->reopenAt(SqliteKeyValueStore::databasePathForHome(state_->home));
  }
}

void PosixEnv::setKeychainDirectory(std::string dir) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->keychainDirectory = std::move(dir);
  if (state_->keychain) {
    state_->keychain->reopenAt(
        SqliteSecureStore::databasePathInDirectory(state_->keychainDirectory));
  }
}

void PosixEnv::setCaFile(std::string path) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->caFile = std::move(path);
}

void PosixEnv::setConnectTo(std::vector<std::string> mappings) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->connectTo = std::move(mappings);
}

void PosixEnv::setLogSink(std::function<void(const std::string&)> sink) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->logSink = std::move(sink);
}

void PosixEnv::setOpenURLHandler(std::function<bool(const std::string&)> handler) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->openURLHandler = std::move(handler);
}

std::string PosixEnv::keychainDirectory() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->keychainDirectory;
}

std::string PosixEnv::caFile() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->caFile;
}

std::vector<std::string> PosixEnv::connectTo() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->connectTo;
}

// --- Env ---------------------------------------------------------------------

std::optional<std::string> PosixEnv::bundleInfo(const std::string& key) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  auto found = state_->bundleInfo.find(key);
  if (found == state_->bundleInfo.end()) return std::nullopt;
  return found->second;
}

ScreenMetrics PosixEnv::mainScreen() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->screen;
}

std::string PosixEnv::systemVersion() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->systemVersion;
}

std::string PosixEnv::machineIdentifier() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->machine;
}

std::string PosixEnv::advertisingIdentifier() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->advertisingIdentifier) return *state_->advertisingIdentifier;
  // One identifier per home, kept in a file so that it is stable across
  // launches, as the system's would be.
  std::string directory = state_->home + "/Library/Preferences";
  std::string path = directory + "/qdx.advertising-identifier";
  std::string stored = posix::readFile(path).value_or("");
  stored = stored.substr(0, stored.find('\n'));
  if (!looksLikeUuid(stored)) {
    stored = randomUppercaseUuid();
    // Unsaved, it is still this run's identifier; the next run makes another.
    posix::createDirectories(directory);
    posix::writeFileAtomically(path, stored + "\n");
  }
  state_->advertisingIdentifier = stored;
  return stored;
}

unsigned PosixEnv::dataNetworkCode() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->network;
}

int PosixEnv::applicationState() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->applicationState;
}

void PosixEnv::setLocale(std::string locale) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->locale = std::move(locale);
}

std::string PosixEnv::locale() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->locale;
}

void PosixEnv::setBundleResourceDirectory(std::string dir) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->bundleDirectory = std::move(dir);
}

std::string PosixEnv::bundleResourceDirectory() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->bundleDirectory;
}

double PosixEnv::now() {
  auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(sinceEpoch).count();
}

std::string PosixEnv::homeDirectory() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->home;
}

std::string PosixEnv::documentsDirectory() {
  std::string path = homeDirectory() + "/Documents";
  posix::createDirectories(path);
  return path;
}

std::string PosixEnv::cachesDirectory() {
  std::string path = homeDirectory() + "/Library/Caches";
  posix::createDirectories(path);
  return path;
}

std::optional<std::string> PosixEnv::readFile(const std::string& path) {
  return posix::readFile(path);
}

bool PosixEnv::fileExists(const std::string& path) { return posix::fileExists(path); }

bool PosixEnv::writeFileAtomically(const std::string& path, const std::string& contents) {
  return posix::writeFileAtomically(path, contents);
}

std::optional<std::vector<std::string>> PosixEnv::listDirectory(const std::string& directory) {
  return posix::listDirectory(directory);
}

bool PosixEnv::removeFile(const std::string& path) { return posix::removeFile(path); }

bool PosixEnv::createDirectories(const std::string& directory) {
  return posix::createDirectories(directory);
}

bool PosixEnv::startThread(const std::string& name, std::function<void()> work) {
  return posix::startThread(name, std::move(work));
}

bool PosixEnv::openURL(const std::string& url) {
  std::function<bool(const std::string&)> handler;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    handler = state_->openURLHandler;
  }
  if (handler) {
    try {
      return handler(url);
    } catch (...) {
      return false;
    }
  }
  if (mydebug.load()) log("openURL: " + url);
  if (std::optional<std::string> command = environment("QDX_OPEN_URL_COMMAND")) {
    return runOpenURLCommand(*command, url);
  }
  return true;
}

void PosixEnv::log(const std::string& line) {
  std::function<void(const std::string&)> sink;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    sink = state_->logSink;
  }
  if (sink) {
    try {
      sink(line);
    } catch (...) {
      // A failing sink loses the line; it must not take the caller down.
    }
    return;
  }
  std::lock_guard<std::mutex> lock(state_->stderrMutex);
  std::string out = line + "\n";
  std::fwrite(out.data(), 1, out.size(), stderr);
  std::fflush(stderr);
}

KeyValueBackend& PosixEnv::localStore() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (!state_->localStore) {
    state_->localStore = std::make_unique<SqliteKeyValueStore>(
        SqliteKeyValueStore::databasePathForHome(state_->home));
  }
  return *state_->localStore;
}

SecureItemBackend& PosixEnv::keychain() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (!state_->keychain) {
    posix::createDirectories(state_->keychainDirectory);
    ::chmod(state_->keychainDirectory.c_str(), 0700);  // the user's secrets only
    state_->keychain = std::make_unique<SqliteSecureStore>(
        SqliteSecureStore::databasePathInDirectory(state_->keychainDirectory));
  }
  return *state_->keychain;
}

}  // namespace qdx

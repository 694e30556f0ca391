// qdx-demo: a host app in a terminal, scripted. It starts the reference
// server, then plays a host app on the simulated device: a first start,
// banners, a tap and a close, the recommend wall, custom slots in a feed,
// the app leaving the foreground and a second start (or, with --offline, an
// offline start and what it keeps). Each step checks what it claims; the
// gallery (index.html in the output folder) shows its screenshot, what the
// host's delegate heard, the server journal rows and the cipher trace.
//
// The device is the POSIX platform's, so the QDX_* environment variables
// apply. Without QDX_HOME the demo uses a new device in the output folder
// on every run. With QDX_CONNECT_TO set, that server is used as it is.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "demo_options.h"
#include "gallery.h"
#include "host_app.h"
#include "live_window.h"
#include "identity/QDXKeyChain.h"
#include "platform/posix_env.h"
#include "qdx/PosixPlatform.h"
#include "qdx/QDXAD.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Renderer.h"
#include "sample_scene.h"
#include "scripts.h"
#include "server_process.h"
#include "stdout_capture.h"
#include "transport/QDXApiBase.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using qdx::demo::Options;

// The journal of a server the demo did not start, through its control
// endpoint; nothing when it offers none (another server than the
// reference server).
std::optional<std::vector<qdx::Json>> controlJournal() {
  qdx::HttpRequest request;
  request.url = std::string(qdx::kQDXApiBase) + "/__control/journal";
  request.timeoutSeconds = 5;
  const qdx::HttpResponse response = qdx::PosixEnv::processDefault().performHttp(request);
  if (!response.arrived || response.status != 200) return std::nullopt;
  const qdx::Json entries = qdx::Json::parse(response.body, nullptr, false);
  if (!entries.is_array()) return std::nullopt;
  return std::vector<qdx::Json>(entries.begin(), entries.end());
}

// Every key of the local store and every keychain item, one line each.
std::vector<std::string> storeListing() {
  qdx::PosixEnv& env = qdx::PosixEnv::processDefault();
  std::vector<std::string> lines;
  for (const auto& key : env.localStore().keys()) {
    lines.push_back(key + " = " + env.localStore().get(key).dump());
  }
  for (const auto& [service, account] : env.keychain().items()) {
    const std::string name = service == account ? service : service + "/" + account;
    lines.push_back("keychain " + name + " = " +
                    qdx::QDXKeyChain::getUniqueStrWithName(service).dump());
  }
  return lines;
}

std::string joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ",") + part;
  return text;
}

// Starts this program again as the app's next launch on the same device,
// online; it runs until whileRunning returns and its standard input closes.
int relaunch(const Options& options, const std::string& screenshot,
             const std::function<void()>& whileRunning) {
  ::setenv("QDX_HOME", qdx::PosixPlatform::homeDirectory().c_str(), 1);
  ::setenv("QDX_KEYCHAIN_DIR", qdx::PosixPlatform::keychainDirectory().c_str(), 1);
  ::setenv("QDX_CA_FILE", qdx::PosixPlatform::caFile().c_str(), 1);
  ::setenv("QDX_CONNECT_TO", joined(qdx::PosixPlatform::connectTo()).c_str(), 1);
  ::setenv("QDX_NETWORK", "5", 1);
  int input[2];
  if (::pipe(input) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_addclose(&actions, input[1]);
  std::vector<std::string> args = {"qdx-demo", "--relaunch", screenshot, "--channel",
                                   options.channel, "--app-id", std::to_string(options.appId),
                                   "--app-key", options.appKey};
  if (options.debug) args.push_back("--debug");
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int spawned =
      ::posix_spawn(&pid, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(input[0]);
  if (spawned != 0) {
    ::close(input[1]);
    return -1;
  }
  whileRunning();
  ::close(input[1]);  // tells the app to end
  int status = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (::waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      return -1;
    }
    qdx::RunLoop::main().runFor(0.02);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The relaunched app: starts, serves its main loop until its standard input
// closes, draws its screen and ends without unwinding (the SDK's threads
// may still be at work).
[[noreturn]] void runRelaunched(const Options& options) {
  qdx::demo::HostApp app;
  const bool started = app.startSdk(options.channel, options.appId, options.appKey, options.debug);
  bool told = false;
  qdx::RunLoop::main().watchReadable(STDIN_FILENO, [&told] { told = true; });
  qdx::RunLoop::main().runUntil([&told] { return told; }, 30);
  const bool drawn = qdx::kit::writePng(app.window(), options.relaunchScreenshot, 2);
  std::fflush(nullptr);
  ::_exit(started && drawn ? 0 : 1);
}

// The device: a new one in outDir/folder unless QDX_HOME names one, and
// the demo host's bundle. Returns whether the device is new (its keychain
// holds nothing).
bool useDevice(const fs::path& outDir, const std::string& folder) {
  std::error_code error;
  if (std::getenv("QDX_HOME") == nullptr) {
    const fs::path device = outDir / folder;
    fs::remove_all(device, error);
    qdx::PosixPlatform::setHomeDirectory((device / "home").string());
    qdx::PosixPlatform::setKeychainDirectory((device / "keychain").string());
  }
  if (std::getenv("QDX_BUNDLE_DIR") == nullptr) {
    qdx::PosixPlatform::setBundleResourceDirectory(QDX_DEMO_BUNDLE_DIR);
  }
  return qdx::PosixEnv::processDefault().keychain().items().empty();
}

// The server a session talks to, and where its journal comes from.
struct ServerChoice {
  std::unique_ptr<qdx::ServerProcess> server;  // the one the demo started
  bool connectToGiven = false;                 // QDX_CONNECT_TO names one
  std::string text = "none";
  qdx::demo::JournalSource journal;  // empty: a server whose journal the demo cannot see
  std::string journalText = "none: another server, whose journal the demo cannot see";
};

// Starts the reference server from the build, unless QDX_CONNECT_TO points
// somewhere or --no-server says not to, and points the platform at it. A
// server the demo did not start is asked once whether it shows its
// journal; no later step waits on a journal it cannot see. False (after a
// message on stderr) when the server cannot be started.
bool chooseServer(const Options& options, ServerChoice& choice) {
  choice.connectToGiven = !qdx::PosixPlatform::connectTo().empty();
  if (options.startServer && !choice.connectToGiven) {
    qdx::ServerProcess::Options launch;
    launch.binary = options.serverBinary;
    launch.apps = {{std::to_string(options.appId), options.appKey}};
    std::string failure;
    choice.server = qdx::ServerProcess::start(launch, failure);
    if (!choice.server) {
      std::fprintf(stderr, "qdx-demo: %s\n", failure.c_str());
      return false;
    }
    if (qdx::PosixPlatform::caFile().empty()) {
      qdx::PosixPlatform::setCaFile(qdx::ServerProcess::caFile());
    }
    qdx::PosixPlatform::setConnectTo({choice.server->connectTo()});
    choice.text = "the reference server on 127.0.0.1:" + std::to_string(choice.server->port());
    qdx::ServerProcess* server = choice.server.get();
    choice.journal = [server] { return server->journal(); };
    choice.journalText = server->journalPath();
  } else if (choice.connectToGiven) {
    choice.text = "as QDX_CONNECT_TO says (" + joined(qdx::PosixPlatform::connectTo()) + ")";
    if (controlJournal()) {
      choice.journal = [] { return controlJournal().value_or(std::vector<qdx::Json>{}); };
      choice.journalText = "the server's /__control/journal";
    }
  }
  return true;
}

int runDemo(const Options& options) {
  const fs::path outDir = fs::absolute(options.outDir);
  std::error_code error;
  fs::create_directories(outDir, error);
  for (const auto& entry : fs::directory_iterator(outDir, error)) {
    if (entry.path().extension() == ".png") fs::remove(entry.path(), error);
  }
  const bool freshDevice = useDevice(outDir, "device");
  ServerChoice choice;
  if (!chooseServer(options, choice)) return 1;
  if (options.offline) qdx::PosixPlatform::setDataNetworkCode(0);
  const bool connectToGiven = choice.connectToGiven;
  std::unique_ptr<qdx::ServerProcess>& server = choice.server;
  const std::string& serverText = choice.text;
  const std::string& journalText = choice.journalText;
  const qdx::demo::JournalSource& journal = choice.journal;

  std::printf("qdx-demo: %s session\n  device home: %s\n  server: %s\n",
              options.offline ? "offline" : "online",
              qdx::PosixPlatform::homeDirectory().c_str(), serverText.c_str());
  std::fflush(stdout);

  qdx::demo::StdoutCapture capture;
  if (!capture.begin((outDir / "cipher-trace.txt").string())) {
    std::fprintf(stderr, "qdx-demo: cannot write into %s\n", outDir.c_str());
    return 1;
  }
  const auto started = std::chrono::steady_clock::now();
  qdx::demo::HostApp app;
  qdx::demo::Session session(app, journal, capture, outDir.string());
  qdx::demo::SessionSettings settings;
  settings.channel = options.channel;
  settings.appId = options.appId;
  settings.appKey = options.appKey;
  settings.debug = options.debug;
  settings.runSeconds = options.runSeconds;
  settings.freshDevice = freshDevice;
  settings.outDir = outDir.string();
  settings.storeListing = storeListing;
  if (server || connectToGiven) {
    settings.relaunch = [&options](const std::string& screenshot,
                                   const std::function<void()>& whileRunning) {
      return relaunch(options, screenshot, whileRunning);
    };
  }
  if (options.offline) {
    qdx::demo::runOfflineSession(session, settings);
  } else {
    qdx::demo::runOnlineSession(session, settings);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

  qdx::demo::GalleryHeader header;
  header.title = std::string("qdx demo: ") + (options.offline ? "an offline start" : "a host session");
  header.server = serverText;
  header.journal = journalText;
  header.seconds = seconds;
  const bool written = qdx::demo::writeGallery(outDir.string(), header, session.steps());
  std::FILE* console = capture.console();
  std::fprintf(console, "%s in %.1f s\ngallery: %s\n",
               session.allPassed() ? "every check held" : "SOME CHECKS FAILED", seconds,
               (outDir / "index.html").c_str());
  if (!written) std::fprintf(stderr, "qdx-demo: the gallery could not be written\n");
  capture.end();
  return session.allPassed() && written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!qdx::demo::parseOptions(argc, argv, options)) {
    qdx::demo::printUsage(stderr);
    return 2;
  }
  try {
    if (!options.samplePng.empty()) return qdx::demo::renderSampleScene(options.samplePng);
    if (!options.relaunchScreenshot.empty()) runRelaunched(options);
    if (options.window) {
      const fs::path outDir = fs::absolute(options.outDir);
      ServerChoice choice;
      const int code = qdx::demo::runLiveWindow(options, [&] {
        useDevice(outDir, "window-device");
        if (!chooseServer(options, choice)) return false;
        std::printf("server: %s\n", choice.text.c_str());
        std::fflush(stdout);
        return true;
      });
      std::fflush(nullptr);
      ::_exit(code);
    }
    const int code = runDemo(options);
    // The SDK's threads may still be at work: leave without unwinding them.
    std::fflush(nullptr);
    ::_exit(code);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qdx-demo: %s\n", e.what());
    return 1;
  }
}

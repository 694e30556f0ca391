// qdx-demo: a host app in a terminal. It starts the SDK with a channel, an
// app id and an app key, lets its main run loop run for a moment (timers,
// answers of the server), and then prints every key of the local store and
// every keychain item with its value.
//
// The device is PosixEnv's, so the QDX_* environment variables (QDX_HOME,
// QDX_KEYCHAIN_DIR, QDX_NETWORK, QDX_BUNDLE_ID, QDX_APP_VERSION, QDX_SCREEN,
// QDX_CA_FILE, QDX_CONNECT_TO) apply; the options below override them.
//
// Online, the demo needs a server for the API's host name. Unless
// QDX_CONNECT_TO already points the host somewhere (then that server is
// used as it is), the demo starts the reference server from the build,
// registers its own app id and key there, trusts the build's test CA, and
// afterwards prints every request the server journaled.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "common/json_access.h"
#include "sample_scene.h"
#include "server_process.h"
#include "identity/QDXKeyChain.h"
#include "platform/posix_env.h"
#include "qdx/RunLoop.h"
#include "qdx/QDXAD.h"
#include "transport/QDXApiBase.h"

namespace {

struct Options {
  std::string channel = "AppStore";
  std::int64_t appId = 10001;
  std::string appKey = "QDXDemoAppKey2016";  // the reference server's default app
  bool offline = false;
  bool startServer = true;
  std::string serverBinary;  // empty: the build's qdx-server
  bool debug = false;
  double runSeconds = 1.5;
  std::string samplePng;  // when set, only draw the sample scene there
};

void printUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: qdx-demo [--channel C] [--app-id N] [--app-key K] [--offline]\n"
               "                [--debug] [--run-seconds S] [--no-server] [--server PATH]\n"
               "  --channel C      distribution channel (default \"AppStore\"; \"\" is allowed)\n"
               "  --app-id N       the host's app id (default 10001)\n"
               "  --app-key K      the host's app key (default \"QDXDemoAppKey2016\")\n"
               "  --offline        start without a data connection (network code 0)\n"
               "  --debug          switch on the SDK's diagnostic log lines (stderr)\n"
               "  --run-seconds S  how long the main run loop runs after start-up (default 1.5)\n"
               "  --no-server      do not start the reference server (online starts then\n"
               "                   go to the built-in address, or where QDX_CONNECT_TO says)\n"
               "  --server PATH    the qdx-server program to start (default: the build's)\n"
               "  --sample-png PATH  only draw a sample banner scene with the view toolkit\n"
               "                   into PATH (at the QDX_SCREEN scale) and exit\n"
               "The QDX_* environment variables of PosixEnv apply (QDX_HOME, QDX_NETWORK, ...).\n");
}

// Parses argv into options; returns false (after a message) on bad input.
bool parseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&](const char* name) -> const char* {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "qdx-demo: %s needs a value\n", name);
        return nullptr;
      }
      return argv[++i];
    };
    if (arg == "--help" || arg == "-h") {
      printUsage(stdout);
      std::exit(0);
    } else if (arg == "--offline") {
      options.offline = true;
    } else if (arg == "--no-server") {
      options.startServer = false;
    } else if (arg == "--server") {
      const char* v = value("--server");
      if (!v) return false;
      options.serverBinary = v;
    } else if (arg == "--sample-png") {
      const char* v = value("--sample-png");
      if (!v) return false;
      options.samplePng = v;
    } else if (arg == "--debug") {
      options.debug = true;
    } else if (arg == "--channel") {
      const char* v = value("--channel");
      if (!v) return false;
      options.channel = v;
    } else if (arg == "--app-key") {
      const char* v = value("--app-key");
      if (!v) return false;
      options.appKey = v;
    } else if (arg == "--app-id") {
      const char* v = value("--app-id");
      if (!v) return false;
      char* end = nullptr;
      const long long id = std::strtoll(v, &end, 10);
      if (*v == '\0' || *end != '\0') {
        std::fprintf(stderr, "qdx-demo: --app-id wants an integer, not \"%s\"\n", v);
        return false;
      }
      options.appId = id;
    } else if (arg == "--run-seconds") {
      const char* v = value("--run-seconds");
      if (!v) return false;
      char* end = nullptr;
      const double seconds = std::strtod(v, &end);
      if (*v == '\0' || *end != '\0' || !(seconds >= 0) || seconds > 3600) {
        std::fprintf(stderr, "qdx-demo: --run-seconds wants 0 to 3600, not \"%s\"\n", v);
        return false;
      }
      options.runSeconds = seconds;
    } else {
      std::fprintf(stderr, "qdx-demo: unknown option \"%s\"\n", arg.c_str());
      return false;
    }
  }
  return true;
}

void printStores(qdx::PosixEnv& env) {
  const auto keys = env.localStore().keys();
  std::cout << "local store (" << keys.size() << " keys):\n";
  for (const auto& key : keys) {
    std::cout << "  " << key << " = " << env.localStore().get(key).dump() << "\n";
  }
  const auto items = env.keychain().items();
  std::cout << "keychain (" << items.size() << " items):\n";
  for (const auto& [service, account] : items) {
    // Items of the SDK use the name as service and account alike.
    const std::string name = service == account ? service : service + "/" + account;
    std::cout << "  " << name << " = " << qdx::QDXKeyChain::getUniqueStrWithName(service).dump()
              << "\n";
  }
}

// The API's host name, "api.qdx.example" for "https://api.qdx.example".
std::string apiHost() {
  std::string host = qdx::kQDXApiBase;
  const std::string scheme = "https://";
  if (host.rfind(scheme, 0) == 0) host = host.substr(scheme.size());
  return host;
}

// What the server journaled: asks its control endpoint, and for a server
// the demo started falls back to the journal file.
std::vector<qdx::Json> serverJournal(qdx::PosixEnv& env, const qdx::ServerProcess* server) {
  qdx::HttpRequest request;
  request.url = std::string(qdx::kQDXApiBase) + "/__control/journal";
  request.timeoutSeconds = 5;
  const qdx::HttpResponse response = env.performHttp(request);
  if (response.arrived && response.status == 200) {
    const qdx::Json entries = qdx::Json::parse(response.body, nullptr, false);
    if (entries.is_array()) return {entries.begin(), entries.end()};
  }
  if (server) return server->journal();
  std::cout << "(the server offers no journal: "
            << (response.arrived ? "status " + std::to_string(response.status) : response.error)
            << ")\n";
  return {};
}

int runDemo(const Options& options) {
  // Reads the QDX_* variables. Never destroyed: threads the SDK started
  // may still use it while the process exits.
  auto& env = *new qdx::PosixEnv();
  if (options.offline) env.setDataNetworkCode(0);
  qdx::Env::Install(&env);

  const bool online = env.dataNetworkCode() != 0;
  const bool connectToGiven = !env.connectTo().empty();
  std::unique_ptr<qdx::ServerProcess> server;
  if (online && options.startServer && !connectToGiven) {
    std::string error;
    qdx::ServerProcess::Options launch;
    launch.binary = options.serverBinary;
    launch.apps = {{std::to_string(options.appId), options.appKey}};
    server = qdx::ServerProcess::start(launch, error);
    if (!server) {
      std::fprintf(stderr, "qdx-demo: %s\n", error.c_str());
      return 1;
    }
    if (env.caFile().empty()) env.setCaFile(qdx::ServerProcess::caFile());
    env.setConnectTo({apiHost() + ":443:127.0.0.1:" + std::to_string(server->port())});
  }

  std::cout << "home: " << env.homeDirectory() << "\n"
            << "keychain: " << env.keychainDirectory() << "\n"
            << "network code: " << env.dataNetworkCode() << "\n";
  if (server) {
    std::cout << "server: reference server on 127.0.0.1:" << server->port() << " (journal "
              << server->journalPath() << ")\n";
  } else if (online && connectToGiven) {
    std::cout << "server: as QDX_CONNECT_TO says\n";
  }
  std::cout.flush();  // before the SDK's log lines on stderr

  if (options.debug) qdx::QDXAD::setDebug(true);
  auto facade = qdx::QDXAD::initWithChannel(options.channel, options.appId, options.appKey);
  qdx::RunLoop::main().runFor(options.runSeconds);

  printStores(env);
  if (online && (server || connectToGiven)) {
    const auto journal = serverJournal(env, server.get());
    std::cout << "server journal (" << journal.size() << " requests):\n";
    for (const auto& entry : journal) {
      std::cout << "  " << qdx::describeJournalEntry(entry) << "\n";
    }
  }
  return facade ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parseOptions(argc, argv, options)) {
    printUsage(stderr);
    return 2;
  }
  try {
    if (!options.samplePng.empty()) {
      qdx::Env::Install(new qdx::PosixEnv());  // the screen, from QDX_SCREEN
      return qdx::demo::renderSampleScene(options.samplePng);
    }
    return runDemo(options);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qdx-demo: %s\n", e.what());
    return 1;
  }
}

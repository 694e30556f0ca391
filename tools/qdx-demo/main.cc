// qdx-demo: a host app in a terminal. It starts the SDK with a channel, an
// app id and an app key, lets its main run loop run for a moment (timers,
// answers of the server), and then prints every key of the local store and
// every keychain item with its value.
//
// The device is PosixEnv's, so the QDX_* environment variables (QDX_HOME,
// QDX_KEYCHAIN_DIR, QDX_NETWORK, QDX_BUNDLE_ID, QDX_APP_VERSION, QDX_SCREEN,
// QDX_CA_FILE, QDX_CONNECT_TO) apply; the options below override them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "common/json_access.h"
#include "identity/QDXKeyChain.h"
#include "platform/posix_env.h"
#include "platform/run_loop.h"
#include "qdx/QDXAD.h"

namespace {

struct Options {
  std::string channel = "AppStore";
  std::int64_t appId = 10001;
  std::string appKey = "qdx-demo-app-key-0123456789";
  bool offline = false;
  bool debug = false;
  double runSeconds = 1.5;
};

void printUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: qdx-demo [--channel C] [--app-id N] [--app-key K] [--offline]\n"
               "                [--debug] [--run-seconds S]\n"
               "  --channel C      distribution channel (default \"AppStore\"; \"\" is allowed)\n"
               "  --app-id N       the host's app id (default 10001)\n"
               "  --app-key K      the host's app key (default a 27-character demo key)\n"
               "  --offline        start without a data connection (network code 0)\n"
               "  --debug          switch on the SDK's diagnostic log lines (stderr)\n"
               "  --run-seconds S  how long the main run loop runs after start-up (default 1.5)\n"
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

int runDemo(const Options& options) {
  // Reads the QDX_* variables. Never destroyed: threads the SDK started
  // may still use it while the process exits.
  auto& env = *new qdx::PosixEnv();
  if (options.offline) env.setDataNetworkCode(0);
  qdx::Env::Install(&env);

  std::cout << "home: " << env.homeDirectory() << "\n"
            << "keychain: " << env.keychainDirectory() << "\n"
            << "network code: " << env.dataNetworkCode() << "\n";

  if (options.debug) qdx::QDXAD::setDebug(true);
  auto facade = qdx::QDXAD::initWithChannel(options.channel, options.appId, options.appKey);
  qdx::RunLoop::main().runFor(options.runSeconds);

  printStores(env);
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
    return runDemo(options);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qdx-demo: %s\n", e.what());
    return 1;
  }
}

#include "demo_options.h"

#include <cstdlib>

namespace qdx::demo {

void printUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: qdx-demo [--out DIR] [--offline] [--channel C] [--app-id N] [--app-key K]\n"
               "                [--debug] [--run-seconds S] [--no-server] [--server PATH]\n"
               "                [--sample-png PATH] [--window [--scale S]]\n"
               "  --out DIR        where the gallery goes (default out/demo; index.html)\n"
               "  --offline        an offline start and what it keeps, then a start online\n"
               "  --channel C      distribution channel (default \"AppStore\"; \"\" is allowed)\n"
               "  --app-id N       the host's app id (default 10001)\n"
               "  --app-key K      the host's app key (default \"QDXDemoAppKey2016\")\n"
               "  --debug          switch on the SDK's diagnostic log lines (stderr)\n"
               "  --run-seconds S  extra main-loop time after the first start (default 0.2)\n"
               "  --no-server      do not start the reference server (online starts then\n"
               "                   go to the built-in address, or where QDX_CONNECT_TO says)\n"
               "  --server PATH    the qdx-server program to start (default: the build's)\n"
               "  --sample-png PATH  only draw a sample banner scene with the view toolkit\n"
               "                   into PATH (at the QDX_SCREEN scale) and exit\n"
               "  --window         a live window (\"qdx demo\", 375 x 667 points) instead of the\n"
               "                   scripted session: a bottom banner at once, W the recommend\n"
               "                   wall, F custom slots 7, 8 and 9 in a feed, Escape ends; one\n"
               "                   line per event on stdout\n"
               "  --scale S        the window's pixels per point (default 1; 0.25 to 8)\n"
               "The QDX_* settings of the POSIX platform apply (QDX_HOME, QDX_NETWORK, ...);\n"
               "without QDX_HOME each run uses a new device in DIR/device.\n");
}

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
    auto text = [&](const char* name, std::string& into) {
      const char* v = value(name);
      if (v != nullptr) into = v;
      return v != nullptr;
    };
    if (arg == "--help" || arg == "-h") {
      printUsage(stdout);
      std::exit(0);
    } else if (arg == "--offline") {
      options.offline = true;
    } else if (arg == "--no-server") {
      options.startServer = false;
    } else if (arg == "--window") {
      options.window = true;
    } else if (arg == "--scale") {
      const char* v = value("--scale");
      if (!v) return false;
      char* end = nullptr;
      const double scale = std::strtod(v, &end);
      if (*v == '\0' || *end != '\0' || !(scale >= 0.25) || scale > 8) {
        std::fprintf(stderr, "qdx-demo: --scale wants 0.25 to 8, not \"%s\"\n", v);
        return false;
      }
      options.scale = scale;
    } else if (arg == "--debug") {
      options.debug = true;
    } else if (arg == "--server") {
      if (!text("--server", options.serverBinary)) return false;
    } else if (arg == "--sample-png") {
      if (!text("--sample-png", options.samplePng)) return false;
    } else if (arg == "--out") {
      if (!text("--out", options.outDir)) return false;
    } else if (arg == "--relaunch") {
      if (!text("--relaunch", options.relaunchScreenshot)) return false;
    } else if (arg == "--channel") {
      if (!text("--channel", options.channel)) return false;
    } else if (arg == "--app-key") {
      if (!text("--app-key", options.appKey)) return false;
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

}  // namespace qdx::demo

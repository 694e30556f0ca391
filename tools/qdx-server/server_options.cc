#include "server_options.h"

#include <charconv>

#include "fault_plan.h"

namespace qdx::server {
namespace {

std::optional<int> parseInt(const std::string& text, int low, int high) {
  int value = 0;
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (ec != std::errc() || ptr != end || value < low || value > high) return std::nullopt;
  return value;
}

}  // namespace

std::string serverUsage() {
  return "usage: qdx-server [--port N] [--app ID:KEY]... [--journal FILE] [--catalog N]\n"
         "                  [--fault ENDPOINT:KIND[:ARG]]... [--cert PEM] [--key PEM]\n"
         "  --port N        port on 127.0.0.1 (default 0: a free port)\n"
         "  --app ID:KEY    an app and its app key (repeatable; default " +
         std::string(kDefaultAppId) + ":" + kDefaultAppKey +
         ")\n"
         "  --journal FILE  JSON-lines journal of every request (default: a new temp file)\n"
         "  --catalog N     apps in every ad list (default 5)\n"
         "  --fault RULE    ENDPOINT is an endpoint name, an asset path or *;\n"
         "                  KIND is retcode:N, garbage, http:STATUS, delay:SECONDS,\n"
         "                  drop, plaintext-data, no-data, text-data, payload:TEXT, moved or none (repeatable);\n"
         "                  image paths (e.g. images/close120.png) take garbage,\n"
         "                  http, delay, drop and moved (a redirect to the image)\n"
         "  --cert, --key   TLS certificate and key for api.qdx.example\n"
         "  --exit-with-parent  stop when the launching process ends\n"
         "  --no-control    serve no /__control/ endpoints (no journal or faults over HTTP,\n"
         "                  as with a production server)\n";
}

std::optional<ServerOptions> parseServerOptions(const std::vector<std::string>& args,
                                                std::string& error) {
  ServerOptions options;
#ifdef QDX_TEST_SERVER_CERT
  options.certPath = QDX_TEST_SERVER_CERT;
#endif
#ifdef QDX_TEST_SERVER_KEY
  options.keyPath = QDX_TEST_SERVER_KEY;
#endif
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& flag = args[i];
    if (flag == "--help" || flag == "-h") {
      options.showHelp = true;
      continue;
    }
    if (flag == "--exit-with-parent") {
      options.exitWithParent = true;
      continue;
    }
    if (flag == "--no-control") {
      options.noControl = true;
      continue;
    }
    if (i + 1 >= args.size()) {
      error = flag.rfind("--", 0) == 0 ? flag + " needs a value" : "unexpected argument " + flag;
      return std::nullopt;
    }
    const std::string& value = args[++i];
    if (flag == "--port") {
      auto port = parseInt(value, 0, 65535);
      if (!port) {
        error = "--port wants a number 0-65535, got " + value;
        return std::nullopt;
      }
      options.port = *port;
    } else if (flag == "--app") {
      auto colon = value.find(':');
      if (colon == std::string::npos || colon == 0 || value.size() - colon - 1 < 16) {
        error = "--app wants ID:KEY with a key of at least 16 characters, got " + value;
        return std::nullopt;
      }
      options.apps[value.substr(0, colon)] = value.substr(colon + 1);
    } else if (flag == "--journal") {
      options.journalPath = value;
    } else if (flag == "--catalog") {
      auto size = parseInt(value, 0, 1000);
      if (!size) {
        error = "--catalog wants a number 0-1000, got " + value;
        return std::nullopt;
      }
      options.catalogSize = *size;
    } else if (flag == "--fault") {
      std::string faultError;
      if (!parseFaultRule(value, faultError).has_value()) {
        error = "--fault " + value + ": " + faultError;
        return std::nullopt;
      }
      options.faults.push_back(value);
    } else if (flag == "--cert") {
      options.certPath = value;
    } else if (flag == "--key") {
      options.keyPath = value;
    } else {
      error = "unknown flag " + flag;
      return std::nullopt;
    }
  }
  if (options.apps.empty()) options.apps[kDefaultAppId] = kDefaultAppKey;
  return options;
}

}  // namespace qdx::server

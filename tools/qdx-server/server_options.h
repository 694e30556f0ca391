#pragma once
// The reference server's command line.
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qdx::server {

struct ServerOptions {
  int port = 0;                               // 0 picks a free port
  std::map<std::string, std::string> apps;    // app id -> app key
  std::string journalPath;                    // "" = a file in a new temp dir
  int catalogSize = 5;                        // apps in every ad list
  std::vector<std::string> faults;            // "ENDPOINT:KIND[:ARG]"
  std::string certPath;
  std::string keyPath;
  bool exitWithParent = false;               // for launchers: end with the parent
  // Serve no /__control/ endpoints: a client cannot read the journal or set
  // faults, as with a production server.
  bool noControl = false;
  bool showHelp = false;
};

// The app the server knows when no --app is given.
inline constexpr const char kDefaultAppId[] = "10001";
inline constexpr const char kDefaultAppKey[] = "QDXDemoAppKey2016";

// Parses argv (without the program name). On a bad argument returns nullopt
// and sets error to a one-line explanation.
std::optional<ServerOptions> parseServerOptions(const std::vector<std::string>& args,
                                                std::string& error);

// The usage text printed by --help and after a bad argument.
std::string serverUsage();

}  // namespace qdx::server

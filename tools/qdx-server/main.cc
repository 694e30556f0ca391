// qdx-server: the reference ad server for tests, the demo and integrators.
// Prints "listening on 127.0.0.1:PORT" as its first line, then the journal
// path and the apps it knows, and serves until SIGINT or SIGTERM.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <string>
#include <vector>

#include "ad_server.h"
#include "server_options.h"

int main(int argc, char** argv) {
  using namespace qdx::server;
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string error;
  auto options = parseServerOptions(args, error);
  if (!options) {
    std::fprintf(stderr, "qdx-server: %s\n%s", error.c_str(), serverUsage().c_str());
    return 2;
  }
  if (options->showHelp) {
    std::fputs(serverUsage().c_str(), stdout);
    return 0;
  }
  if (options->journalPath.empty()) {
    char dir[] = "/tmp/qdx-server-XXXXXX";
    if (mkdtemp(dir) == nullptr) {
      std::perror("qdx-server: mkdtemp");
      return 1;
    }
    options->journalPath = std::string(dir) + "/journal.jsonl";
  }

  // A client hanging up mid-answer must not kill the server; the signals
  // that end it are taken synchronously below.
  signal(SIGPIPE, SIG_IGN);
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  AdServer server(*options);
  if (!server.start(error)) {
    std::fprintf(stderr, "qdx-server: %s\n", error.c_str());
    return 1;
  }
  std::printf("listening on 127.0.0.1:%d\n", server.port());
  std::printf("journal %s\n", options->journalPath.c_str());
  for (const auto& [appid, key] : options->apps) {
    std::printf("app %s key %s\n", appid.c_str(), key.c_str());
  }
  std::fflush(stdout);

  if (options->exitWithParent) {
    // A test that dies without its destructor must not leave servers behind.
    pid_t parent = getppid();
    std::thread([parent] {
      while (getppid() == parent) std::this_thread::sleep_for(std::chrono::milliseconds(200));
      _exit(0);
    }).detach();
  }

  int received = 0;
  sigwait(&stopSignals, &received);
  // Every journal line is already flushed; connections still open need no
  // goodbye, so leave at once rather than wait for keep-alive workers.
  std::fflush(stdout);
  _exit(0);
}

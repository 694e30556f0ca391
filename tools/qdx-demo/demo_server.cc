#include "demo_server.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/json_access.h"

extern char** environ;

namespace qdx::demo {

namespace {

constexpr int kStartTimeoutMs = 5000;

// Reads one line from fd within the deadline; false on timeout or EOF.
bool readLine(int fd, std::string& line, int timeoutMs) {
  line.clear();
  while (true) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, timeoutMs) <= 0) return false;
    char c;
    if (::read(fd, &c, 1) != 1) return false;
    if (c == '\n') return true;
    line.push_back(c);
  }
}

}  // namespace

std::unique_ptr<DemoServer> DemoServer::start(const std::string& binary, std::int64_t appId,
                                              const std::string& appKey, std::string& error) {
  std::unique_ptr<DemoServer> server(new DemoServer());
  std::string pattern =
      (std::filesystem::temp_directory_path() / "qdx-demo-server-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    error = "cannot make a temporary directory";
    return nullptr;
  }
  server->directory_ = pattern;
  server->journalPath_ = pattern + "/journal.jsonl";

  int out[2];
  if (::pipe(out) != 0) {
    error = "cannot make a pipe";
    return nullptr;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  posix_spawn_file_actions_addclose(&actions, out[1]);

  const std::string app = std::to_string(appId) + ":" + appKey;
  // --exit-with-parent: the server ends with the demo even when the demo is
  // killed before it can stop the server itself.
  std::vector<std::string> args = {binary, "--port",    "0",
                                   "--app", app,        "--journal",
                                   server->journalPath_, "--exit-with-parent"};
  std::vector<char*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);

  pid_t pid = -1;
  const int spawned = ::posix_spawn(&pid, binary.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  if (spawned != 0) {
    ::close(out[0]);
    error = "cannot start " + binary;
    return nullptr;
  }
  server->pid_ = pid;

  // The read end stays open for the child's life: a server writing to a
  // closed pipe would die of SIGPIPE.
  server->stdoutFd_ = out[0];
  std::string line;
  const bool gotLine = readLine(out[0], line, kStartTimeoutMs);
  const std::string prefix = "listening on 127.0.0.1:";
  if (!gotLine || line.rfind(prefix, 0) != 0) {
    error = "the server did not report its port (got \"" + line + "\")";
    return nullptr;  // the destructor stops the child
  }
  server->port_ = std::atoi(line.c_str() + prefix.size());
  if (server->port_ <= 0) {
    error = "the server reported a bad port: " + line;
    return nullptr;
  }
  return server;
}

DemoServer::~DemoServer() {
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
  }
  if (stdoutFd_ >= 0) ::close(stdoutFd_);
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

std::vector<Json> DemoServer::journal() const {
  std::vector<Json> entries;
  std::ifstream in(journalPath_);
  std::string line;
  while (std::getline(in, line)) {
    Json entry = Json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!entry.is_discarded()) entries.push_back(std::move(entry));
  }
  return entries;
}

std::string describeJournalEntry(const Json& entry) {
  std::ostringstream text;
  text << json::describe(json::member(entry, "method")) << " "
       << json::describe(json::member(entry, "endpoint"));
  const Json& signature = json::member(entry, "signature");
  if (!signature.is_null()) text << " signature=" << json::describe(signature);
  const Json& status = json::member(entry, "status");
  text << " status=" << json::describe(status);
  const Json& retcode = json::member(entry, "retcode");
  if (!retcode.is_null()) text << " retcode=" << json::describe(retcode);
  const Json& body = json::member(entry, "body");
  if (!body.is_null()) {
    std::string shown = json::describe(body);
    if (shown.size() > 400) shown = shown.substr(0, 400) + "...";
    text << " body=" << shown;
  }
  return text.str();
}

}  // namespace qdx::demo

#include "server_process.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "common/json_access.h"
#include "transport/QDXApiBase.h"

extern char** environ;

namespace qdx {
namespace {

std::string readWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream content;
  content << in.rdbuf();
  return content.str();
}

// The port from the server's first line, "listening on 127.0.0.1:PORT";
// 0 while the line is not complete.
int portFromBanner(const std::string& output) {
  const std::string prefix = "listening on 127.0.0.1:";
  const auto newline = output.find('\n');
  if (newline == std::string::npos || output.rfind(prefix, 0) != 0) return 0;
  return std::atoi(output.substr(prefix.size(), newline - prefix.size()).c_str());
}

size_t discardBody(char*, size_t size, size_t count, void*) { return size * count; }

}  // namespace

std::unique_ptr<ServerProcess> ServerProcess::start(const Options& options, std::string& error) {
  const std::string binary = options.binary.empty() ? QDX_SERVER_BINARY : options.binary;
  std::unique_ptr<ServerProcess> server(new ServerProcess());
  server->owner_ = ::getpid();
  std::string pattern =
      (std::filesystem::temp_directory_path() / "qdx-refserver-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    error = "cannot make a temporary folder for the server";
    return nullptr;
  }
  server->directory_ = pattern;
  server->journalPath_ = pattern + "/journal.jsonl";
  const std::string outputPath = pattern + "/stdout.txt";

  // --exit-with-parent: the server ends with its starter even when that is
  // killed before it can stop the server itself.
  std::vector<std::string> args = {binary, "--port", "0", "--journal", server->journalPath_,
                                   "--catalog", std::to_string(options.catalog),
                                   "--exit-with-parent"};
  for (const auto& [id, key] : options.apps) {
    args.push_back("--app");
    args.push_back(id + ":" + key);
  }
  if (options.untrustedCertificate) {
    args.insert(args.end(), {"--cert", QDX_TEST_UNTRUSTED_CERT, "--key", QDX_TEST_UNTRUSTED_KEY});
  }
  if (options.noControl) args.push_back("--no-control");
  for (const std::string& fault : options.faults) {
    args.push_back("--fault");
    args.push_back(fault);
  }
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);

  // The server's stdout goes to a file: nobody has to drain a pipe, and
  // whatever it prints later cannot block it.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = -1;
  const int spawned = ::posix_spawn(&pid, binary.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) {
    error = "cannot start " + binary;
    return nullptr;
  }
  server->pid_ = pid;

  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::duration<double>(options.startTimeoutSeconds);
  while (std::chrono::steady_clock::now() < deadline) {
    const int port = portFromBanner(readWholeFile(outputPath));
    if (port > 0) {
      server->port_ = port;
      return server;
    }
    int status = 0;
    if (::waitpid(pid, &status, WNOHANG) == pid) {
      server->pid_ = -1;
      error = binary + " ended before it listened (its standard error says why)";
      return nullptr;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  error = binary + " did not report its port in time";
  return nullptr;  // the destructor stops it
}

ServerProcess::~ServerProcess() {
  if (::getpid() != owner_) return;
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
  }
  if (!directory_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

std::string ServerProcess::connectTo() const {
  return apiHost() + ":443:127.0.0.1:" + std::to_string(port_);
}

std::string ServerProcess::caFile() { return QDX_TEST_CA_FILE; }

std::vector<Json> ServerProcess::journal() const {
  std::vector<Json> entries;
  std::istringstream lines(readWholeFile(journalPath_));
  std::string line;
  while (std::getline(lines, line)) {
    Json entry = Json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!entry.is_discarded()) entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<Json> ServerProcess::entriesFor(const std::string& endpoint) const {
  std::vector<Json> matching;
  for (Json& entry : journal()) {
    if (json::member(entry, "endpoint") == endpoint) matching.push_back(std::move(entry));
  }
  return matching;
}

bool ServerProcess::waitForEntries(const std::string& endpoint, std::size_t count,
                                   double timeoutSeconds) const {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
  while (entriesFor(endpoint).size() < count) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool ServerProcess::setFault(const std::string& rule) const {
  return control("/__control/fault", Json{{"fault", rule}}.dump());
}

bool ServerProcess::clearFaults() const {
  return control("/__control/fault", Json{{"clear", true}}.dump());
}

// Straight through libcurl, not through the SDK's platform, so that control
// works whatever network state the device is in.
bool ServerProcess::control(const std::string& path, const std::string& body) const {
  if (port_ <= 0) return false;
  CURL* curl = curl_easy_init();
  if (curl == nullptr) return false;
  const std::string url = std::string(kQDXApiBase) + path;
  curl_slist* connect = curl_slist_append(nullptr, connectTo().c_str());
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_CAINFO, QDX_TEST_CA_FILE);
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connect);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");  // loopback only, never a proxy
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 5000L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discardBody);
  const CURLcode code = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(headers);
  curl_slist_free_all(connect);
  curl_easy_cleanup(curl);
  return code == CURLE_OK && status == 200;
}

std::string describeJournalEntry(const Json& entry, std::size_t maxBody) {
  std::ostringstream text;
  text << json::describe(json::member(entry, "method")) << " "
       << json::describe(json::member(entry, "endpoint"));
  const Json& signature = json::member(entry, "signature");
  if (!signature.is_null()) text << " signature=" << json::describe(signature);
  text << " status=" << json::describe(json::member(entry, "status"));
  const Json& retcode = json::member(entry, "retcode");
  if (!retcode.is_null()) text << " retcode=" << json::describe(retcode);
  const Json& body = json::member(entry, "body");
  if (!body.is_null()) {
    std::string shown = json::describe(body);
    if (shown.size() > maxBody) shown = shown.substr(0, maxBody) + "...";
    text << " body=" << shown;
  }
  return text.str();
}

}  // namespace qdx

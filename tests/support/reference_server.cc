#include "support/reference_server.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

// Without the tools in the build there is no server to start: running()
// then stays false.
#ifndef QDX_SERVER_BINARY
#define QDX_SERVER_BINARY ""
#endif
#ifndef QDX_TEST_CA_FILE
#define QDX_TEST_CA_FILE ""
#endif

namespace qdx {
namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream content;
  content << in.rdbuf();
  return content.str();
}

// The port from the server's first line, "listening on 127.0.0.1:PORT";
// 0 while the line is not complete.
int portFromBanner(const std::string& output) {
  const std::string prefix = "listening on 127.0.0.1:";
  auto newline = output.find('\n');
  if (newline == std::string::npos || output.rfind(prefix, 0) != 0) return 0;
  return std::atoi(output.substr(prefix.size(), newline - prefix.size()).c_str());
}

size_t discardBody(char*, size_t size, size_t count, void*) { return size * count; }

}  // namespace

ReferenceServer::ReferenceServer() : ReferenceServer(Options{}) {}

ReferenceServer::ReferenceServer(Options options) : owner_(getpid()) {
  char dir[] = "/tmp/qdx-refserver-XXXXXX";
  if (mkdtemp(dir) == nullptr) return;
  tempDir_ = dir;
  journalPath_ = tempDir_ + "/journal.jsonl";
  const std::string outputPath = tempDir_ + "/stdout.txt";

  std::vector<std::string> args = {QDX_SERVER_BINARY, "--port", "0", "--journal", journalPath_,
                                   "--catalog", std::to_string(options.catalog),
                                   "--exit-with-parent"};
  for (const auto& [id, key] : options.apps) {
    args.push_back("--app");
    args.push_back(id + ":" + key);
  }
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
  int spawned = posix_spawn(&pid, QDX_SERVER_BINARY, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return;
  pid_ = pid;

  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    int port = portFromBanner(readFile(outputPath));
    if (port > 0) {
      port_ = port;
      break;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;  // it failed to start; its stderr shows why
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (port_ > 0) {
    TestEnv* env = TestEnv::installed();
    if (env != nullptr && Env::Default() == env) configure(*env);
  }
}

ReferenceServer::~ReferenceServer() {
  // A forked child that unwinds must not stop its parent's server.
  if (getpid() != owner_) return;
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  if (!tempDir_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(tempDir_, ignored);
  }
}

std::string ReferenceServer::connectTo() const {
  return "api.qdx.example:443:127.0.0.1:" + std::to_string(port_);
}

void ReferenceServer::configure(PosixEnv& env) const {
  env.setCaFile(QDX_TEST_CA_FILE);
  env.setConnectTo({connectTo()});
}

std::vector<Json> ReferenceServer::journal() const {
  std::vector<Json> entries;
  std::istringstream lines(readFile(journalPath_));
  std::string line;
  while (std::getline(lines, line)) {
    Json entry = Json::parse(line, nullptr, false);
    if (!entry.is_discarded()) entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<Json> ReferenceServer::entriesFor(const std::string& endpoint) const {
  std::vector<Json> matching;
  for (Json& entry : journal()) {
    if (entry.value("endpoint", "") == endpoint) matching.push_back(std::move(entry));
  }
  return matching;
}

bool ReferenceServer::waitForEntries(const std::string& endpoint, std::size_t count,
                                     double timeoutSeconds) const {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
  while (entriesFor(endpoint).size() < count) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool ReferenceServer::setFault(const std::string& rule) const {
  return control("/__control/fault", Json{{"fault", rule}}.dump());
}

bool ReferenceServer::clearFaults() const {
  return control("/__control/fault", Json{{"clear", true}}.dump());
}

// Control requests go straight through libcurl, not through the Env, so
// they work whatever network state a test has set.
bool ReferenceServer::control(const std::string& path, const std::string& body) const {
  if (port_ <= 0) return false;
  CURL* curl = curl_easy_init();
  if (curl == nullptr) return false;
  std::string url = "https://api.qdx.example" + path;
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
  CURLcode code = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(headers);
  curl_slist_free_all(connect);
  curl_easy_cleanup(curl);
  return code == CURLE_OK && status == 200;
}

}  // namespace qdx

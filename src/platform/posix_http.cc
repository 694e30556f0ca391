// PosixEnv's URL loading on libcurl.
//
// Easy handles are pooled across threads and reused, so requests share the
// open connections and TLS sessions of earlier ones, whichever thread made
// them.
// TLS peer and host verification are always on; an extra CA file, when one
// is configured, is the trust store for that request (tests and the demo
// point it at the reference server's test CA).
#include <curl/curl.h>
#include <unistd.h>

#include <cmath>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix_env.h"

namespace qdx {
namespace {

void initCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// Easy handles are pooled for the whole process: a request takes an idle
// handle, or makes one, and gives it back when done. Every ad request runs
// on a thread of its own, so a handle per thread would open a new TLS
// connection for each; a pooled handle brings its open connections and TLS
// session along. A handle is used by one request at a time.
class HandlePool {
 public:
  // Idle handles above this are cleaned up on return; more than this many
  // requests at once are rare.
  static constexpr std::size_t kMaxIdle = 8;

  static HandlePool& shared() {
    // Never destroyed: detached threads may still return handles while the
    // process exits.
    static HandlePool* const pool = new HandlePool();
    return *pool;
  }

  // An idle handle (the most recently used first, its connections the
  // warmest), or a new one; null when libcurl cannot make one.
  CURL* take() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      // A forked child must not touch its parent's connections: using or
      // even closing one would garble the parent's TLS stream. It forgets
      // the inherited handles (their memory is the parent's copy) and
      // starts afresh.
      if (owner_ != ::getpid()) {
        idle_.clear();
        owner_ = ::getpid();
      }
      if (!idle_.empty()) {
        CURL* handle = idle_.back();
        idle_.pop_back();
        return handle;
      }
    }
    initCurlOnce();
    return curl_easy_init();
  }

  void giveBack(CURL* handle) {
    if (handle == nullptr) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (owner_ != ::getpid()) return;  // taken before a fork: the parent's
      if (idle_.size() < kMaxIdle) {
        idle_.push_back(handle);
        return;
      }
    }
    curl_easy_cleanup(handle);
  }

 private:
  std::mutex mutex_;
  pid_t owner_ = ::getpid();  // the process whose connections idle_ holds
  std::vector<CURL*> idle_;
};

// Holds a pooled handle for the length of one request.
class PooledHandle {
 public:
  PooledHandle() : handle_(HandlePool::shared().take()) {}
  ~PooledHandle() { HandlePool::shared().giveBack(handle_); }
  PooledHandle(const PooledHandle&) = delete;
  PooledHandle& operator=(const PooledHandle&) = delete;

  CURL* get() const { return handle_; }

 private:
  CURL* handle_;
};

// Where the body arrives. Nothing may throw through libcurl's C frames, so
// a body past its limit, or one memory cannot hold, ends the transfer
// instead (a short count makes libcurl fail with CURLE_WRITE_ERROR).
struct BodySink {
  std::string body;
  std::size_t limit;
  bool refused = false;
};

size_t appendBody(char* data, size_t size, size_t count, void* target) {
  auto* sink = static_cast<BodySink*>(target);
  const std::size_t bytes = size * count;
  if (bytes > sink->limit - sink->body.size()) {
    sink->refused = true;
    return 0;
  }
  try {
    sink->body.append(data, bytes);
  } catch (...) {
    sink->refused = true;
    return 0;
  }
  return bytes;
}

// Frees a header or CONNECT_TO list when the request ends, on every path.
class CurlList {
 public:
  CurlList() = default;
  ~CurlList() {
    if (list_ != nullptr) curl_slist_free_all(list_);
  }
  CurlList(const CurlList&) = delete;
  CurlList& operator=(const CurlList&) = delete;

  void add(const std::string& line) {
    curl_slist* grown = curl_slist_append(list_, line.c_str());
    if (grown != nullptr) list_ = grown;
  }
  curl_slist* get() const { return list_; }

 private:
  curl_slist* list_ = nullptr;
};

HttpResponse perform(CURL* curl, const HttpRequest& request, const std::string& caFile,
                     const std::vector<std::string>& connectTo) {
  HttpResponse response;
  // A reused handle keeps its connections but forgets the last request's
  // options.
  curl_easy_reset(curl);

  char errorText[CURL_ERROR_SIZE] = {0};
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText);
  curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
  // No SIGALRM for name look-ups, no SIGPIPE from a peer that hung up: the
  // host process owns its signals.
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  long timeoutMs = 10000;
  if (std::isfinite(request.timeoutSeconds) && request.timeoutSeconds > 0) {
    timeoutMs = static_cast<long>(std::ceil(request.timeoutSeconds * 1000.0));
  }
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMs);
  // Redirects are followed, as the platform's URL loading does, but only
  // to HTTP(S) and not forever.
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 16L);
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!caFile.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, caFile.c_str());

  CurlList connectList;
  for (const std::string& mapping : connectTo) connectList.add(mapping);
  if (connectList.get() != nullptr) {
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectList.get());
    // The mapping says exactly where to connect; a proxy from the
    // environment would send the request somewhere else.
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
  }

  CurlList headerList;
  for (const auto& [name, value] : request.headers) headerList.add(name + ": " + value);
  // libcurl would otherwise add "Expect: 100-continue" to larger posts and
  // wait for the server's go-ahead.
  if (request.method == "POST") headerList.add("Expect:");
  if (headerList.get() != nullptr) curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headerList.get());

  if (request.method == "POST") {
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
  } else if (request.method != "GET") {
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  BodySink sink{std::string(), request.maxBodyBytes};
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
  // An announced length over the limit is refused before any body arrives.
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(request.maxBodyBytes));

  CURLcode code = curl_easy_perform(curl);
  if (sink.refused || code == CURLE_FILESIZE_EXCEEDED) {
    response.tooLarge = true;
    response.error = "the answer from " + request.url + " is over " +
                     std::to_string(request.maxBodyBytes) + " bytes: refused";
    return response;
  }
  if (code != CURLE_OK) {
    response.error = errorText[0] != '\0' ? std::string(errorText) : curl_easy_strerror(code);
    return response;
  }
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  response.arrived = true;
  response.status = status;
  response.body = std::move(sink.body);
  return response;
}

}  // namespace

HttpResponse PosixEnv::performHttp(const HttpRequest& request) {
  try {
    PooledHandle handle;
    CURL* curl = handle.get();
    if (curl == nullptr) {
      HttpResponse failed;
      failed.error = "libcurl could not create a handle";
      return failed;
    }
    return perform(curl, request, caFile(), connectTo());
  } catch (const std::exception& e) {
    HttpResponse failed;
    failed.error = std::string("HTTP transport failed: ") + e.what();
    return failed;
  } catch (...) {
    HttpResponse failed;
    failed.error = "HTTP transport failed";
    return failed;
  }
}

}  // namespace qdx

#include "transport/QDXHttpClient.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "common/no_throw.h"
#include "identity/QDXDevInfo.h"
#include "platform/env.h"
#include "qdx/RunLoop.h"
#include "sdk/QDXLog.h"
#include "transport/request_builder.h"

namespace qdx {
namespace {

bool hasDataConnection() { return QDXDevInfo::getNetworkTypeFromStatusBar() != 0; }

HttpRequest signedPost(const std::string& url, std::string body) {
  HttpRequest request;
  request.method = "POST";
  request.url = url;
  request.headers = {{"content-Type", "application/json"},
                     {"Accept", "application/json;charset=utf-8"}};
  request.body = std::move(body);
  request.timeoutSeconds = Env::Default()->requestTimeoutSeconds();
  return request;
}

// The envelope for url and body, or nullopt (logged while debugging) when
// it cannot be built, e.g. before the app id and channel are stored.
std::optional<std::string> envelopeFor(const std::string& url, const Json& parameterDic) {
  std::optional<std::string> body = buildSignedRequestBody(url, parameterDic);
  if (!body) debugLog("error:the request to " + url + " could not be built");
  return body;
}

// Whether response is to be refused for its size: the platform stopped a
// body over the request's limit, or (a platform that ignores the limit)
// handed one over. Either way it is logged and counts as no answer.
bool refusedForSize(const HttpRequest& request, const HttpResponse& response) {
  if (!response.tooLarge && !(response.arrived && response.body.size() > request.maxBodyBytes)) {
    return false;
  }
  debugLog("error:the answer from " + request.url + " is over " +
           std::to_string(request.maxBodyBytes) + " bytes: refused, treated as no answer");
  return true;
}

// Runs asynchronous exchanges off the caller's thread. Workers are started
// as needed (up to a limit), so one slow exchange never holds up the others
// while there is room for another worker. A worker idle for a while ends,
// except the first few, which stay for the next burst (the connections
// themselves are pooled by the platform, whichever thread uses them).
// Never destroyed, like the client.
class ExchangeWorkers {
 public:
  static ExchangeWorkers& shared() {
    static ExchangeWorkers* workers = new ExchangeWorkers();
    return *workers;
  }

  void submit(std::function<void()> job) {
    std::lock_guard<std::mutex> lock(mutex_);
    jobs_.push_back(std::move(job));
    ++unfinished_;
    if (idle_ < jobs_.size() && started_ < kMaxWorkers) {
      // Without a new thread the queued job waits for a running worker.
      if (Env::Default()->startThread("qdx http worker", [this] { work(); })) ++started_;
    }
    ready_.notify_one();
  }

 private:
  static constexpr std::size_t kMaxWorkers = 16;
  // Workers kept however long they idle, and how long the others wait for
  // a job before they end.
  static constexpr std::size_t kWarmWorkers = 2;
  static constexpr std::chrono::seconds kIdleEnd{2};

  void work() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        ++idle_;
        const bool found = ready_.wait_for(lock, kIdleEnd, [this] { return !jobs_.empty(); });
        --idle_;
        if (!found) {
          if (started_ <= kWarmWorkers) continue;
          --started_;
          return;
        }
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      try {
        job();
      } catch (...) {
        // A job must not end the worker; jobs catch their own failures.
      }
      std::lock_guard<std::mutex> lock(mutex_);
      --unfinished_;
    }
  }

 public:
  // Jobs submitted and not yet finished (queued or running).
  std::size_t unfinished() {
    std::lock_guard<std::mutex> lock(mutex_);
    return unfinished_;
  }

 private:

  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> jobs_;
  std::size_t idle_ = 0;
  std::size_t started_ = 0;
  std::size_t unfinished_ = 0;
};

// The line an unexpected throw inside a post leaves, in the form of the
// transport's own error line.
void logTransportFailure(const char* reason) {
  debugLog(reason ? std::string("error:") + reason : std::string("error:unknown failure"));
}

}  // namespace

QDXHttpClient& QDXHttpClient::shareHttpClient() {
  // A function-local static is initialised exactly once, thread-safely.
  static QDXHttpClient* client = new QDXHttpClient();
  return *client;
}

std::size_t QDXHttpClient::asyncPostsInFlight() { return ExchangeWorkers::shared().unfinished(); }

void QDXHttpClient::asyPostWithURL(const std::string& url, const Json& parameterDic,
                                   QDXHttpCompletion block) {
  noThrow([&] {
    if (!hasDataConnection()) return;
    std::optional<std::string> body = envelopeFor(url, parameterDic);
    if (!body) return;
    HttpRequest request = signedPost(url, std::move(*body));
    ExchangeWorkers::shared().submit([request = std::move(request), block = std::move(block)] {
      noThrow([&] {
        HttpResponse response = Env::Default()->performHttp(request);
        if (refusedForSize(request, response)) return;
        if (!response.arrived) {
          // A failed exchange never reaches the caller's block.
          debugLog("error:" + response.error);
          return;
        }
        if (!block) return;
        QDXURLResponse urlResponse{request.url, response.status};
        RunLoop::main().post([block, data = std::move(response.body), urlResponse] {
          noThrow("error:completion block", [&] { block(data, urlResponse, std::nullopt); });
        });
      }, logTransportFailure);
    });
  }, logTransportFailure);
}

std::optional<std::string> QDXHttpClient::synPostUseConnectionWithURL(const std::string& url,
                                                                      const Json& parameterDic) {
  try {
    if (!hasDataConnection()) return std::nullopt;
    std::optional<std::string> body = envelopeFor(url, parameterDic);
    if (!body) return std::nullopt;
    const HttpRequest request = signedPost(url, std::move(*body));
    HttpResponse response = Env::Default()->performHttp(request);
    if (refusedForSize(request, response)) return std::nullopt;
    // Whatever arrived is returned as it is: an error page comes back as
    // bytes, and the caller's parse decides.
    if (!response.arrived) return std::nullopt;
    return std::move(response.body);
  } catch (...) {
    return std::nullopt;
  }
}

std::optional<std::string> QDXHttpClient::downloadImageFromString(const std::string& url) {
  try {
    if (!hasDataConnection()) return std::nullopt;
    HttpRequest request;
    request.method = "GET";
    request.url = url;
    request.timeoutSeconds = Env::Default()->downloadTimeoutSeconds();
    HttpResponse response = Env::Default()->performHttp(request);
    if (refusedForSize(request, response) || !response.arrived) return std::nullopt;
    // A server's error page is not the image: the image cache would store
    // it under the image's name and serve it for good, so it counts as no
    // data.
    if (response.status < 200 || response.status > 299) return std::nullopt;
    return std::move(response.body);
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace qdx

#pragma once
// The SDK's only way to the server: signed, enciphered JSON posts, and raw
// downloads for the image cache. Nothing is sent while the network check
// reports no data connection.
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "common/json.h"

namespace qdx {

struct QDXURLResponse {
  std::string url;
  long statusCode = 0;
};

// Called on the main queue, only for an answer that arrived: (bytes,
// response, nullopt error).
using QDXHttpCompletion = std::function<void(const std::string& data,
                                             const QDXURLResponse& response,
                                             const std::optional<std::string>& error)>;

class QDXHttpClient {
 public:
  static QDXHttpClient& shareHttpClient();

  // Starts the post and returns at once; block runs on the main queue only
  // when an answer arrived (10-second time-out).
  void asyPostWithURL(const std::string& url, const Json& parameterDic, QDXHttpCompletion block);
  // Posts and waits up to 10 seconds; the answer's bytes as received
  // (whatever the status), or nullopt on failure or without network.
  std::optional<std::string> synPostUseConnectionWithURL(const std::string& url,
                                                         const Json& parameterDic);
  // The whole resource at url (plain GET), or nullopt.
  std::optional<std::string> downloadImageFromString(const std::string& url);

  // Asynchronous posts started and not finished yet (their exchange still
  // running; a completion already queued on the main loop counts as
  // finished). A host shutting down, or a test ending, waits for 0 before
  // it takes the platform away.
  static std::size_t asyncPostsInFlight();

 private:
  QDXHttpClient() = default;
};

}  // namespace qdx

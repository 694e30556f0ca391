#pragma once
// The platform's URL loading: one blocking HTTP exchange.
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace qdx {

// No answer body (an ad list, an image) is that large: a body over this is
// refused while it arrives instead of being held in memory.
inline constexpr std::size_t kMaxHttpBodyBytes = 16 * 1024 * 1024;

struct HttpRequest {
  std::string method = "GET";  // "GET" or "POST"
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  double timeoutSeconds = 10;
  // A body longer than this is refused: the exchange fails with tooLarge.
  std::size_t maxBodyBytes = kMaxHttpBodyBytes;
};

struct HttpResponse {
  // True when an answer arrived, whatever its status code.
  bool arrived = false;
  long status = 0;
  std::string body;
  // The transport's description of what went wrong, when !arrived.
  std::string error;
  // True when the exchange failed because the body was over the request's
  // maxBodyBytes (or memory ran out holding it).
  bool tooLarge = false;
};

}  // namespace qdx

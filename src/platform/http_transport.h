#pragma once
// The platform's URL loading: one blocking HTTP exchange.
#include <string>
#include <utility>
#include <vector>

namespace qdx {

struct HttpRequest {
  std::string method = "GET";  // "GET" or "POST"
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  double timeoutSeconds = 10;
};

struct HttpResponse {
  // True when an answer arrived, whatever its status code.
  bool arrived = false;
  long status = 0;
  std::string body;
  // The transport's description of what went wrong, when !arrived.
  std::string error;
};

}  // namespace qdx

#include "ad_server.h"

#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <exception>

#include "common/hex.h"
#include "common/json_access.h"
#include "transport/QDXApiBase.h"
#include "envelope_check.h"

namespace qdx::server {
namespace {

constexpr int kBadSignature = 1001;
constexpr int kUnknownApp = 1002;
constexpr int kMalformed = 1003;
constexpr int kUnknownEndpoint = 1004;
constexpr std::size_t kRawJournalLimit = 4096;

const char* const kEndpoints[] = {"reg_dev",           "report_u_type", "get_configuration",
                                  "error_log_report",  "get_recommend_list", "report_event",
                                  "report_base_info"};

bool knownEndpoint(const std::string& endpoint) {
  for (const char* name : kEndpoints) {
    if (endpoint == name) return true;
  }
  return false;
}

std::string dumpJson(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The device id the server hands out: stable for one advertising id, so a
// device that registers again gets the same id.
std::string deviceIdFor(const std::string& imei) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(imei.data(), imei.size(), digest, &length, EVP_sha1(), nullptr);
  return "qdx" + hex::encode(digest, length < 12 ? length : 12, /*lowercase=*/true);
}

int retcodeForVerdict(const std::string& verdict) {
  if (verdict == "unknown-app") return kUnknownApp;
  if (verdict == "malformed") return kMalformed;
  return kBadSignature;
}

void setJson(httplib::Response& res, const Json& answer, int status = 200) {
  res.status = status;
  res.set_content(dumpJson(answer), "application/json");
}

// Ends the exchange without any answer: the client sees the connection
// close under it.
void dropConnection(const httplib::Request& req) {
  if (req.ssl != nullptr) {
    int fd = SSL_get_fd(req.ssl);
    if (fd >= 0) ::shutdown(fd, SHUT_RDWR);
  }
}

std::string faultName(const std::optional<Fault>& fault) {
  if (!fault) return "";
  switch (fault->kind) {
    case FaultKind::kRetcode: return "retcode";
    case FaultKind::kGarbage: return "garbage";
    case FaultKind::kHttpStatus: return "http";
    case FaultKind::kDelay: return "delay";
    case FaultKind::kDrop: return "drop";
    case FaultKind::kPlaintextData: return "plaintext-data";
    case FaultKind::kNoData: return "no-data";
    case FaultKind::kTextData: return "text-data";
    case FaultKind::kPayload: return "payload";
    case FaultKind::kMoved: return "moved";
  }
  return "";
}

// Answers with the fault's canned failure; false when fault is not one of
// those (no fault, delay, or a fault that shapes a normal answer).
bool answerWithFailure(const std::optional<Fault>& fault, httplib::Response& res) {
  if (!fault) return false;
  switch (fault->kind) {
    case FaultKind::kRetcode: {
      Json answer = Json::object();
      answer["retcode"] = static_cast<long long>(fault->arg);
      answer["errmsg"] = "injected failure";
      setJson(res, answer);
      return true;
    }
    case FaultKind::kGarbage:
      res.status = 200;
      res.set_content("<html>this is not JSON {\"retcode\":0", "application/json");
      return true;
    case FaultKind::kHttpStatus:
      res.status = static_cast<int>(fault->arg);
      res.set_content("<html><body><h1>" + std::to_string(res.status) +
                          "</h1>injected error page</body></html>",
                      "text/html");
      return true;
    default:
      return false;
  }
}

}  // namespace

AdServer::AdServer(ServerOptions options) : options_(std::move(options)) {
  journal_ = std::make_unique<Journal>(options_.journalPath);
  for (const std::string& rule : options_.faults) {
    std::string error;
    if (auto parsed = parseFaultRule(rule, error)) faults_.apply(*parsed);
  }
}

AdServer::~AdServer() { stop(); }

bool AdServer::start(std::string& error) {
  if (!journal_->ok()) {
    error = "cannot write the journal " + options_.journalPath;
    return false;
  }
  http_ = std::make_unique<httplib::SSLServer>(options_.certPath.c_str(),
                                               options_.keyPath.c_str());
  if (!http_->is_valid()) {
    error = "cannot load the TLS certificate " + options_.certPath + " and key " +
            options_.keyPath;
    return false;
  }
  // Clients keep connections alive per thread; give every one a worker.
  http_->new_task_queue = [] { return new httplib::ThreadPool(32); };
  http_->set_keep_alive_timeout(2);
  // Not the library's default of 5 requests: a client's connection lasts
  // as long as it keeps using it.
  http_->set_keep_alive_max_count(100000);
  // Headers and body go out in separate writes; without this, Nagle's
  // algorithm holds the body until the client's delayed ACK (~40 ms).
  http_->set_tcp_nodelay(true);
  http_->set_read_timeout(15);
  http_->set_payload_max_length(16 * 1024 * 1024);

  auto guarded = [this](void (AdServer::*handler)(const httplib::Request&, httplib::Response&)) {
    return [this, handler](const httplib::Request& req, httplib::Response& res) {
      try {
        (this->*handler)(req, res);
      } catch (const std::exception& e) {
        setJson(res, Json{{"retcode", 1500}, {"errmsg", std::string("server error: ") + e.what()}},
                500);
      } catch (...) {
        setJson(res, Json{{"retcode", 1500}, {"errmsg", "server error"}}, 500);
      }
    };
  };
  http_->Post("/qdx/(.+)", guarded(&AdServer::handlePost));
  http_->Get("/qdx/(.+)", guarded(&AdServer::handleGet));
  if (!options_.noControl) {
    http_->Get("/__control/(.+)", guarded(&AdServer::handleControl));
    http_->Post("/__control/(.+)", guarded(&AdServer::handleControl));
  }

  if (options_.port == 0) {
    port_ = http_->bind_to_any_port("127.0.0.1");
  } else {
    port_ = http_->bind_to_port("127.0.0.1", options_.port) ? options_.port : -1;
  }
  if (port_ <= 0) {
    error = "cannot listen on 127.0.0.1:" + std::to_string(options_.port);
    return false;
  }
  listener_ = std::thread([this] {
    try {
      http_->listen_after_bind();
    } catch (...) {
      // The listener ends; stop() still joins it.
    }
  });
  return true;
}

void AdServer::stop() {
  stopping_ = true;
  if (http_) http_->stop();
  if (listener_.joinable()) listener_.join();
}

void AdServer::pause(double seconds) {
  auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!stopping_ && std::chrono::steady_clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::string AdServer::origin(const httplib::Request& req) const {
  std::string host = req.get_header_value("Host");
  if (host.empty()) host = apiHost();
  const std::string defaultPort = ":443";
  if (host.size() > defaultPort.size() &&
      host.compare(host.size() - defaultPort.size(), defaultPort.size(), defaultPort) == 0) {
    host.resize(host.size() - defaultPort.size());
  }
  return "https://" + host;
}

void AdServer::handlePost(const httplib::Request& req, httplib::Response& res) {
  const std::string endpoint = req.matches[1];
  const std::string url = origin(req) + req.target;
  std::optional<Fault> fault = faults_.faultFor(endpoint);

  Json entry = Json::object();
  entry["method"] = "POST";
  entry["endpoint"] = endpoint;
  entry["url"] = url;
  entry["contentType"] = req.get_header_value("Content-Type");
  entry["accept"] = req.get_header_value("Accept");
  // The client's port tells tests whether a connection was reused.
  entry["clientPort"] = req.remote_port;
  if (fault) entry["fault"] = faultName(fault);

  EnvelopeCheck check = checkEnvelope(req.body, url, options_.apps);
  entry["signature"] = check.verdict;
  if (check.envelope.is_null()) {
    entry["envelope"] = nullptr;
    entry["raw"] = req.body.substr(0, kRawJournalLimit);
  } else {
    entry["envelope"] = check.envelope;
  }
  Json body = nullptr;
  if (check.plainBody) {
    body = Json::parse(*check.plainBody, nullptr, false);
    entry["bodyIsJson"] = !body.is_discarded();
    if (body.is_discarded()) body = *check.plainBody;
  }
  entry["body"] = body;

  if (applyConnectionFault(fault, req, entry)) return;

  if (!answerWithFailure(fault, res)) {
    if (check.verdict != "valid") {
      setJson(res, Json{{"retcode", retcodeForVerdict(check.verdict)},
                        {"errmsg", "request refused: " + check.verdict}});
    } else if (!knownEndpoint(endpoint)) {
      setJson(res, Json{{"retcode", kUnknownEndpoint}, {"errmsg", "unknown endpoint " + endpoint}});
    } else {
      std::string appid = json::describe(check.envelope["appid"]);
      Json answer = answerFor(endpoint, body, options_.apps.at(appid),
                              !(fault && fault->kind == FaultKind::kPlaintextData));
      if (fault && fault->kind == FaultKind::kNoData) answer.erase("data");
      if (fault && fault->kind == FaultKind::kTextData) answer["data"] = "this is not JSON text";
      if (fault && fault->kind == FaultKind::kPayload) {
        answer["data"] = encipherAnswer(fault->text, options_.apps.at(appid));
      }
      setJson(res, answer);
    }
  }
  entry["status"] = res.status;
  Json answer = Json::parse(res.body, nullptr, false);
  entry["retcode"] = answer.is_object() && answer.contains("retcode") ? answer["retcode"] : Json();
  journal_->append(entry);
}

bool AdServer::applyConnectionFault(const std::optional<Fault>& fault,
                                    const httplib::Request& req, Json& entry) {
  if (fault && fault->kind == FaultKind::kDrop) {
    entry["status"] = nullptr;
    journal_->append(entry);
    dropConnection(req);
    return true;
  }
  if (fault && fault->kind == FaultKind::kDelay) pause(fault->arg);
  return false;
}

Json AdServer::answerFor(const std::string& endpoint, const Json& body, const std::string& appKey,
                         bool encipher) {
  Json answer = Json::object();
  answer["retcode"] = 0;
  answer["errmsg"] = "";
  auto withData = [&](const Json& payload) {
    std::string text = dumpJson(payload);
    answer["data"] = encipher ? encipherAnswer(text, appKey) : text;
  };
  if (endpoint == "reg_dev") {
    const Json& imei = json::member(json::member(body, "devinfo"), "imei");
    withData(Json{{"devid", deviceIdFor(imei.is_string() ? imei.get<std::string>() : "")}});
  } else if (endpoint == "get_recommend_list") {
    long long adType = json::asInteger(json::member(body, "ad_type")).value_or(0);
    withData(buildAdList(options_.catalogSize, adType, kQDXApiBase));
  } else if (endpoint == "get_configuration") {
    // The configuration travels as plain JSON text in "data".
    Json config = Json::object();
    config["banner_refresh_seconds"] = 30;
    config["wall_enabled"] = true;
    config["server"] = "qdx-server";
    answer["data"] = dumpJson(config);
  }
  return answer;
}

void AdServer::handleGet(const httplib::Request& req, httplib::Response& res) {
  const std::string path = req.matches[1];
  std::optional<Fault> fault = faults_.faultFor(path);
  // The target of a "moved" redirect is served as if no fault were set.
  if (fault && fault->kind == FaultKind::kMoved && req.has_param("moved")) fault.reset();
  Json entry = Json::object();
  entry["method"] = "GET";
  entry["endpoint"] = path;
  entry["url"] = origin(req) + req.target;
  if (fault) entry["fault"] = faultName(fault);

  if (applyConnectionFault(fault, req, entry)) return;
  if (fault && fault->kind == FaultKind::kGarbage) {
    res.status = 200;
    res.set_content("not a PNG", "image/png");
  } else if (fault && fault->kind == FaultKind::kHttpStatus) {
    answerWithFailure(fault, res);
  } else if (fault && fault->kind == FaultKind::kMoved) {
    res.set_redirect("/qdx/" + path + "?moved", 302);
  } else if (auto png = artwork_.pngFor(path, options_.catalogSize)) {
    res.status = 200;
    res.set_content(*png, "image/png");
  } else {
    res.status = 404;
    res.set_content("<html><body>no such image</body></html>", "text/html");
  }
  entry["status"] = res.status;
  journal_->append(entry);
}

void AdServer::handleControl(const httplib::Request& req, httplib::Response& res) {
  const std::string action = req.matches[1];
  if (req.method == "GET" && action == "journal") {
    setJson(res, journal_->entries());
  } else if (req.method == "POST" && action == "journal/clear") {
    journal_->clear();
    setJson(res, Json{{"ok", true}});
  } else if (req.method == "GET" && action == "faults") {
    setJson(res, faults_.describe());
  } else if (req.method == "POST" && action == "fault") {
    Json request = Json::parse(req.body, nullptr, false);
    if (json::member(request, "clear") == Json(true)) {
      faults_.clear();
    } else {
      auto rule = json::asString(json::member(request, "fault"));
      std::string error = "expected {\"fault\": \"ENDPOINT:KIND[:ARG]\"} or {\"clear\": true}";
      std::optional<FaultRule> parsed;
      if (rule) parsed = parseFaultRule(*rule, error);
      if (!parsed) {
        setJson(res, Json{{"ok", false}, {"error", error}}, 400);
        return;
      }
      faults_.apply(*parsed);
    }
    setJson(res, faults_.describe());
  } else {
    setJson(res, Json{{"ok", false}, {"error", "unknown control " + action}}, 404);
  }
}

}  // namespace qdx::server

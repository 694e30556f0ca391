// Any value read back from the stores is used without a fault: the
// pending-event list (filing, deleting and resending events over it), the
// use-time list (resent as it is) and the global configuration (replaced
// from an answer, then read back). The first byte picks the key and
// whether the server acknowledges; the rest is the value as the store keeps
// it, JSON text (text that does not parse reads back as nothing, as the
// store's own read does). The network is a stub: no socket.
#include <cstdint>
#include <string>

#include "fuzz_env.h"
#include "qdx/RunLoop.h"
#include "reporting/QDXEvent.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/startup_reports.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "transport/QDXHttpClient.h"

namespace {

using qdx::HttpRequest;
using qdx::HttpResponse;
using qdx::Json;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  auto& env = qdx::fuzzing::FuzzEnv::shared();
  env.startAfresh();
  qdx::QDXUserDefaults::saveToLocal(1699999000, qdx::keys::kUseTimeStart);

  const std::uint8_t selector = data[0];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Json value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  const Json stored = value.is_discarded() ? Json() : value;
  const std::string answer = (selector & 0x10) ? R"({"retcode":1})" : R"({"retcode":0})";
  env.setExchange([answer, text](const HttpRequest& request) {
    if (request.url.find("get_configuration") != std::string::npos) {
      return HttpResponse{true, 200, Json{{"retcode", 0}, {"data", text}}.dump(), ""};
    }
    return HttpResponse{true, 200, answer, ""};
  });

  auto& reporter = qdx::QDXHttpRequestProxy::shareInstance();
  switch (selector % 3) {
    case 0: {  // the pending-event list
      qdx::QDXUserDefaults::saveToLocal(stored, qdx::keys::kReportEventList);
      reporter.reportEvent();
      qdx::fuzzing::FuzzEnv::drainMainQueue();
      qdx::QDXUserDefaults::saveToLocal(stored, qdx::keys::kReportEventList);
      reporter.reportRequestEventWithUbit("banner上部展示", "ad", "app", 1);
      reporter.reportShowEventWithUbit("banner上部展示", "ad", "app", 1);
      reporter.reportClickEventWithUbit("banner上部展示", "ad", "app", 1);
      qdx::fuzzing::FuzzEnv::drainMainQueue();
      qdx::QDXEvent().haveThisString(text);
      break;
    }
    case 1:  // the use-time list
      qdx::QDXUserDefaults::saveToLocal(stored, qdx::keys::kUseTimeEventList);
      reporter.reportUseTime();
      reporter.reportUseTime();
      break;
    default:  // the global configuration
      qdx::QDXUserDefaults::saveToLocal(stored, qdx::keys::kGlobalConfig);
      qdx::fetchGlobalConfig();
      qdx::fuzzing::FuzzEnv::drainMainQueue();
      qdx::QDXUserDefaults::getObjectFromLocal(qdx::keys::kGlobalConfig);
      break;
  }
  env.setExchange(nullptr);
  return 0;
}

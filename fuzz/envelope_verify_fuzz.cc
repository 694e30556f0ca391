// Any posted text must be judged without a fault; one that verifies must
// carry every identity member as a string.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "transport/envelope_verifier.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string posted(reinterpret_cast<const char*>(data), size);
  auto lookup = [](const std::string& appid) -> std::optional<std::string> {
    if (appid == "10086") return std::string("0123456789abcdef");
    if (appid == "7") return std::string("short");
    return std::nullopt;
  };
  qdx::EnvelopeVerdict verdict =
      qdx::verifyEnvelope(posted, "https://api.example.com/qdx/reg_dev", lookup);
  if (verdict.status == qdx::EnvelopeStatus::kOk) {
    for (const char* name : {"devid", "appid", "sdk_ver", "app_ver", "channel", "os_type",
                             "timestamp", "sign"}) {
      if (!verdict.envelope.contains(name) || !verdict.envelope[name].is_string()) std::abort();
    }
  }
  return 0;
}

// Any text must parse or be refused without a fault; what parses must write
// back out and parse again to the same value.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/posix_env.h"
#include "transport/QDXDictionaryAndJSON.h"

namespace {

void installQuietEnv() {
  static qdx::PosixEnv* env = [] {
    auto* quiet = new qdx::PosixEnv();
    quiet->setLogSink([](const std::string&) {});
    qdx::Env::Install(quiet);
    return quiet;
  }();
  (void)env;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  installQuietEnv();
  const std::string text(reinterpret_cast<const char*>(data), size);
  qdx::Json fragment = qdx::QDXDictionaryAndJSON::objectFromJsonData(text, true);
  qdx::Json parsed = qdx::QDXDictionaryAndJSON::dictionaryFromJsonString(text);
  if (parsed.is_null()) return 0;
  std::optional<std::string> written = qdx::QDXDictionaryAndJSON::jsonStringFromObjectDic(parsed);
  if (!written) std::abort();
  if (qdx::QDXDictionaryAndJSON::dictionaryFromJsonString(written) != parsed) std::abort();
  return 0;
}

// A signed, enciphered post through QDXHttpClient to the reference server on
// loopback (run in this process): the first request of a thread (new TCP
// connection and TLS handshake) and warm requests on a kept connection.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <thread>

#include "reference_fixture.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXHttpClient.h"

namespace {

using qdx::Json;

qdx::bench::ReferenceFixture& fixture() { return qdx::bench::referenceFixture(); }

const Json& eventBody() {
  static const Json body = {
      {"events", Json::array({{{"adid", "50001"}, {"type", 2}, {"ubit", "banner上部展示"}}})}};
  return body;
}

const std::string kURL = qdx::endpointURL(qdx::endpoints::kReportEvent);

void BM_FirstPostOfAThread(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  for (auto _ : state) {
    bool ok = false;
    // A new thread has no connection yet: this pays for TCP and TLS.
    std::thread([&] {
      ok = qdx::QDXHttpClient::shareHttpClient()
               .synPostUseConnectionWithURL(kURL, eventBody())
               .has_value();
    }).join();
    if (!ok) return state.SkipWithError("post failed");
  }
}
BENCHMARK(BM_FirstPostOfAThread)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WarmPost(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  auto& client = qdx::QDXHttpClient::shareHttpClient();
  client.synPostUseConnectionWithURL(kURL, eventBody());  // opens the connection
  for (auto _ : state) {
    if (!client.synPostUseConnectionWithURL(kURL, eventBody())) {
      return state.SkipWithError("post failed");
    }
  }
}
BENCHMARK(BM_WarmPost)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_WarmImageDownload(benchmark::State& state) {
  if (!fixture().started) return state.SkipWithError("server did not start");
  auto& client = qdx::QDXHttpClient::shareHttpClient();
  const std::string url = std::string(qdx::kQDXApiBase) + "/qdx/assets/wall/1.png";
  std::size_t size = client.downloadImageFromString(url).value_or("").size();
  for (auto _ : state) {
    if (!client.downloadImageFromString(url)) return state.SkipWithError("download failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}
BENCHMARK(BM_WarmImageDownload)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

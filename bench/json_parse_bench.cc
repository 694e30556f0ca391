// Parsing hostile answers. An ad-list payload whose one app entry carries
// 160 000 extra members (about 3 MB) is parsed the way the ad manager
// parses a deciphered answer, then read as a banner reads it (goal: under
// 200 ms). Baselines from the same run: Json's own parse, which inserts each
// member by a linear search (quadratic, so it runs on fewer members), and
// the same text parsed into a std::map-keyed nlohmann::json.
#include <benchmark/benchmark.h>

#include <string>

#include "ads/ad_list.h"
#include "common/json_parse.h"
#include "transport/QDXDictionaryAndJSON.h"

namespace {

// An ad-list payload with one app entry holding extraMembers more members
// after its real ones.
std::string hostilePayload(std::int64_t extraMembers) {
  std::string text =
      R"({"applist":[{"appid":20001,"appname":"Hostile","icon":"https://cdn.example/i.png",)"
      R"("adlist":[{"ad_id":1,"ad_url":"https://cdn.example/a.png","ad_down_url":"https://x"}])";
  for (std::int64_t i = 0; i < extraMembers; ++i) {
    text += ",\"member" + std::to_string(i) + "\":" + std::to_string(i % 1000);
  }
  text += "}]}";
  return text;
}

void BM_ParseAdListPayload(benchmark::State& state) {
  const std::string text = hostilePayload(state.range(0));
  for (auto _ : state) {
    const qdx::Json payload = qdx::QDXDictionaryAndJSON::dictionaryFromJsonString(text);
    const std::optional<std::string> url = qdx::adText(qdx::appAt(payload, 0), qdx::adkeys::kAdUrl);
    if (!url) state.SkipWithError("the payload did not read back");
    benchmark::DoNotOptimize(payload);
  }
  state.counters["bytes"] = static_cast<double>(text.size());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_ParseAdListPayload)->Arg(160000)->Arg(16000)->Unit(benchmark::kMillisecond);

// Baseline: Json's own parse of the same kind of text (quadratic in the
// member count).
void BM_Baseline_OrderedJsonParse(benchmark::State& state) {
  const std::string text = hostilePayload(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(qdx::Json::parse(text));
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_Baseline_OrderedJsonParse)->Arg(16000)->Arg(32000)->Unit(benchmark::kMillisecond);

// Baseline: the 160 000-member text into nlohmann::json (std::map keys).
void BM_Baseline_MapJsonParse(benchmark::State& state) {
  const std::string text = hostilePayload(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(text));
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_Baseline_MapJsonParse)->Arg(160000)->Unit(benchmark::kMillisecond);

}  // namespace

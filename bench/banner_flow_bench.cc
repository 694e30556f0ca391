// A host's banner request, from QDXAD::requestADWithADRequest to the banner
// in its container and onADShowed, beside the bare HTTPS round trips the
// flow needs (the ad-list post, the request event's post and the show
// event's post), made directly with libcurl on one kept connection in the
// same run. With the argument 0 the artwork is in the image cache after the
// first request, as for a host showing the same ads again; with 1 every
// request lists artwork the cache has never seen (the same pictures under
// new addresses), so the flow downloads every listed app's banner, and the
// bare round trips download them too.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <atomic>
#include <string>
#include <vector>

#include "qdx/RunLoop.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/QDXADRequest.h"
#include "ad_catalog.h"
#include "fault_plan.h"
#include "reference_fixture.h"
#include "reporting/QDXEvent.h"
#include "server_options.h"
#include "transport/QDXApiBase.h"
#include "transport/request_builder.h"
#include "ui/QDXBannerView.h"

namespace qdx::bench {
namespace {

class ShowListener : public QDXADDelegate {
 public:
  void onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>&, float, float) override {
    showed = true;
    // Wakes the main loop at once, as a host's own main-thread work would.
    RunLoop::main().post([] {});
  }
  std::atomic<bool> showed{false};
};

// Serves the catalog's ad list with every artwork address made new by a
// query the server ignores.
void serveFreshArtwork(ReferenceFixture& fixture, long round) {
  Json list = server::buildAdList(server::ServerOptions().catalogSize, 1, kQDXApiBase);
  for (Json& app : list["applist"]) {
    Json& ad = app["adlist"][0];
    ad["ad_url"] = ad["ad_url"].get<std::string>() + "?round=" + std::to_string(round);
  }
  std::string error;
  if (auto rule = server::parseFaultRule("get_recommend_list:payload:" + list.dump(), error)) {
    fixture.adServer->faults().apply(*rule);
  }
}

void BM_BannerRequestToShown(benchmark::State& state) {
  ReferenceFixture& fixture = referenceFixture();
  if (!fixture.started) return state.SkipWithError("no reference server");
  const bool freshArtwork = state.range(0) == 1;
  long round = 0;
  // As after a start: the version seen equals the bundle's, so only the
  // first request sends the utype report.
  QDXUserDefaults::saveToLocal(Json(fixture.env->bundleInfo("CFBundleShortVersionString").value_or("")),
                               keys::kAppVersion);
  auto listener = std::make_shared<ShowListener>();
  QDXAD::setADDelegate(listener);
  auto container = std::make_shared<kit::View>(kit::Rect(0, 0, 375, 667));
  if (freshArtwork) serveFreshArtwork(fixture, round++);
  for (auto _ : state) {
    listener->showed = false;
    QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, container));
    auto banner = QDXBannerView::shareBannerView();
    RunLoop::main().runUntil(
        [&] { return listener->showed.load() && banner->superview() == container; }, 15);
    state.PauseTiming();
    banner->removeFromSuperview();
    settleReports();
    if (freshArtwork) serveFreshArtwork(fixture, round++);
    state.ResumeTiming();
  }
  fixture.adServer->faults().clear();
}
BENCHMARK(BM_BannerRequestToShown)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

// The bare round trips; with freshThread each round runs them on a new
// thread started through Env, which then hands one block to the main queue
// while the main loop waits for it: the floor of the flow's own thread and
// main-queue hop, the steps a banner request must take beyond its posts.
void bareRoundTrips(benchmark::State& state, bool freshThread) {
  ReferenceFixture& fixture = referenceFixture();
  if (!fixture.started) return state.SkipWithError("no reference server");
  const std::string listURL = endpointURL(endpoints::kGetRecommendList);
  const std::string eventURL = endpointURL(endpoints::kReportEvent);
  const std::string listBody =
      buildSignedRequestBody(listURL, Json{{"timestamp", "1"}, {"screen", "750*1334"}, {"ad_type", 1}})
          .value_or("");
  // The groups a banner's request and show events post, built as the
  // reporter builds them (one event each, wrapped without filing), so the
  // server does the same work for them as for the flow's.
  auto eventGroup = [](int subType) {
    QDXEvent event;
    event.event_id = subType + 1;
    event.type = 1;
    event.sub_type = subType;
    event.ubit = "banner上部展示";
    event.adid = "50001";
    event.to_appid = "20001";
    event.adtype = 1;
    return Json{{"id", "1795388291699"}, {"event_list", Json::array({event.getEventDictinary()})}};
  };
  const std::string requestBody = buildSignedRequestBody(eventURL, eventGroup(0)).value_or("");
  const std::string showBody = buildSignedRequestBody(eventURL, eventGroup(1)).value_or("");
  CURL* curl = curl_easy_init();
  curl_slist* hosts = curl_slist_append(nullptr, fixture.env->connectTo().at(0).c_str());
  curl_slist* headers = curl_slist_append(nullptr, "content-Type: application/json");
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, hosts);
  curl_easy_setopt(curl, CURLOPT_CAINFO, fixture.env->caFile().c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
  auto post = [&](const std::string& url, const std::string& body) {
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_perform(curl);
  };
  const bool download = state.range(0) == 1;
  // The flow fetches every listed app's artwork before it shows the first.
  std::vector<std::string> artworkURLs;
  for (const Json& app : server::buildAdList(server::ServerOptions().catalogSize, 1, kQDXApiBase)["applist"]) {
    artworkURLs.push_back(app["adlist"][0]["ad_url"].get<std::string>());
  }
  auto roundTrips = [&] {
    post(listURL, listBody);
    post(eventURL, requestBody);
    for (std::size_t i = 0; download && i < artworkURLs.size(); ++i) {
      curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
      curl_easy_setopt(curl, CURLOPT_URL, artworkURLs[i].c_str());
      curl_easy_perform(curl);
    }
    post(eventURL, showBody);
  };
  for (auto _ : state) {
    if (!freshThread) {
      roundTrips();
      continue;
    }
    std::atomic<bool> shown{false};
    fixture.env->startThread("bare flow", [&] {
      roundTrips();
      RunLoop::main().post([&] { shown = true; });
    });
    RunLoop::main().runUntil([&] { return shown.load(); }, 15);
  }
  curl_slist_free_all(headers);
  curl_slist_free_all(hosts);
  curl_easy_cleanup(curl);
}
void BM_BareRoundTrips(benchmark::State& state) { bareRoundTrips(state, false); }
BENCHMARK(BM_BareRoundTrips)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_BareRoundTripsOnAFreshThread(benchmark::State& state) { bareRoundTrips(state, true); }
BENCHMARK(BM_BareRoundTripsOnAFreshThread)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace
}  // namespace qdx::bench

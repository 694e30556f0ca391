// A host's banner request, from QDXAD::requestADWithADRequest to the banner
// in its container and onADShowed, beside the bare HTTPS round trips the
// flow needs (the ad-list post, the request event's post and the show
// event's post), made directly with libcurl on one kept connection in the
// same run. The artwork is in the image cache after the first request, as
// it is for a host showing banners again.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <atomic>
#include <string>

#include "qdx/RunLoop.h"
#include "qdx/QDXAD.h"
#include "qdx/QDXADDelegate.h"
#include "qdx/QDXADRequest.h"
#include "reference_fixture.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXHttpClient.h"
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

void BM_BannerRequestToShown(benchmark::State& state) {
  ReferenceFixture& fixture = referenceFixture();
  if (!fixture.started) return state.SkipWithError("no reference server");
  // As after a start: the version seen equals the bundle's, so only the
  // first request sends the utype report.
  QDXUserDefaults::saveToLocal(Json(fixture.env->bundleInfo("CFBundleShortVersionString").value_or("")),
                               keys::kAppVersion);
  auto listener = std::make_shared<ShowListener>();
  QDXAD::setADDelegate(listener);
  auto container = std::make_shared<kit::View>(kit::Rect(0, 0, 375, 667));
  for (auto _ : state) {
    listener->showed = false;
    QDXAD::requestADWithADRequest(QDXADRequest::initWithBannerType(1, 0, 0, container));
    auto banner = QDXBannerView::shareBannerView();
    RunLoop::main().runUntil(
        [&] { return listener->showed.load() && banner->superview() == container; }, 15);
    state.PauseTiming();
    banner->removeFromSuperview();
    // Every request leaves its show event pending when the next report
    // changes the session first (the show's acknowledgement deletes under
    // the session of its own time); a growing pending list would make each
    // request slower than the last, so each starts from an empty one.
    RunLoop::main().runUntil([] { return QDXHttpClient::asyncPostsInFlight() == 0; }, 15);
    QDXUserDefaults::removeObjectFromLocal(keys::kReportEventList);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_BannerRequestToShown)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

void BM_BareRoundTrips(benchmark::State& state) {
  ReferenceFixture& fixture = referenceFixture();
  if (!fixture.started) return state.SkipWithError("no reference server");
  const std::string listURL = endpointURL(endpoints::kGetRecommendList);
  const std::string eventURL = endpointURL(endpoints::kReportEvent);
  const std::string listBody =
      buildSignedRequestBody(listURL, Json{{"timestamp", "1"}, {"screen", "750*1334"}, {"ad_type", 1}})
          .value_or("");
  const std::string eventBody = buildSignedRequestBody(eventURL, Json{{"id", "1"}}).value_or("");
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
  for (auto _ : state) {
    post(listURL, listBody);
    post(eventURL, eventBody);
    post(eventURL, eventBody);
  }
  curl_slist_free_all(headers);
  curl_slist_free_all(hosts);
  curl_easy_cleanup(curl);
}
BENCHMARK(BM_BareRoundTrips)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace
}  // namespace qdx::bench

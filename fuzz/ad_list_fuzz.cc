// Any deciphered ad-list payload goes through the ad manager's parse and
// every flow's use of it without a fault: the banner and wall flows, the
// per-page reports, a tap, and the three custom-slot loads. The first byte
// picks the kind; the rest is the payload text the server's "data"
// deciphers to. The network is a stub (no socket): the ad list answers
// with the payload enciphered, every other post is acknowledged, every
// image is missing.
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "ads/QDXADManager.h"
#include "fuzz_env.h"
#include "qdx/QDXADRequest.h"
#include "qdx/QDXAdLoader.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Application.h"
#include "qdx/kit/ViewController.h"
#include "qdx/kit/Window.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "transport/QDXEncryptAndDecrypt.h"
#include "transport/QDXHttpClient.h"

namespace {

using qdx::HttpRequest;
using qdx::HttpResponse;
using qdx::Json;

// A host screen for the flows to present on: one window, with a new root
// view controller each time so that walls presented earlier are let go.
void makeHostScreen() {
  static std::shared_ptr<qdx::kit::Window> window = [] {
    auto made = std::make_shared<qdx::kit::Window>(qdx::kit::Rect(0, 0, 375, 667));
    made->makeKeyAndVisible();
    auto delegate = std::make_shared<qdx::kit::ApplicationDelegate>();
    delegate->window = made;
    qdx::kit::Application::sharedApplication().setDelegate(delegate);
    return made;
  }();
  window->setRootViewController(std::make_shared<qdx::kit::ViewController>());
}

// Runs a show flow as the facade does, on a thread of its own, while this
// (the main) thread serves the main queue the flow waits on.
void runFlow(const std::function<void()>& flow) {
  std::atomic<bool> done{false};
  std::thread worker([&] {
    flow();
    done = true;
  });
  qdx::RunLoop::main().runUntil([&] { return done.load(); }, 60);
  worker.join();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  auto& env = qdx::fuzzing::FuzzEnv::shared();
  env.startAfresh();
  makeHostScreen();
  const int kinds[] = {1, 4, 7, 8, 9};
  const int kind = kinds[data[0] % 5];
  const std::string payload(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string answer =
      Json{{"retcode", 0}, {"errmsg", ""}, {"data", qdx::QDXEncryptAndDecrypt().encryptWithString(payload)}}
          .dump();
  env.setExchange([answer](const HttpRequest& request) {
    if (request.url.find("get_recommend_list") != std::string::npos) {
      return HttpResponse{true, 200, answer, ""};
    }
    if (request.method == "POST") return HttpResponse{true, 200, R"({"retcode":0})", ""};
    return HttpResponse{true, 404, "", ""};
  });

  auto& manager = qdx::QDXADManager::defaultADManager();
  if (kind == 1) {
    auto request = qdx::QDXADRequest::initWithADType(1);
    runFlow([&] { manager.showBannerWithADRequest(request); });
    qdx::fuzzing::FuzzEnv::drainMainQueue();
    manager.tapAD(0);
  } else if (kind == 4) {
    auto request = qdx::QDXADRequest::initWithADType(4);
    runFlow([&] { manager.showRecommendWallWithADRequest(request); });
    // A few pages, in and past the list: events of one session are filed
    // once per event already in its group (deliberately), so a group
    // doubles with each report and many would only measure that.
    for (std::int64_t page : {1, 2, 9}) manager.reportShowEventWithPage(page);
    manager.tapAD(3);
  } else {
    qdx::QDXAdLoader loader;
    loader.loadAdWithType(kind, 4, qdx::kit::Size{320, 50},
                          [](const std::vector<std::shared_ptr<qdx::kit::View>>&) {});
  }
  qdx::fuzzing::FuzzEnv::drainMainQueue();
  env.setExchange(nullptr);
  return 0;
}

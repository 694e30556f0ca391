// A host app: it shows a window, starts the SDK, asks for a banner at the
// bottom of its screen, serves its main loop for a moment and then leaves
// the foreground. Only the public headers and the qdx library are used.
//
//   qdx-host-app [HOME]   HOME: where the SDK keeps this app's files
//
// The device settings start from the QDX_* environment variables (QDX_NETWORK=0
// starts offline); see qdx/PosixPlatform.h.
#include <qdx/PosixPlatform.h>
#include <qdx/QDXAD.h>
#include <qdx/QDXADDelegate.h>
#include <qdx/QDXADRequest.h>
#include <qdx/RunLoop.h>
#include <qdx/kit/Kit.h>

#include <cstdio>
#include <memory>
#include <string>

// What the SDK tells the host. Loaded, no ad and showed arrive on the ad
// request's background thread; clicked and closed on the main thread.
class HostDelegate : public qdx::QDXADDelegate {
 public:
  void onADLoaded() override { std::puts("host: ads loaded"); }
  void onNoAD(long code) override { std::printf("host: no ad (%ld)\n", code); }
  void onADClicked() override { std::puts("host: ad clicked"); }
  void onADShowedWithADRequest(const std::shared_ptr<qdx::QDXADRequest>&, float width,
                               float height) override {
    std::printf("host: ad on screen, %.0f x %.0f points\n", width, height);
  }
};

int main(int argc, char** argv) {
  if (argc > 1) {
    qdx::PosixPlatform::setHomeDirectory(argv[1]);
    qdx::PosixPlatform::setKeychainDirectory(std::string(argv[1]) + "/keychain");
  }

  // The app's screen: a window whose root view controller's view holds ads.
  auto window = std::make_shared<qdx::kit::Window>(qdx::kit::Rect(0, 0, 375, 667));
  auto screen = std::make_shared<qdx::kit::ViewController>();
  window->setRootViewController(screen);
  window->makeKeyAndVisible();
  // The application delegate's window is where the SDK finds the screen to
  // present the recommend wall and its alerts from: without it they never
  // appear (a debug line says so).
  auto app = std::make_shared<qdx::kit::ApplicationDelegate>();
  app->window = window;
  qdx::kit::Application::sharedApplication().setDelegate(app);

  auto delegate = std::make_shared<HostDelegate>();
  qdx::QDXAD::setADDelegate(delegate);  // held weakly: keep it alive
  std::shared_ptr<qdx::QDXAD> sdk =
      qdx::QDXAD::initWithChannel("AppStore", 10001, "QDXDemoAppKey2016");
  std::printf("host: SDK %s\n", !sdk ? "did not start"
                                     : qdx::PosixPlatform::dataNetworkCode() == 0
                                           ? "started offline"
                                           : "started");

  // A banner 10 points above the bottom of the screen (banner type 3).
  qdx::QDXAD::requestADWithADRequest(
      qdx::QDXADRequest::initWithBannerType(3, 0, 10, screen->view()));
  qdx::RunLoop::main().runFor(2.0);  // the SDK's answers arrive on the main loop

  qdx::QDXAD::sdkTerminate();  // the app leaves the foreground
  return sdk ? 0 : 1;
}

// A host app in a few lines: it starts the SDK without a data connection,
// sets its delegate, builds a banner request, tells the SDK that it leaves
// the foreground, and exits 0.
//
// The SDK's device on Linux reads QDX_* environment variables; this app
// sets QDX_NETWORK=0 (offline: the SDK sends nothing) and, unless the
// caller chose one, keeps the SDK's files in a fresh directory under /tmp.
#include <qdx/QDXAD.h>
#include <qdx/QDXADDelegate.h>
#include <qdx/QDXADRequest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

// Prints what the SDK tells the host. Ad callbacks may arrive on a
// background thread (loaded, no ad, showed) or the main thread (clicked,
// closed).
class HostDelegate : public qdx::QDXADDelegate {
 public:
  void onADLoaded() override { std::puts("host: ads loaded"); }
  void onNoAD(long code) override { std::printf("host: no ad (%ld)\n", code); }
  void onADClicked() override { std::puts("host: ad clicked"); }
};

}  // namespace

int main() {
  setenv("QDX_NETWORK", "0", 1);
  if (std::getenv("QDX_HOME") == nullptr) {
    char home[] = "/tmp/qdx-host-app-XXXXXX";
    if (mkdtemp(home) == nullptr) return 1;
    setenv("QDX_HOME", home, 1);
    setenv("QDX_KEYCHAIN_DIR", (std::string(home) + "/keychain").c_str(), 1);
  }

  auto delegate = std::make_shared<HostDelegate>();
  std::shared_ptr<qdx::QDXAD> sdk =
      qdx::QDXAD::initWithChannel("AppStore", 10001, "QDXDemoAppKey2016");
  qdx::QDXAD::setADDelegate(delegate);
  qdx::QDXAD::setDebug(true);

  std::shared_ptr<qdx::QDXADRequest> request =
      qdx::QDXADRequest::initWithADType(qdx::QDXADTypeBanner);
  std::printf("host: a banner request of type %d, %s\n", static_cast<int>(request->adType()),
              sdk ? "SDK started offline" : "SDK did not start");

  qdx::QDXAD::sdkTerminate();
  return sdk ? 0 : 1;
}

#pragma once
// What every ad view tells its owner: the banner and the recommend wall
// tell the ad manager, a custom-slot item view tells the hidden custom-slot
// view that loaded it. Every method is optional; calls arrive on the main
// thread.
#include <cstdint>
#include <memory>

namespace qdx {

namespace kit {
class Control;
}

class QDXADEventDelegate {
 public:
  virtual ~QDXADEventDelegate() = default;

  // The user closed the ad with control (its tag names the kind: 1 banner,
  // 4 recommend wall).
  virtual void closeAD(const std::shared_ptr<kit::Control>& control) { (void)control; }
  // The user tapped the ad, or its download control, at index in its list.
  virtual void tapAD(std::int64_t index) { (void)index; }
  // Report a request for the ad at index.
  virtual void reportRequestEventWithPage(std::int64_t page) { (void)page; }
  // Report that the ad at index was shown.
  virtual void reportShowEventWithPage(std::int64_t page) { (void)page; }
};

}  // namespace qdx

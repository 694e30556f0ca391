// Tests of the reporting layer and the layers above it wait for the
// detached threads of runDetached (registration, start-up steps, the ad
// flows) before their platform goes away. This file is linked as an object
// (never from an archive) so that the probe is always added.
#include "reporting/background_work.h"
#include "support/test_env.h"

namespace qdx {
namespace {

const bool kDetachedWorkProbe = [] {
  TestEnv::addBackgroundWorkProbe([] { return detachedWorkInFlight() > 0; });
  return true;
}();

}  // namespace
}  // namespace qdx

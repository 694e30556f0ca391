// Tests of the transport and the layers above it wait for the HTTP client's
// asynchronous posts before their platform goes away. This file is linked
// as an object (never from an archive) so that the probe is always added.
#include "support/test_env.h"
#include "transport/QDXHttpClient.h"

namespace qdx {
namespace {

const bool kAsyncPostsProbe = [] {
  TestEnv::addBackgroundWorkProbe([] { return QDXHttpClient::asyncPostsInFlight() > 0; });
  return true;
}();

}  // namespace
}  // namespace qdx

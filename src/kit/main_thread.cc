#include "kit/main_thread.h"

#include <cstdio>
#include <cstdlib>

#include "qdx/RunLoop.h"

namespace qdx::kit {

void assertMainThread(const char* call) {
  if (RunLoop::isMainThread()) return;
  std::fprintf(stderr, "qdx kit: %s called off the main thread\n", call);
  std::fflush(stderr);
  std::abort();
}

}  // namespace qdx::kit

#include "qdx/kit/Screen.h"

#include "platform/env.h"

namespace qdx::kit {

Screen Screen::mainScreen() {
  ScreenMetrics metrics = Env::Default()->mainScreen();
  Screen screen;
  screen.bounds_ = Rect(0, 0, metrics.width, metrics.height);
  screen.scale_ = metrics.scale > 0 ? metrics.scale : 1;
  return screen;
}

}  // namespace qdx::kit

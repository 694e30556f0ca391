#pragma once
// The live window (qdx-demo --window): the demo's host app in a desktop
// window through the SDL2 backend, driven by a person or by xdotool.
#include <functional>

#include "demo_options.h"

namespace qdx::demo {

// Opens the window, then calls startServer (which points the platform at
// the server the session uses and returns false, after saying why, when it
// cannot), starts the SDK and serves the window until Escape or the window
// is closed. Prints one line per event on stdout. Returns the exit code:
// 0 when the user ended it, 2 when no window can be opened (no display, a
// build without SDL2), 1 when the server could not be started.
int runLiveWindow(const Options& options, const std::function<bool()>& startServer);

}  // namespace qdx::demo

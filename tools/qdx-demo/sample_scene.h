#pragma once
// A small scene drawn with the view toolkit, to check the renderer by eye:
// a banner-shaped image with a close button over a host screen, and a
// Chinese label.
#include <string>

namespace qdx::demo {

// Renders the scene at the main screen's scale and writes it as PNG to
// path. Returns 0 on success, 1 (with a message on stderr) on failure.
int renderSampleScene(const std::string& path);

}  // namespace qdx::demo

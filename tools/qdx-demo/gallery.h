#pragma once
// The gallery: one static HTML page (no scripts) that shows, for each step
// of a session, its screenshot, what the host's delegate heard, the store
// links opened, the server journal rows it caused, its checks and the
// cipher trace the SDK wrote to standard output.
#include <string>
#include <vector>

#include "session.h"

namespace qdx::demo {

struct GalleryHeader {
  std::string title;    // "qdx demo: online session"
  std::string server;   // where the server was, in words
  std::string journal;  // where the journal rows come from, or why there are none
  double seconds = 0;   // the whole session
};

// Writes dir/index.html; false when it cannot be written.
bool writeGallery(const std::string& dir, const GalleryHeader& header,
                  const std::vector<StepRecord>& steps);

// text with &, <, >, " and ' escaped for HTML.
std::string escapeHtml(const std::string& text);

}  // namespace qdx::demo

#pragma once
// PNG images the reference server serves: ad artwork for the catalog and
// the SDK's own images. Each is drawn on first request and kept.
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace qdx::server {

class Artwork {
 public:
  // The PNG bytes for a path under /qdx/ (e.g. "assets/banner/2.png",
  // "images/close120.png"), or nullopt when there is no such image.
  // Catalog artwork exists for numbers 1..catalogSize. Thread-safe.
  std::optional<std::string> pngFor(const std::string& path, int catalogSize);

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> drawn_;
};

}  // namespace qdx::server

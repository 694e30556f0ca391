#pragma once
// The server's record of every request it served: one JSON object per line
// in a file, and the same entries in memory for the control endpoint.
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "common/json.h"

namespace qdx::server {

class Journal {
 public:
  // Opens (truncates) path for writing. Check ok() afterwards.
  explicit Journal(const std::string& path);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  bool ok() const { return file_ != nullptr; }
  const std::string& path() const { return path_; }

  // Adds "seq" (1, 2, ...) to entry, appends it as one line and flushes, so
  // a reader of the file sees each entry complete as soon as it is answered.
  void append(Json entry);
  // Every entry since the start or the last clear(), oldest first.
  Json entries() const;
  // Forgets the in-memory entries (the file keeps its lines).
  void clear();

 private:
  std::string path_;
  std::FILE* file_ = nullptr;
  mutable std::mutex mutex_;
  std::vector<Json> entries_;
  long long nextSeq_ = 1;
};

}  // namespace qdx::server

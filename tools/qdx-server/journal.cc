#include "journal.h"

namespace qdx::server {

Journal::Journal(const std::string& path) : path_(path) {
  file_ = std::fopen(path.c_str(), "w");
}

Journal::~Journal() {
  if (file_ != nullptr) std::fclose(file_);
}

void Journal::append(Json entry) {
  std::lock_guard<std::mutex> lock(mutex_);
  Json numbered = Json::object();
  numbered["seq"] = nextSeq_++;
  for (auto& [key, value] : entry.items()) numbered[key] = value;
  // Invalid UTF-8 from a client must not stop the journal: replace it.
  std::string line = numbered.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (file_ != nullptr) {
    std::fputs(line.c_str(), file_);
    std::fputc('\n', file_);
    std::fflush(file_);
  }
  entries_.push_back(std::move(numbered));
}

Json Journal::entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  Json all = Json::array();
  for (const Json& entry : entries_) all.push_back(entry);
  return all;
}

void Journal::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

}  // namespace qdx::server

#include "journal.h"

namespace qdx::server {

Journal::Journal(const std::string& path) : path_(path) {
  file_ = std::fopen(path.c_str(), "w");
  // Unbuffered: each entry reaches the file in one write, so a reader
  // polling the file sees whole lines.
  if (file_ != nullptr) std::setvbuf(file_, nullptr, _IONBF, 0);
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
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), file_);
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

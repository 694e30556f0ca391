#include "kit/decoded_image_memo.h"

#include <functional>

#include "qdx/kit/Image.h"

namespace qdx::kit {

DecodedImageMemo& DecodedImageMemo::shared() {
  // Never destroyed: detached threads may decode while the process exits.
  static DecodedImageMemo* const memo = new DecodedImageMemo();
  return *memo;
}

std::list<DecodedImageMemo::Entry>::iterator DecodedImageMemo::locate(std::size_t hash,
                                                                      const std::string& bytes) {
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (it->hash == hash && it->bytes == bytes) return it;
  }
  return entries_.end();
}

std::shared_ptr<Image> DecodedImageMemo::find(const std::string& bytes) {
  const std::size_t hash = std::hash<std::string>()(bytes);
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = locate(hash, bytes);
  if (it == entries_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, it);
  return entries_.front().image;
}

void DecodedImageMemo::keep(const std::string& bytes, const std::shared_ptr<Image>& image) {
  if (!image) return;
  const std::size_t cost = image->pixels().size() * sizeof(std::uint32_t) + bytes.size();
  if (cost > maxImageBytes_) return;
  const std::size_t hash = std::hash<std::string>()(bytes);
  std::lock_guard<std::mutex> lock(mutex_);
  if (locate(hash, bytes) != entries_.end()) return;  // another thread was first
  entries_.push_front(Entry{hash, bytes, image, cost});
  bytesKept_ += cost;
  while (bytesKept_ > budgetBytes_ && !entries_.empty()) {
    bytesKept_ -= entries_.back().cost;
    entries_.pop_back();
  }
}

std::size_t DecodedImageMemo::bytesKept() {
  std::lock_guard<std::mutex> lock(mutex_);
  return bytesKept_;
}

void DecodedImageMemo::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
  bytesKept_ = 0;
}

}  // namespace qdx::kit

#pragma once
// Recently decoded small images, by their encoded bytes. The SDK decodes
// the same few pictures again and again: the close button on every banner,
// the download arrow on every wall card, the same ad art when a banner is
// shown anew. Images are immutable, so the decoded one is handed out again.
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace qdx::kit {

class Image;

class DecodedImageMemo {
 public:
  // The kept images, their pixels and encoded bytes, stay within
  // kBudgetBytes in all; the least recently used go first. One image over
  // kMaxImageBytes is not kept, so that no single picture empties the memo.
  static constexpr std::size_t kBudgetBytes = 64 * 1024 * 1024;
  static constexpr std::size_t kMaxImageBytes = kBudgetBytes / 4;

  // An empty memo with the given limits (the shared one has the defaults).
  explicit DecodedImageMemo(std::size_t budgetBytes = kBudgetBytes,
                            std::size_t maxImageBytes = kMaxImageBytes)
      : budgetBytes_(budgetBytes), maxImageBytes_(maxImageBytes) {}

  // The process-wide memo. Safe from any thread.
  static DecodedImageMemo& shared();

  // The image decoded earlier from exactly these bytes, or nullptr. A hit
  // counts as a use.
  std::shared_ptr<Image> find(const std::string& bytes);
  // Keeps image as the decoding of bytes, dropping the least recently used
  // images past the budget; an image over the one-image limit is not kept.
  void keep(const std::string& bytes, const std::shared_ptr<Image>& image);

  // What the kept images take now, in bytes.
  std::size_t bytesKept();

  // Forgets every kept image (images handed out stay valid): memory
  // pressure, or a benchmark that times first decodes again and again.
  void clear();

 private:
  struct Entry {
    std::size_t hash;
    std::string bytes;
    std::shared_ptr<Image> image;
    std::size_t cost;  // pixel bytes plus encoded bytes
  };

  // The entry for bytes (whose hash is hash), or entries_.end(). Called
  // with mutex_ held.
  std::list<Entry>::iterator locate(std::size_t hash, const std::string& bytes);

  const std::size_t budgetBytes_;
  const std::size_t maxImageBytes_;
  std::mutex mutex_;
  std::list<Entry> entries_;  // most recently used first
  std::size_t bytesKept_ = 0;
};

}  // namespace qdx::kit

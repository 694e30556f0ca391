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
  // Images larger than this many pixel bytes are not kept (a wall's card
  // backs, shown once each); the kept ones stay below kBudgetBytes in all.
  static constexpr std::size_t kMaxImageBytes = 512 * 1024;
  static constexpr std::size_t kBudgetBytes = 2 * 1024 * 1024;

  // The process-wide memo. Safe from any thread.
  static DecodedImageMemo& shared();

  // The image decoded earlier from exactly these bytes, or nullptr.
  std::shared_ptr<Image> find(const std::string& bytes);
  // Keeps image as the decoding of bytes, dropping the least recently used
  // images past the budget; images over kMaxImageBytes are not kept.
  void keep(const std::string& bytes, const std::shared_ptr<Image>& image);

 private:
  struct Entry {
    std::size_t hash;
    std::string bytes;
    std::shared_ptr<Image> image;
    std::size_t pixelBytes;
  };

  // The entry for bytes (whose hash is hash), or entries_.end(). Called
  // with mutex_ held.
  std::list<Entry>::iterator locate(std::size_t hash, const std::string& bytes);

  std::mutex mutex_;
  std::list<Entry> entries_;  // most recently used first
  std::size_t pixelBytes_ = 0;
};

}  // namespace qdx::kit

#pragma once
// The one image cache: a memory map from URL to image bytes, in front of a
// directory of files named by the MD5 of the URL (under the caches
// directory's "ImageCache"), in front of the network. It hands back raw
// bytes; callers decode them.
//
// Whole lookups are serialised by one lock, so the file path of a lookup is
// never taken over by another. A miss downloads synchronously: use the
// cache off the main thread.
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qdx {

// One memory-cache entry.
struct QDXImageDataInfo {
  // When the entry was last (re-)inserted, seconds since 1970 (Env::now).
  double timeOfUseImage = 0;
  // The image bytes; nullopt while the entry has none.
  std::optional<std::string> imageData;
};

class QDXImageCache {
 public:
  // The memory limit in kilobytes, compared against cacheSize().
  static constexpr float kMemoryLimitKB = 512;

  // The shared cache, made on first use.
  static QDXImageCache& shareInstance();

  // An empty cache over "<Env caches directory>/ImageCache" (the directory
  // is created when missing; failures are ignored). Separate instances over
  // the same directory behave like later launches of the app.
  QDXImageCache();

  // The image bytes for url, from memory, else from its disk file (then
  // kept in memory, the file left as it is), else downloaded (then kept in
  // memory and, when accepted there, written to disk). nullopt for an empty
  // url or when neither disk nor network gives bytes.
  std::optional<std::string> getImageFromString(const std::string& url);

  // Writes bytes atomically to the file of the lookup in progress.
  void writeImageDataToDisk(const std::string& bytes);

  // Puts entry into memory under url. An entry without bytes is refused
  // (false; "加载%@后没有得到数据" while debugging). Below the limit the
  // entry is stamped now and its size added to cacheSize; at the limit the
  // entries stamped exactly with the earlier time of the last two keys (in
  // insertion order) are evicted first, and cacheSize stays as it is: it
  // never decreases. Returns true when the entry was stored.
  bool cleanOldMemoryCache(std::shared_ptr<QDXImageDataInfo> entry, const std::string& url);

  // Running total of bytes ever put into memory, in kilobytes.
  float cacheSize() const;
  void setCacheSize(float kilobytes);

  // Forgets every entry in memory and the running size, and follows the
  // installed Env's caches directory again: the cache as a fresh launch
  // finds it. For a process that installs one Env after another (a test
  // program, one test after the other); the SDK never calls it.
  void reset();

  // The disk folder, and the file a URL maps to.
  const std::string& diskCachePath() const { return diskCachePath_; }
  std::string filePathForURL(const std::string& url) const;

  // For inspection: the URLs in memory in enumeration (insertion) order,
  // and an entry (nullptr when absent).
  std::vector<std::string> memoryCacheKeys() const;
  std::shared_ptr<QDXImageDataInfo> memoryEntry(const std::string& url) const;

 private:
  std::optional<std::string> lookup(const std::string& url);
  bool insertLocked(const std::shared_ptr<QDXImageDataInfo>& entry, const std::string& url);
  void writeLocked(const std::string& bytes);

  mutable std::recursive_mutex mutex_;
  std::unordered_map<std::string, std::shared_ptr<QDXImageDataInfo>> memoryCacheDic_;
  std::vector<std::string> memoryOrder_;  // insertion order of memoryCacheDic_'s keys
  std::string diskCachePath_;
  std::string filePath_;
  float cacheSize_ = 0;
};

}  // namespace qdx

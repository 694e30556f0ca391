#include "transport/QDXImageCache.h"

#include <algorithm>
#include <exception>

#include "platform/env.h"
#include "sdk/QDXLog.h"
#include "transport/QDXHttpClient.h"
#include "transport/QDXmd5.h"

namespace qdx {

QDXImageCache& QDXImageCache::shareInstance() {
  // Never destroyed: background lookups may still run during exit.
  static QDXImageCache* instance = new QDXImageCache();
  return *instance;
}

QDXImageCache::QDXImageCache() { reset(); }

void QDXImageCache::reset() {
  MutexLock lock(mutex_);
  memoryCacheDic_.clear();
  memoryOrder_.clear();
  inFlight_.clear();
  cacheSize_ = 0;
  filePath_.clear();
  diskCachePath_ = Env::Default()->cachesDirectory() + "/ImageCache";
  Env::Default()->createDirectories(diskCachePath_);  // a failure shows as misses
}

std::string QDXImageCache::filePathForURL(const std::string& url) const {
  return diskCachePath_ + "/" + QDXmd5::md5(url);
}

std::optional<std::string> QDXImageCache::getImageFromString(const std::string& url) {
  // Nothing thrown below reaches the caller: a failed lookup is a miss.
  try {
    return lookup(url);
  } catch (const std::exception& e) {
    debugLog(std::string("image lookup failed: ") + e.what());
    return std::nullopt;
  }
}

std::optional<std::string> QDXImageCache::lookup(const std::string& url) {
  if (url.empty()) return std::nullopt;
  {
    MutexLock lock(mutex_);
    for (;;) {
      auto found = memoryCacheDic_.find(url);
      // A memory hit leaves timeOfUseImage alone.
      if (found != memoryCacheDic_.end() && found->second->imageData) {
        return found->second->imageData;
      }
      if (inFlight_.insert(url).second) break;
      // Another lookup is fetching this URL: its result is ours too (or,
      // when it got nothing, we try ourselves).
      fetched_.wait(mutex_);
    }
    filePath_ = filePathForURL(url);
  }
  // Lands the flight however fetch ends, so no waiter waits for ever.
  struct Landing {
    QDXImageCache* cache;
    const std::string& url;
    ~Landing() { cache->land(url); }
  } landing{this, url};
  return fetch(url);
}

std::optional<std::string> QDXImageCache::fetch(const std::string& url) {
  // Each lookup keeps its own path: a concurrent lookup never redirects
  // this one's bytes into another URL's file.
  const std::string path = filePathForURL(url);
  Env* env = Env::Default();
  auto entry = std::make_shared<QDXImageDataInfo>();
  if (env->fileExists(path)) {
    // An unreadable file gives no bytes: the entry is refused below.
    entry->imageData = env->readFile(path);
    MutexLock lock(mutex_);
    if (!memoryCacheDic_.contains(url)) insertLocked(entry, url);
    // The file is not written again.
    return entry->imageData;
  }
  entry->imageData = QDXHttpClient::shareHttpClient().downloadImageFromString(url);
  bool stored = false;
  {
    MutexLock lock(mutex_);
    stored = insertLocked(entry, url);
  }
  // A failed write leaves no file: the image is downloaded again next time.
  if (stored) env->writeFileAtomically(path, *entry->imageData);
  return entry->imageData;
}

void QDXImageCache::land(const std::string& url) {
  {
    MutexLock lock(mutex_);
    inFlight_.erase(url);
  }
  fetched_.notify_all();
}

void QDXImageCache::writeImageDataToDisk(const std::string& bytes) {
  std::string path;
  {
    MutexLock lock(mutex_);
    path = filePath_;
  }
  if (path.empty()) return;
  // A failed write leaves no file: the image is downloaded again next time.
  Env::Default()->writeFileAtomically(path, bytes);
}

bool QDXImageCache::cleanOldMemoryCache(std::shared_ptr<QDXImageDataInfo> entry,
                                        const std::string& url) {
  if (!entry) return false;
  MutexLock lock(mutex_);
  return insertLocked(entry, url);
}

bool QDXImageCache::insertLocked(const std::shared_ptr<QDXImageDataInfo>& entry,
                                 const std::string& url) {
  if (!entry->imageData) {
    debugLog("加载" + url + "后没有得到数据");
    return false;
  }
  const double now = Env::Default()->now();
  if (cacheSize_ < kMemoryLimitKB) {
    entry->timeOfUseImage = now;
    if (memoryCacheDic_.emplace(url, entry).second) {
      memoryOrder_.push_back(url);
    } else {
      memoryCacheDic_[url] = entry;
    }
    cacheSize_ = static_cast<float>(static_cast<double>(cacheSize_) +
                                    static_cast<double>(entry->imageData->size()) / 1024.0);
    return true;
  }

  // At the limit: the eviction time ends as the earlier time of the last
  // two keys (each pair replaces the previous result; deliberately not a
  // search for the oldest). With one key it stays "now": nothing goes.
  const std::vector<std::string> keys = memoryOrder_;
  if (keys.size() > 1) {
    double evictionTime = now;
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
      evictionTime = std::min(memoryCacheDic_.at(keys[i])->timeOfUseImage,
                              memoryCacheDic_.at(keys[i + 1])->timeOfUseImage);
    }
    for (const std::string& key : keys) {
      if (memoryCacheDic_.at(key)->timeOfUseImage == evictionTime) memoryCacheDic_.erase(key);
    }
    std::vector<std::string> kept;
    for (const std::string& key : memoryOrder_) {
      if (memoryCacheDic_.contains(key)) kept.push_back(key);
    }
    memoryOrder_ = std::move(kept);
  }

  entry->timeOfUseImage = now;
  if (memoryCacheDic_.emplace(url, entry).second) {
    memoryOrder_.push_back(url);
  } else {
    memoryCacheDic_[url] = entry;
  }
  return true;
}

float QDXImageCache::cacheSize() const {
  MutexLock lock(mutex_);
  return cacheSize_;
}

void QDXImageCache::setCacheSize(float kilobytes) {
  MutexLock lock(mutex_);
  cacheSize_ = kilobytes;
}

std::vector<std::string> QDXImageCache::memoryCacheKeys() const {
  MutexLock lock(mutex_);
  return memoryOrder_;
}

std::shared_ptr<QDXImageDataInfo> QDXImageCache::memoryEntry(const std::string& url) const {
  MutexLock lock(mutex_);
  auto found = memoryCacheDic_.find(url);
  return found == memoryCacheDic_.end() ? nullptr : found->second;
}

}  // namespace qdx

// The image cache: memory, MD5-named files and downloads, and the
// memory limit's eviction rule.
#include "transport/QDXImageCache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "reporting_fixture.h"
#include "sdk/QDXLog.h"
#include "transport/QDXmd5.h"

namespace qdx {
namespace {

const std::string kImageURL = "https://api.qdx.example/qdx/images/close120.png";

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

struct timespec modificationTime(const std::string& path) {
  struct stat info {};
  ::stat(path.c_str(), &info);
  return info.st_mtim;
}

std::shared_ptr<QDXImageDataInfo> entryOf(std::size_t bytes) {
  auto entry = std::make_shared<QDXImageDataInfo>();
  entry->imageData = std::string(bytes, 'x');
  return entry;
}

using ImageCacheDiskTest = testing::LocalReportingTest;

TEST_F(ImageCacheDiskTest, FilesAreNamedByTheUppercaseMd5OfTheURLUnderImageCache) {
  QDXImageCache cache;
  EXPECT_EQ(cache.diskCachePath(), env_.cachesDirectory() + "/ImageCache");
  EXPECT_TRUE(std::filesystem::is_directory(cache.diskCachePath()));
  EXPECT_EQ(cache.filePathForURL(kImageURL), cache.diskCachePath() + "/" + QDXmd5::md5(kImageURL));
}

TEST_F(ImageCacheDiskTest, ARestartReadsTheFileBackWithoutRewritingIt) {
  env_.setDataNetworkCode(0);  // whatever is served must come from disk
  QDXImageCache firstLaunch;
  const std::string path = firstLaunch.filePathForURL(kImageURL);
  writeFile(path, "PNG bytes");
  const struct timespec before = modificationTime(path);

  QDXImageCache laterLaunch;
  EXPECT_EQ(laterLaunch.getImageFromString(kImageURL), "PNG bytes");
  const struct timespec after = modificationTime(path);
  EXPECT_EQ(before.tv_sec, after.tv_sec);
  EXPECT_EQ(before.tv_nsec, after.tv_nsec);
  ASSERT_NE(laterLaunch.memoryEntry(kImageURL), nullptr) << "put back into memory";
  EXPECT_NEAR(laterLaunch.cacheSize(), 9 / 1024.0, 1e-6);
}

TEST_F(ImageCacheDiskTest, NothingFromDiskOrNetworkGivesNilAndLeavesNoTrace) {
  env_.setDataNetworkCode(0);
  QDXLog::setDebug(true);
  QDXImageCache cache;
  EXPECT_EQ(cache.getImageFromString(kImageURL), std::nullopt);
  EXPECT_EQ(cache.getImageFromString(""), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(cache.filePathForURL(kImageURL)));
  EXPECT_TRUE(cache.memoryCacheKeys().empty());
  EXPECT_TRUE(env_.logContains("加载" + kImageURL + "后没有得到数据"));
}

using ImageCacheMemoryTest = testing::LocalReportingTest;

TEST_F(ImageCacheMemoryTest, BelowTheLimitAnEntryIsStampedAndCountedInKilobytes) {
  QDXImageCache cache;
  env_.setNow(1000);
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(2048), "a"));
  EXPECT_FLOAT_EQ(cache.cacheSize(), 2.0f);
  EXPECT_EQ(cache.memoryEntry("a")->timeOfUseImage, 1000);
  EXPECT_FALSE(cache.cleanOldMemoryCache(std::make_shared<QDXImageDataInfo>(), "empty"));
  EXPECT_EQ(cache.memoryCacheKeys(), std::vector<std::string>{"a"});
}

TEST_F(ImageCacheMemoryTest, JustBelowTheLimitOneMoreIsAddedAndTheNextEvicts) {
  QDXImageCache cache;
  env_.setNow(100);
  cache.cleanOldMemoryCache(entryOf(10), "old");
  env_.setNow(200);
  cache.cleanOldMemoryCache(entryOf(10), "newer");
  cache.setCacheSize(511.9f);
  env_.setNow(300);
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(2048), "big"));
  EXPECT_NEAR(cache.cacheSize(), 513.9, 1e-3);
  EXPECT_EQ(cache.memoryCacheKeys().size(), 3u) << "still added below 512";

  env_.setNow(400);
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(10), "next"));
  EXPECT_EQ(cache.memoryCacheKeys(), (std::vector<std::string>{"old", "big", "next"}))
      << "the earlier of the last two keys (newer, big) is evicted";
  EXPECT_NEAR(cache.cacheSize(), 513.9, 1e-3) << "never decreased, not even by eviction";
}

TEST_F(ImageCacheMemoryTest, AtTheLimitTheOlderOfTwoGoesOrBothWhenEqual) {
  QDXImageCache cache;
  env_.setNow(100);
  cache.cleanOldMemoryCache(entryOf(1), "a");
  env_.setNow(200);
  cache.cleanOldMemoryCache(entryOf(1), "b");
  cache.setCacheSize(512);
  env_.setNow(300);
  cache.cleanOldMemoryCache(entryOf(1), "c");
  EXPECT_EQ(cache.memoryCacheKeys(), (std::vector<std::string>{"b", "c"}));

  QDXImageCache tied;
  env_.setNow(100);
  tied.cleanOldMemoryCache(entryOf(1), "a");
  tied.cleanOldMemoryCache(entryOf(1), "b");
  tied.setCacheSize(600);
  env_.setNow(300);
  tied.cleanOldMemoryCache(entryOf(1), "c");
  EXPECT_EQ(tied.memoryCacheKeys(), std::vector<std::string>{"c"});
}

TEST_F(ImageCacheMemoryTest, EvictionComparesOnlyTheLastTwoKeysNotTheGlobalOldest) {
  QDXImageCache cache;
  env_.setNow(100);
  cache.cleanOldMemoryCache(entryOf(1), "oldest");
  env_.setNow(300);
  cache.cleanOldMemoryCache(entryOf(1), "newest");
  env_.setNow(200);
  cache.cleanOldMemoryCache(entryOf(1), "middle");
  cache.setCacheSize(512);
  env_.setNow(400);
  cache.cleanOldMemoryCache(entryOf(1), "incoming");
  EXPECT_EQ(cache.memoryCacheKeys(),
            (std::vector<std::string>{"oldest", "newest", "incoming"}));
}

TEST_F(ImageCacheMemoryTest, WithOneKeyAtTheLimitNothingIsEvicted) {
  QDXImageCache cache;
  env_.setNow(100);
  cache.cleanOldMemoryCache(entryOf(1), "only");
  cache.setCacheSize(512);
  env_.setNow(100);  // even an entry stamped "now" stays
  cache.cleanOldMemoryCache(entryOf(1), "second");
  EXPECT_EQ(cache.memoryCacheKeys(), (std::vector<std::string>{"only", "second"}));
}

using ImageCacheNetworkTest = testing::ServerReportingTest;

TEST_F(ImageCacheNetworkTest, AMissDownloadsOnceThenMemoryServesWithoutDiskOrNetwork) {
  QDXImageCache cache;
  const std::optional<std::string> downloaded = cache.getImageFromString(kImageURL);
  ASSERT_TRUE(downloaded.has_value());
  EXPECT_EQ(downloaded->substr(1, 3), "PNG");
  const std::string path = cache.filePathForURL(kImageURL);
  EXPECT_EQ(readFile(path), *downloaded) << "written to disk as downloaded";
  EXPECT_EQ(server_.entriesFor("images/close120.png").size(), 1u);

  std::filesystem::remove(path);
  const std::size_t requestsBefore = server_.journal().size();
  EXPECT_EQ(cache.getImageFromString(kImageURL), downloaded);
  EXPECT_FALSE(std::filesystem::exists(path)) << "a memory hit does not touch the disk";
  EXPECT_EQ(server_.journal().size(), requestsBefore) << "nor the network";
}

TEST_F(ImageCacheNetworkTest, AnUnreachableImageLeavesNoFile) {
  const std::string missing = "https://api.qdx.example/qdx/images/no-such-image.png";
  QDXImageCache cache;
  EXPECT_EQ(cache.getImageFromString(missing), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(cache.filePathForURL(missing)));

  server_.setFault("images/close120.png:drop");
  EXPECT_EQ(cache.getImageFromString(kImageURL), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(cache.filePathForURL(kImageURL)));
}

}  // namespace
}  // namespace qdx

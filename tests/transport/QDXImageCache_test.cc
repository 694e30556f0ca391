// The image cache: memory, MD5-named files and downloads, and the
// memory limit's eviction rule; the MD5 digest that names the files.
#include "transport/QDXImageCache.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "reporting/reporting_fixture.h"
#include "support/fault_env.h"
#include "support/held_downloads.h"
#include "transport/QDXmd5.h"

namespace qdx::testing {
namespace {

const std::string kImageURL = "https://api.qdx.example/qdx/images/close120.png";

std::shared_ptr<QDXImageDataInfo> entryOf(std::size_t bytes) {
  auto entry = std::make_shared<QDXImageDataInfo>();
  entry->imageData = std::string(bytes, 'x');
  return entry;
}

// RFC 1321 test suite, in uppercase hex; the text ends at its first zero
// byte, as a C string does.
TEST(Md5, Rfc1321VectorsUpToTheFirstZeroByte) {
  EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", QDXmd5::md5(""));
  EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", QDXmd5::md5("abc"));
  EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", QDXmd5::md5(std::string("abc\0def", 7)));
  EXPECT_EQ("F96B697D7CB7938D525A2F31AAF161D0", QDXmd5::md5("message digest"));
  EXPECT_EQ("57EDF4A22BE3C955AC49DA2E2107B67A",
            QDXmd5::md5("1234567890123456789012345678901234567890"
                        "1234567890123456789012345678901234567890"));
}

using ImageCacheDiskTest = LocalReportingTest;

TEST_F(ImageCacheDiskTest, ARestartReadsTheMd5NamedFileBackWithoutRewritingIt) {
  env_.setDataNetworkCode(0);  // whatever is served must come from disk
  QDXImageCache firstLaunch;
  const std::string path = firstLaunch.filePathForURL(kImageURL);
  EXPECT_EQ(path, env_.cachesDirectory() + "/ImageCache/" + QDXmd5::md5(kImageURL));
  std::ofstream(path, std::ios::binary) << "PNG bytes";
  const auto written = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::filesystem::last_write_time(path, written);

  QDXImageCache laterLaunch;
  EXPECT_EQ(laterLaunch.getImageFromString(kImageURL), "PNG bytes");
  EXPECT_EQ(std::filesystem::last_write_time(path), written) << "not written again";
  ASSERT_NE(laterLaunch.memoryEntry(kImageURL), nullptr) << "put back into memory";
  EXPECT_NEAR(laterLaunch.cacheSize(), 9 / 1024.0, 1e-6);
}

// A cached file that exists but cannot be read is a miss like no other:
// nothing is returned or kept, and the network is not asked either.
TEST_F(ImageCacheDiskTest, AnUnreadableCachedFileGivesNothingAndKeepsNothing) {
  QDXImageCache cache;
  const std::string path = cache.filePathForURL(kImageURL);
  std::ofstream(path, std::ios::binary) << "PNG bytes";
  FaultEnv faults;
  faults.failReadsOf(path);

  EXPECT_EQ(cache.getImageFromString(kImageURL), std::nullopt);
  EXPECT_EQ(faults.refusedReads(), 1);
  EXPECT_EQ(cache.memoryEntry(kImageURL), nullptr);
  EXPECT_EQ(cache.cacheSize(), 0.0f);
  EXPECT_TRUE(env_.logContains("加载" + kImageURL + "后没有得到数据"));
  EXPECT_TRUE(std::filesystem::exists(path)) << "left for a later launch";
}

using ImageCacheMemoryTest = LocalReportingTest;

TEST_F(ImageCacheMemoryTest, BelowTheLimitEntriesAreStampedAndCountedInKilobytes) {
  QDXImageCache cache;
  env_.setNow(100);
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(2048), "old"));
  EXPECT_FLOAT_EQ(cache.cacheSize(), 2.0f) << "kilobytes";
  EXPECT_EQ(cache.memoryEntry("old")->timeOfUseImage, 100);
  EXPECT_FALSE(cache.cleanOldMemoryCache(std::make_shared<QDXImageDataInfo>(), "no bytes"));
  env_.setNow(200);
  cache.cleanOldMemoryCache(entryOf(10), "newer");
  cache.setCacheSize(511.9f);
  env_.setNow(300);
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(2048), "big"));
  EXPECT_NEAR(cache.cacheSize(), 513.9, 1e-3);
  EXPECT_EQ(cache.memoryCacheKeys().size(), 3u) << "still added below 512";
}

TEST_F(ImageCacheMemoryTest, AtTheLimitOnlyTheEarlierTimeOfTheLastTwoKeysIsEvicted) {
  struct Case {
    const char* what;
    std::vector<std::pair<std::string, double>> inserted;  // (key, time) below the limit
    std::vector<std::string> left;                         // after "incoming" at time 400
  };
  const std::vector<Case> cases = {
      {"the older of two goes", {{"a", 100}, {"b", 200}}, {"b", "incoming"}},
      {"both go when their times are equal", {{"a", 100}, {"b", 100}}, {"incoming"}},
      {"not a search for the global oldest",
       {{"oldest", 100}, {"newest", 300}, {"middle", 200}},
       {"oldest", "newest", "incoming"}},
      {"with one key nothing goes, even one stamped now", {{"only", 400}}, {"only", "incoming"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    QDXImageCache cache;
    for (const auto& [key, time] : c.inserted) {
      env_.setNow(time);
      cache.cleanOldMemoryCache(entryOf(1), key);
    }
    cache.setCacheSize(512);
    env_.setNow(400);
    ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(1), "incoming"));
    EXPECT_EQ(cache.memoryCacheKeys(), c.left);
    EXPECT_EQ(cache.cacheSize(), 512.0f) << "never decreased, nor increased, at the limit";
  }
}

using ImageCacheNetworkTest = ServerReportingTest;

TEST_F(ImageCacheNetworkTest, AMissDownloadsOnceMemoryServesAfterwardsAndNothingLeavesNoFile) {
  QDXImageCache cache;
  const std::optional<std::string> downloaded = cache.getImageFromString(kImageURL);
  ASSERT_TRUE(downloaded.has_value());
  EXPECT_EQ(downloaded->substr(1, 3), "PNG");
  const std::string path = cache.filePathForURL(kImageURL);
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), *downloaded) << "as downloaded";
  EXPECT_EQ(server_.entriesFor("images/close120.png").size(), 1u);

  std::filesystem::remove(path);
  const std::size_t requestsBefore = server_.journal().size();
  EXPECT_EQ(cache.getImageFromString(kImageURL), downloaded);
  EXPECT_FALSE(std::filesystem::exists(path)) << "a memory hit does not touch the disk";
  EXPECT_EQ(server_.journal().size(), requestsBefore) << "nor the network";

  const std::string missing = "https://api.qdx.example/qdx/images/no-such-image.png";
  EXPECT_EQ(cache.getImageFromString(missing), std::nullopt);
  EXPECT_EQ(cache.getImageFromString(""), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(cache.filePathForURL(missing))) << "never reachable";
  EXPECT_EQ(cache.memoryCacheKeys(), std::vector<std::string>{kImageURL});
  EXPECT_TRUE(env_.logContains("加载" + missing + "后没有得到数据"));
}

TEST_F(ImageCacheNetworkTest, ADownloadWhoseFileCannotBeWrittenIsStillReturnedAndKept) {
  QDXImageCache cache;
  FaultEnv faults;
  faults.failWritesTo(cache.diskCachePath());
  const std::optional<std::string> downloaded = cache.getImageFromString(kImageURL);
  ASSERT_TRUE(downloaded.has_value());
  EXPECT_EQ(downloaded->substr(1, 3), "PNG");
  EXPECT_EQ(faults.refusedWrites(), 1);
  EXPECT_TRUE(std::filesystem::is_empty(cache.diskCachePath())) << "nothing half-written";
  EXPECT_EQ(cache.getImageFromString(kImageURL), downloaded) << "served from memory";
  EXPECT_EQ(server_.entriesFor("images/close120.png").size(), 1u);
}

using ImageCacheConcurrencyTest = LocalReportingTest;

// The structural proof that no lock is held across the network: while one
// thread's download is held open, another thread's memory hit completes.
TEST_F(ImageCacheConcurrencyTest, AMemoryHitCompletesWhileAnotherThreadsDownloadIsHeldOpen) {
  QDXImageCache cache;
  ASSERT_TRUE(cache.cleanOldMemoryCache(entryOf(3), "https://cdn.example/known.png"));
  HeldDownloads network;
  std::thread downloader([&] { cache.getImageFromString("https://cdn.example/stalled.png"); });
  network.awaitStarted(1);

  auto hit = std::async(std::launch::async,
                        [&] { return cache.getImageFromString("https://cdn.example/known.png"); });
  // The download is still held: the hit can only finish if nothing it
  // needs is held by the downloader. The bound only keeps a regression
  // from hanging the suite.
  const bool completed = hit.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  EXPECT_TRUE(completed) << "the memory hit waited for the stalled download";
  EXPECT_EQ(network.started(), 1);
  network.release();
  downloader.join();
  if (completed) {
    EXPECT_EQ(hit.get(), std::string(3, 'x'));
  }
  EXPECT_EQ(cache.getImageFromString("https://cdn.example/stalled.png"),
            "bytes of https://cdn.example/stalled.png");
}

// Lookups of one URL that is neither in memory nor on disk share a single
// download, and all of them get its bytes; its file is written once.
TEST_F(ImageCacheConcurrencyTest, ConcurrentLookupsOfOneMissingURLDownloadItOnce) {
  const std::string url = "https://cdn.example/popular.png";
  QDXImageCache cache;
  HeldDownloads network;
  std::vector<std::future<std::optional<std::string>>> lookups;
  lookups.push_back(std::async(std::launch::async, [&] { return cache.getImageFromString(url); }));
  network.awaitStarted(1);
  for (int i = 0; i < 4; ++i) {
    lookups.push_back(std::async(std::launch::async, [&] { return cache.getImageFromString(url); }));
  }
  network.release();
  for (auto& lookup : lookups) EXPECT_EQ(lookup.get(), "bytes of " + url);
  EXPECT_EQ(network.started(), 1);
  EXPECT_EQ(cache.memoryCacheKeys(), std::vector<std::string>{url});
  std::ifstream file(cache.filePathForURL(url), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "bytes of " + url);
}

// Two lookups of different URLs at once each write their own file.
TEST_F(ImageCacheConcurrencyTest, OverlappingLookupsWriteEachURLsBytesUnderItsOwnName) {
  QDXImageCache cache;
  HeldDownloads network;
  const std::string first = "https://cdn.example/first.png";
  const std::string second = "https://cdn.example/second.png";
  auto a = std::async(std::launch::async, [&] { return cache.getImageFromString(first); });
  auto b = std::async(std::launch::async, [&] { return cache.getImageFromString(second); });
  network.awaitStarted(2);  // both downloads run at once: neither holds a lock
  network.release();
  a.get();
  b.get();
  for (const std::string& url : {first, second}) {
    std::ifstream file(cache.filePathForURL(url), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "bytes of " + url);
  }
}

}  // namespace
}  // namespace qdx::testing

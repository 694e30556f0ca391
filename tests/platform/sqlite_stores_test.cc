#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/sqlite_key_value_store.h"
#include "platform/sqlite_secure_store.h"
#include "support/test_env.h"

namespace qdx {
namespace {

void writeFile(const std::string& path, const std::string& bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

// Puts raw text under key, bypassing the store's encoding.
void putRawValue(const std::string& databasePath, const std::string& key,
                 const std::string& text) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(databasePath.c_str(), &db), SQLITE_OK);
  std::string sql = "INSERT OR REPLACE INTO preferences(key, value) VALUES('" + key + "', '" +
                    text + "')";
  ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
}

TEST(SqliteKeyValueStoreTest, KeysAreSortedAndReopeningKeepsThem) {
  TestEnv env;
  std::string path = env.tempRoot() + "/prefs.sqlite";
  {
    SqliteKeyValueStore store(path);
    store.set("b", 1);
    store.set("a", "x");
    store.set("QDX_C", Json::object());
    EXPECT_EQ(store.keys(), (std::vector<std::string>{"QDX_C", "a", "b"}));
  }
  SqliteKeyValueStore reopened(path);
  EXPECT_EQ(reopened.keys(), (std::vector<std::string>{"QDX_C", "a", "b"}));
  EXPECT_EQ(reopened.get("QDX_C"), Json::object());
}

TEST(SqliteKeyValueStoreTest, UnusualKeysAndStringsRoundTrip) {
  TestEnv env;
  SqliteKeyValueStore store(env.tempRoot() + "/prefs.sqlite");
  const std::string keys[] = {"", "'; DROP TABLE preferences; --", "中文键", "a\nb"};
  for (const std::string& key : keys) {
    store.set(key, "v:" + key);
    EXPECT_EQ(store.get(key), "v:" + key) << key;
  }
  store.set("big", std::string(1 << 20, 'x'));
  EXPECT_EQ(store.get("big").get<std::string>().size(), std::size_t{1} << 20);
  // Invalid UTF-8 cannot be kept as text; it is saved mangled, never thrown.
  store.set("bytes", std::string("\xff\xfe", 2));
  EXPECT_TRUE(store.get("bytes").is_string());
}

TEST(SqliteKeyValueStoreTest, GarbageDatabaseIsReplacedWithOneLogLine) {
  TestEnv env;
  std::string path = SqliteKeyValueStore::databasePathForHome(env.homeDirectory());
  writeFile(path, std::string(8192, '\x5a'));
  EXPECT_TRUE(env.localStore().get("QDX_APP_ID").is_null());
  env.localStore().set("QDX_APP_ID", 5);
  EXPECT_EQ(env.localStore().get("QDX_APP_ID"), 5);
  EXPECT_EQ(env.logCount("damaged"), 1u);
  EXPECT_EQ(env.logLines().size(), 1u);
  EXPECT_TRUE(std::filesystem::exists(path + ".damaged"));
}

TEST(SqliteKeyValueStoreTest, UnparsableValueReadsAbsentAndIsLoggedOnce) {
  TestEnv env;
  std::string path = env.tempRoot() + "/prefs.sqlite";
  SqliteKeyValueStore store(path);
  store.set("good", 1);
  putRawValue(path, "bad", "{not json");
  EXPECT_TRUE(store.get("bad").is_null());
  EXPECT_TRUE(store.get("bad").is_null());
  EXPECT_EQ(env.logCount("bad"), 1u);
  EXPECT_EQ(store.get("good"), 1);
  store.set("bad", "fixed");
  EXPECT_EQ(store.get("bad"), "fixed");
}

TEST(SqliteKeyValueStoreTest, UnopenableLocationDegradesQuietly) {
  TestEnv env;
  // A regular file where the database's directory should be.
  writeFile(env.tempRoot() + "/blocker", "x");
  SqliteKeyValueStore store(env.tempRoot() + "/blocker/prefs.sqlite");
  store.set("k", 1);
  store.set("k", 2);
  EXPECT_TRUE(store.get("k").is_null());
  EXPECT_TRUE(store.keys().empty());
  store.remove("k");
  EXPECT_EQ(env.logCount("cannot open"), 1u) << "said once, not on every call";
  EXPECT_EQ(env.logLines().size(), 1u);
}

TEST(SqliteSecureStoreTest, AddRefusesDuplicatesAndRemoveReportsAbsence) {
  TestEnv env;
  SqliteSecureStore store(env.tempRoot() + "/kc/keychain.sqlite");
  EXPECT_TRUE(store.add("svc", "acct", "first"));
  EXPECT_FALSE(store.add("svc", "acct", "second"));
  EXPECT_EQ(store.copyMatching("svc", "acct"), "first");
  EXPECT_TRUE(store.add("svc", "other", "x")) << "the account is part of the key";
  EXPECT_EQ(store.copyMatching("svc", "nobody"), std::nullopt);
  EXPECT_TRUE(store.remove("svc", "acct"));
  EXPECT_FALSE(store.remove("svc", "acct"));
  EXPECT_EQ(store.items(), (std::vector<std::pair<std::string, std::string>>{{"svc", "other"}}));
}

TEST(SqliteSecureStoreTest, DataIsKeptByteForByteInAPrivateFile) {
  TestEnv env;
  std::string data("\0\x01\xff archive", 11);
  ASSERT_TRUE(env.keychain().add("n", "n", data));
  EXPECT_EQ(env.keychain().copyMatching("n", "n"), data);
  EXPECT_TRUE(env.keychain().add("empty", "empty", ""));
  EXPECT_EQ(env.keychain().copyMatching("empty", "empty"), "");

  struct stat info {};
  std::string path = SqliteSecureStore::databasePathInDirectory(env.keychainDirectory());
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST(SqliteSecureStoreTest, GarbageDatabaseIsReplacedWithOneLogLine) {
  TestEnv env;
  std::string path = SqliteSecureStore::databasePathInDirectory(env.keychainDirectory());
  writeFile(path, std::string("SQLite format 3\0", 16) + std::string(4096, '\x01'));
  EXPECT_EQ(env.keychain().copyMatching("QDX_Dev_ID", "QDX_Dev_ID"), std::nullopt);
  EXPECT_TRUE(env.keychain().add("QDX_Dev_ID", "QDX_Dev_ID", "d"));
  EXPECT_EQ(env.keychain().copyMatching("QDX_Dev_ID", "QDX_Dev_ID"), "d");
  EXPECT_EQ(env.logCount("damaged"), 1u);
}

}  // namespace
}  // namespace qdx

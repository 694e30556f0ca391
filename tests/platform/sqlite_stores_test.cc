#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/log_gate.h"
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

// Unusual keys and text round trip across reopening; a value the store did
// not write and cannot read counts as absent, said once, until overwritten.
TEST(SqliteStoresTest, ValuesRoundTripByteForByteAndUnreadableOnesReadAbsent) {
  TestEnv env;
  mydebug.store(true);  // what follows is checked by its diagnostics
  const std::string path = env.tempRoot() + "/prefs.sqlite";
  const std::string keys[] = {"", "'; DROP TABLE preferences; --", "中文键", "a\nb"};
  {
    SqliteKeyValueStore store(path);
    for (const std::string& key : keys) store.set(key, "v:" + key);
    // Invalid UTF-8 cannot be kept as text; it is saved mangled, never thrown.
    store.set("bytes", std::string("\xff\xfe", 2));
  }
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  sqlite3_exec(db, "INSERT INTO preferences VALUES('bad', '{not json')", nullptr, nullptr, nullptr);
  sqlite3_close(db);

  SqliteKeyValueStore reopened(path);
  for (const std::string& key : keys) EXPECT_EQ(reopened.get(key), "v:" + key) << key;
  EXPECT_TRUE(reopened.get("bytes").is_string());
  EXPECT_TRUE(reopened.get("bad").is_null());
  EXPECT_TRUE(reopened.get("bad").is_null());
  EXPECT_EQ(env.logCount("bad"), 1u);
  reopened.set("bad", "fixed");
  EXPECT_EQ(reopened.get("bad"), "fixed");

  // Keychain items are keyed by service and account: a second add is
  // refused, not merged; data is kept byte for byte, in a file only its
  // owner can read.
  SecureItemBackend& secure = env.keychain();
  const std::string data("\0\x01\xff archive", 11);
  EXPECT_TRUE(secure.add("svc", "acct", data));
  EXPECT_FALSE(secure.add("svc", "acct", "second"));
  EXPECT_EQ(secure.copyMatching("svc", "acct"), data);
  EXPECT_TRUE(secure.add("svc", "other", "")) << "the account is part of the key";
  EXPECT_EQ(secure.copyMatching("svc", "other"), "");
  EXPECT_EQ(secure.copyMatching("svc", "nobody"), std::nullopt);
  EXPECT_TRUE(secure.remove("svc", "acct"));
  EXPECT_FALSE(secure.remove("svc", "acct"));
  EXPECT_EQ(secure.items(), (std::vector<std::pair<std::string, std::string>>{{"svc", "other"}}));

  struct stat info {};
  const std::string vault = SqliteSecureStore::databasePathInDirectory(env.keychainDirectory());
  ASSERT_EQ(::stat(vault.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

mode_t modeOf(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? (info.st_mode & 0777) : 0;
}

// Both stores and their journals are for the owner alone, in folders only
// the owner may enter; what an older version left world-readable is
// tightened when it is opened.
TEST(SqliteStoresTest, StoreFilesAreOwnerOnlyAndTheirFoldersToo) {
  TestEnv env;
  const mode_t oldMask = ::umask(022);  // the usual: new files 0644, folders 0755
  const std::string prefs = SqliteKeyValueStore::databasePathForHome(env.homeDirectory());
  const std::string vault = SqliteSecureStore::databasePathInDirectory(env.keychainDirectory());
  {
    SqliteKeyValueStore store(prefs);
    store.set("QDX_APP_KEY", "secret");
    SqliteSecureStore keychain(vault);
    ASSERT_TRUE(keychain.add("QDX_Dev_ID", "QDX_Dev_ID", "device"));
    for (const std::string& db : {prefs, vault}) {
      SCOPED_TRACE(db);
      EXPECT_EQ(modeOf(db), 0600u);
      EXPECT_EQ(modeOf(db + "-wal"), 0600u) << "the journal holds the same secrets";
      EXPECT_EQ(modeOf(std::filesystem::path(db).parent_path()), 0700u);
    }
  }

  const std::string olderHome = env.tempRoot() + "/older";
  const std::string older = SqliteKeyValueStore::databasePathForHome(olderHome);
  std::filesystem::create_directories(std::filesystem::path(older).parent_path());
  writeFile(older, "");
  ::chmod(older.c_str(), 0644);
  ::chmod(std::filesystem::path(older).parent_path().c_str(), 0755);
  SqliteKeyValueStore reopened(older);
  reopened.set("k", "v");
  EXPECT_EQ(modeOf(older), 0600u);
  EXPECT_EQ(modeOf(std::filesystem::path(older).parent_path()), 0700u);
  ::umask(oldMask);
}

// A file that is no database (or a damaged one) is set aside and replaced,
// with one line each, and the store works on.
TEST(SqliteStoresTest, GarbageDatabasesAreReplacedAndUnopenableOnesDegradeQuietly) {
  TestEnv env;
  mydebug.store(true);  // what follows is checked by its diagnostics
  const std::string prefs = SqliteKeyValueStore::databasePathForHome(env.homeDirectory());
  writeFile(prefs, std::string(8192, '\x5a'));
  const std::string keychain = SqliteSecureStore::databasePathInDirectory(env.keychainDirectory());
  writeFile(keychain, std::string("SQLite format 3\0", 16) + std::string(4096, '\x01'));

  EXPECT_TRUE(env.localStore().get("QDX_APP_ID").is_null());
  env.localStore().set("QDX_APP_ID", 5);
  EXPECT_EQ(env.localStore().get("QDX_APP_ID"), 5);
  EXPECT_EQ(env.keychain().copyMatching("QDX_Dev_ID", "QDX_Dev_ID"), std::nullopt);
  EXPECT_TRUE(env.keychain().add("QDX_Dev_ID", "QDX_Dev_ID", "d"));
  EXPECT_EQ(env.keychain().copyMatching("QDX_Dev_ID", "QDX_Dev_ID"), "d");
  EXPECT_EQ(env.logCount("damaged"), 2u);
  EXPECT_EQ(env.logLines().size(), 2u);
  EXPECT_TRUE(std::filesystem::exists(prefs + ".damaged"));

  // A regular file where a database's directory should be: the store
  // degrades quietly.
  env.clearLog();
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

}  // namespace
}  // namespace qdx

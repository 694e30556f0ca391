#include "platform/sqlite_secure_store.h"

#include <sqlite3.h>

namespace qdx {

namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS items ("
    "  service TEXT NOT NULL,"
    "  account TEXT NOT NULL,"
    "  data BLOB NOT NULL,"
    "  PRIMARY KEY (service, account));";

}  // namespace

SqliteSecureStore::SqliteSecureStore(std::string databasePath)
    : database_(std::move(databasePath), kSchema, 0600, "keychain") {}

std::string SqliteSecureStore::databasePathInDirectory(const std::string& directory) {
  return directory + "/keychain.sqlite";
}

void SqliteSecureStore::reopenAt(std::string databasePath) {
  std::lock_guard<std::mutex> lock(mutex_);
  database_.reopenAt(std::move(databasePath));
}

bool SqliteSecureStore::add(const std::string& service, const std::string& account,
                            const std::string& data) {
  std::lock_guard<std::mutex> lock(mutex_);
  int rc = database_.run([&](sqlite3*) {
    SqliteStatement insert(database_, "INSERT INTO items(service, account, data) VALUES(?1, ?2, ?3)");
    insert.bind(1, service);
    insert.bind(2, account);
    insert.bind(3, data, /*asBlob=*/true);
    int stepped = insert.step();
    return stepped == SQLITE_DONE ? SQLITE_OK : stepped;
  });
  return rc == SQLITE_OK;
}

std::optional<std::string> SqliteSecureStore::copyMatching(const std::string& service,
                                                           const std::string& account) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::optional<std::string> result;
  database_.run([&](sqlite3*) {
    result.reset();
    SqliteStatement select(database_, "SELECT data FROM items WHERE service = ?1 AND account = ?2");
    select.bind(1, service);
    select.bind(2, account);
    int rc = select.step();
    if (rc == SQLITE_ROW) {
      result = select.column(0);
      return SQLITE_OK;
    }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
  });
  return result;
}

bool SqliteSecureStore::remove(const std::string& service, const std::string& account) {
  std::lock_guard<std::mutex> lock(mutex_);
  bool removed = false;
  database_.run([&](sqlite3* db) {
    SqliteStatement erase(database_, "DELETE FROM items WHERE service = ?1 AND account = ?2");
    erase.bind(1, service);
    erase.bind(2, account);
    int stepped = erase.step();
    removed = stepped == SQLITE_DONE && sqlite3_changes(db) > 0;
    return stepped == SQLITE_DONE ? SQLITE_OK : stepped;
  });
  return removed;
}

std::vector<std::pair<std::string, std::string>> SqliteSecureStore::items() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::pair<std::string, std::string>> result;
  database_.run([&](sqlite3*) {
    result.clear();
    SqliteStatement select(database_, "SELECT service, account FROM items ORDER BY service, account");
    int rc;
    while ((rc = select.step()) == SQLITE_ROW) {
      result.emplace_back(select.column(0), select.column(1));
    }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
  });
  return result;
}

}  // namespace qdx

#include "platform/sqlite_key_value_store.h"

#include <sqlite3.h>

#include "common/json_parse.h"

namespace qdx {

namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS preferences ("
    "  key TEXT PRIMARY KEY NOT NULL,"
    "  value TEXT NOT NULL);";

// Invalid UTF-8 in a string is replaced rather than refused: the store
// must never throw, and a property list holds text, not bytes.
std::string jsonText(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

SqliteKeyValueStore::SqliteKeyValueStore(std::string databasePath)
    : database_(std::move(databasePath), kSchema, 0600, "local store") {}

std::string SqliteKeyValueStore::databasePathForHome(const std::string& homeDirectory) {
  return homeDirectory + "/Library/Preferences/qdx.sqlite";
}

void SqliteKeyValueStore::reopenAt(std::string databasePath) {
  std::lock_guard<std::mutex> lock(mutex_);
  database_.reopenAt(std::move(databasePath));
  unreadableKeysLogged_.clear();
}

Json SqliteKeyValueStore::get(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string text;
  bool found = false;
  database_.run([&](sqlite3*) {
    found = false;
    SqliteStatement select(database_, "SELECT value FROM preferences WHERE key = ?1");
    select.bind(1, key);
    int rc = select.step();
    if (rc == SQLITE_ROW) {
      found = true;
      text = select.column(0);
      return SQLITE_OK;
    }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
  });
  if (!found) return nullptr;
  Json value = parseJson(text);
  if (value.is_discarded()) {
    if (unreadableKeysLogged_.insert(key).second) {
      SqliteDatabase::logLine("qdx: the local store's value for " + key +
                              " cannot be read; it counts as absent");
    }
    return nullptr;
  }
  return value;
}

void SqliteKeyValueStore::set(const std::string& key, const Json& value) {
  if (value.is_null()) {
    remove(key);
    return;
  }
  std::string text = jsonText(value);
  std::lock_guard<std::mutex> lock(mutex_);
  int rc = database_.run([&](sqlite3*) {
    SqliteStatement upsert(database_,
                           "INSERT INTO preferences(key, value) VALUES(?1, ?2) "
                           "ON CONFLICT(key) DO UPDATE SET value = excluded.value");
    upsert.bind(1, key);
    upsert.bind(2, text);
    int stepped = upsert.step();
    return stepped == SQLITE_DONE ? SQLITE_OK : stepped;
  });
  // A store that cannot be opened at all has said so once already.
  if (rc != SQLITE_OK && rc != SQLITE_CANTOPEN) {
    SqliteDatabase::logLine("qdx: the local store could not save " + key + ": " +
                            sqlite3_errstr(rc));
  }
  unreadableKeysLogged_.erase(key);
}

void SqliteKeyValueStore::remove(const std::string& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  database_.run([&](sqlite3*) {
    SqliteStatement erase(database_, "DELETE FROM preferences WHERE key = ?1");
    erase.bind(1, key);
    int stepped = erase.step();
    return stepped == SQLITE_DONE ? SQLITE_OK : stepped;
  });
  unreadableKeysLogged_.erase(key);
}

std::vector<std::string> SqliteKeyValueStore::keys() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> result;
  database_.run([&](sqlite3*) {
    result.clear();
    SqliteStatement select(database_, "SELECT key FROM preferences ORDER BY key");
    int rc;
    while ((rc = select.step()) == SQLITE_ROW) result.push_back(select.column(0));
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
  });
  return result;
}

}  // namespace qdx

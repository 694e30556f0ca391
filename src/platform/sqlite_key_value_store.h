#pragma once
// The POSIX user-defaults store: one SQLite database per app home, one row
// per key, the value kept as JSON text so that its kind (integer, float,
// boolean, string, array, dictionary) comes back as it went in.
#include <mutex>
#include <set>
#include <string>

#include "platform/sqlite_database.h"
#include "platform/store_backends.h"

namespace qdx {

class SqliteKeyValueStore : public KeyValueBackend {
 public:
  // The database file lives at databasePath; it is opened on first use.
  explicit SqliteKeyValueStore(std::string databasePath);

  // Where the store of the app whose home is homeDirectory lives.
  static std::string databasePathForHome(const std::string& homeDirectory);

  // Switches to another database file (another app home).
  void reopenAt(std::string databasePath);

  Json get(const std::string& key) override;
  void set(const std::string& key, const Json& value) override;
  void remove(const std::string& key) override;
  std::vector<std::string> keys() override;

 private:
  std::mutex mutex_;
  SqliteDatabase database_;
  // Keys whose stored text did not parse, so each is reported once.
  std::set<std::string> unreadableKeysLogged_;
};

}  // namespace qdx

#pragma once
// The POSIX keychain: generic-password items in a SQLite database of the
// user's own (mode 0600), kept outside every app home so that items outlive
// the app's data.
#include <mutex>
#include <string>

#include "platform/sqlite_database.h"
#include "platform/store_backends.h"

namespace qdx {

class SqliteSecureStore : public SecureItemBackend {
 public:
  // The database file lives at databasePath; it is opened on first use.
  explicit SqliteSecureStore(std::string databasePath);

  // Where the keychain database in directory lives.
  static std::string databasePathInDirectory(const std::string& directory);

  // Switches to another database file.
  void reopenAt(std::string databasePath);

  bool add(const std::string& service, const std::string& account,
           const std::string& data) override;
  std::optional<std::string> copyMatching(const std::string& service,
                                          const std::string& account) override;
  bool remove(const std::string& service, const std::string& account) override;
  std::vector<std::pair<std::string, std::string>> items() override;

 private:
  std::mutex mutex_;
  SqliteDatabase database_;
};

}  // namespace qdx

#pragma once
// One SQLite database file that opens itself on first use and recovers from
// damage: a file that is not a database (or is corrupt) is logged once,
// moved aside and replaced by a fresh, empty database. Not thread-safe on
// its own; each store serialises its calls with its own mutex.
#include <functional>
#include <map>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace qdx {

class SqliteDatabase {
 public:
  // path: the database file; schema: statements that create the tables
  // (idempotent, "CREATE TABLE IF NOT EXISTS ..."); fileMode: the
  // permissions of a newly created file; label: names the store in logs.
  SqliteDatabase(std::string path, std::string schema, int fileMode, std::string label);
  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  // Closes the current file; the next call opens path instead.
  void reopenAt(std::string path);
  const std::string& path() const { return path_; }

  // Runs op on an open connection and returns its SQLite result code. When
  // the database turns out to be damaged (the open or op reports
  // SQLITE_CORRUPT / SQLITE_NOTADB), the file is replaced and op runs once
  // more on the fresh database. Returns SQLITE_CANTOPEN when no connection
  // can be had at all.
  int run(const std::function<int(sqlite3*)>& op);

  // The statement for sql on the open connection, prepared on first use
  // and kept until the connection closes; nullptr when it cannot be
  // prepared (then *code tells why). Only valid inside run().
  sqlite3_stmt* cachedStatement(const char* sql, int* code);

  // Logs line through the platform log (for the stores' own diagnostics).
  static void logLine(const std::string& line);

 private:
  int open();
  void close();
  void replaceDamagedFile(const std::string& reason);

  std::string path_;
  std::string schema_;
  int fileMode_;
  std::string label_;
  sqlite3* db_ = nullptr;
  // Prepared statements by their SQL text (string literals of the stores).
  std::map<std::string, sqlite3_stmt*> statements_;
  // The process that opened db_: a forked child must not use its parent's
  // connection (nor close it), so it opens its own.
  int openerPid_ = 0;
  // A store that cannot be opened says so once, not on every call.
  bool openFailureLogged_ = false;
};

// A prepared statement that finalises itself.
class SqliteStatement {
 public:
  // Uses database's cached statement for sql (prepared on first use);
  // code() tells whether that worked. Only inside database.run().
  SqliteStatement(SqliteDatabase& database, const char* sql);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  int code() const { return code_; }
  // Binds text (or a blob when asBlob) to the 1-based parameter index.
  void bind(int index, const std::string& value, bool asBlob = false);
  // Steps once; returns SQLITE_ROW, SQLITE_DONE or an error code.
  int step();
  // Column index of the current row as bytes.
  std::string column(int index);

 private:
  sqlite3_stmt* stmt_ = nullptr;
  int code_;
};

// True for the result codes that mean "the file is not a usable database".
bool isDamagedDatabaseCode(int code);

}  // namespace qdx

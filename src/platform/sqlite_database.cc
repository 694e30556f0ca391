#include "platform/sqlite_database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "platform/env.h"
#include "platform/log_gate.h"

namespace qdx {

namespace {

// Busy waits cover a second process (a restarted host, the demo) holding
// the write lock for a moment.
constexpr int kBusyTimeoutMs = 5000;

// The mode of the folder a database lives in.
constexpr mode_t kFolderMode = 0700;

// WAL with synchronous=NORMAL: a committed transaction survives a killed
// process (only a power loss may drop the last ones), at a fraction of the
// cost of FULL.
constexpr const char* kPragmas =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=NORMAL;";

std::string errorText(sqlite3* db, int code) {
  if (db != nullptr) return sqlite3_errmsg(db);
  return sqlite3_errstr(code);
}

}  // namespace

bool isDamagedDatabaseCode(int code) {
  int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

SqliteDatabase::SqliteDatabase(std::string path, std::string schema, int fileMode,
                               std::string label)
    : path_(std::move(path)),
      schema_(std::move(schema)),
      fileMode_(fileMode),
      label_(std::move(label)) {}

SqliteDatabase::~SqliteDatabase() { close(); }

// A diagnostic, like every other of the SDK: written only while debugging.
void SqliteDatabase::logLine(const std::string& line) { debugLog(line); }

void SqliteDatabase::reopenAt(std::string path) {
  close();
  path_ = std::move(path);
}

void SqliteDatabase::close() {
  if (db_ != nullptr && openerPid_ != ::getpid()) {
    // Inherited through fork(): abandon it untouched, for closing it could
    // checkpoint or delete files the parent is still using.
    db_ = nullptr;
    statements_.clear();
    return;
  }
  for (auto& entry : statements_) sqlite3_finalize(entry.second);
  statements_.clear();
  if (db_ != nullptr) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
}

int SqliteDatabase::open() {
  if (db_ != nullptr && openerPid_ != ::getpid()) close();
  if (db_ != nullptr) return SQLITE_OK;
  std::error_code ec;
  std::filesystem::path file(path_);
  if (file.has_parent_path()) {
    // The store's folder is for the owner alone, like the file: others may
    // not even list what the app keeps (or tightened, when an older
    // version made it with the default mode).
    std::filesystem::create_directories(file.parent_path(), ec);
    ::chmod(file.parent_path().c_str(), kFolderMode);
  }
  // Create the file ourselves so that it gets our mode, not SQLite's 0644;
  // an existing one is brought to it too. SQLite gives its -wal and -shm
  // files the mode of the database; ones an older version left are
  // tightened here as well.
  int fd = ::open(path_.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, fileMode_);
  if (fd >= 0) {
    ::fchmod(fd, static_cast<mode_t>(fileMode_));
    ::close(fd);
  }
  for (const char* suffix : {"-wal", "-shm"}) {
    ::chmod((path_ + suffix).c_str(), static_cast<mode_t>(fileMode_));  // absent: nothing to do
  }
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                           nullptr);
  if (rc != SQLITE_OK) {
    if (!openFailureLogged_) {
      openFailureLogged_ = true;
      logLine("qdx: cannot open the " + label_ + " at " + path_ + ": " + errorText(db, rc));
    }
    sqlite3_close_v2(db);
    return rc;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  rc = sqlite3_exec(db, kPragmas, nullptr, nullptr, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_exec(db, schema_.c_str(), nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    if (!isDamagedDatabaseCode(rc) && !openFailureLogged_) {
      openFailureLogged_ = true;
      logLine("qdx: cannot prepare the " + label_ + " at " + path_ + ": " + errorText(db, rc));
    }
    sqlite3_close_v2(db);
    return rc;
  }
  db_ = db;
  openerPid_ = ::getpid();
  openFailureLogged_ = false;
  return SQLITE_OK;
}

void SqliteDatabase::replaceDamagedFile(const std::string& reason) {
  close();
  logLine("qdx: the " + label_ + " at " + path_ + " is damaged (" + reason +
          "); moved it aside and started a fresh one");
  std::string aside = path_ + ".damaged";
  if (std::rename(path_.c_str(), aside.c_str()) != 0) ::unlink(path_.c_str());
  ::unlink((path_ + "-wal").c_str());
  ::unlink((path_ + "-shm").c_str());
}

int SqliteDatabase::run(const std::function<int(sqlite3*)>& op) {
  int rc = open();
  if (isDamagedDatabaseCode(rc)) {
    replaceDamagedFile(sqlite3_errstr(rc));
    rc = open();
  }
  if (rc != SQLITE_OK) return isDamagedDatabaseCode(rc) ? rc : SQLITE_CANTOPEN;
  rc = op(db_);
  if (isDamagedDatabaseCode(rc)) {
    replaceDamagedFile(errorText(db_, rc));
    if (open() != SQLITE_OK) return SQLITE_CANTOPEN;
    rc = op(db_);
  }
  return rc;
}

}  // namespace qdx

namespace qdx {

sqlite3_stmt* SqliteDatabase::cachedStatement(const char* sql, int* code) {
  *code = SQLITE_OK;
  auto found = statements_.find(sql);
  if (found != statements_.end()) return found->second;
  if (db_ == nullptr) {
    *code = SQLITE_MISUSE;
    return nullptr;
  }
  sqlite3_stmt* stmt = nullptr;
  *code = sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr);
  if (*code != SQLITE_OK) {
    sqlite3_finalize(stmt);
    return nullptr;
  }
  statements_.emplace(sql, stmt);
  return stmt;
}

SqliteStatement::SqliteStatement(SqliteDatabase& database, const char* sql) : code_(SQLITE_OK) {
  stmt_ = database.cachedStatement(sql, &code_);
}

SqliteStatement::~SqliteStatement() {
  // The statement stays cached for the next call; leave it clean.
  if (stmt_ != nullptr) {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
}

void SqliteStatement::bind(int index, const std::string& value, bool asBlob) {
  if (code_ != SQLITE_OK) return;
  int rc = asBlob ? sqlite3_bind_blob(stmt_, index, value.data(),
                                      static_cast<int>(value.size()), SQLITE_TRANSIENT)
                  : sqlite3_bind_text(stmt_, index, value.data(),
                                      static_cast<int>(value.size()), SQLITE_TRANSIENT);
  if (rc != SQLITE_OK) code_ = rc;
}

int SqliteStatement::step() {
  if (code_ != SQLITE_OK) return code_;
  return sqlite3_step(stmt_);
}

std::string SqliteStatement::column(int index) {
  const void* bytes = sqlite3_column_blob(stmt_, index);
  int size = sqlite3_column_bytes(stmt_, index);
  if (bytes == nullptr || size <= 0) return std::string();
  return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

}  // namespace qdx

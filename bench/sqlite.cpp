#include "sqlite.h"

#include <stdexcept>

SqliteHandle OpenFile(const std::string& file, int flags) {
  sqlite3* db = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  SqliteHandle handle(db);
  if (code != SQLITE_OK) throw std::runtime_error("cannot open " + file);
  return handle;
}

SqliteHandle CreateFile(const std::string& file) {
  SqliteHandle db = OpenFile(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  ExecuteOn(
      db.get(),
      "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
  return db;
}

void BeginReading(sqlite3* db) {
  ExecuteOn(db, "PRAGMA wal_checkpoint(TRUNCATE); PRAGMA cache_size = -262144; BEGIN");
}

void ExecuteOn(sqlite3* db, const char* sql) {
  if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string(sql) + ": " + sqlite3_errmsg(db));
  }
}

SqliteStatement Prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    throw std::runtime_error(std::string(sql) + ": " + sqlite3_errmsg(db));
  }
  return SqliteStatement(statement);
}

void Run(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  if (sqlite3_reset(statement) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(sqlite3_db_handle(statement)));
  }
}

std::uint32_t Number(sqlite3_stmt* statement, int column) {
  return static_cast<std::uint32_t>(sqlite3_column_int64(statement, column));
}

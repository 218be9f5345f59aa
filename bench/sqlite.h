// The little of SQLite that the bare programs need. Everything here throws std::runtime_error.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>

struct SqliteCloser {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteHandle = std::unique_ptr<sqlite3, SqliteCloser>;
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteCloser>;

SqliteHandle OpenFile(const std::string& file, int flags);
// A new file, as durable as the library's: a log, flushed by every commit.
SqliteHandle CreateFile(const std::string& file);
// Everything in memory and within one transaction from here on.
void BeginReading(sqlite3* db);
void ExecuteOn(sqlite3* db, const char* sql);
SqliteStatement Prepare(sqlite3* db, const char* sql);
// Takes one step, of a statement that gives no row.
void Run(sqlite3_stmt* statement);
std::uint32_t Number(sqlite3_stmt* statement, int column);

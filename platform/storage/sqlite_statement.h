// Thin owners of the handles of the embedded SQL engine.
#pragma once

#include "platform/storage/engine.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string_view>

namespace ncc {

// A StorageError that remembers the engine's own code.
class SqliteError : public StorageError {
 public:
  SqliteError(sqlite3* db, int code);
  int Code() const { return code_; }
  // The disk, or the share of it that its owner may use.
  bool IsFull() const { return is_full_; }

 private:
  int code_;
  bool is_full_;
};

struct CloseDatabase {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, CloseDatabase>;

// Opens `file` with the given flags, which the engine's own defaults complete.
DatabaseHandle OpenDatabase(const char* file, int flags);

// Sets one of the engine's switches.
void Configure(sqlite3* db, int option, int value);

// What a file from elsewhere says must not make the engine do anything but read and write rows.
void DistrustContents(sqlite3* db);

// Runs statements that give no rows. The text is constant: values are bound, never pasted.
void Execute(sqlite3* db, const char* sql);

// A prepared statement, to be run any number of times. Text given to Bind must live until Run or
// Reset.
class Statement {
 public:
  Statement(sqlite3* db, std::string_view sql);

  Statement& Bind(int parameter, std::int64_t value);
  Statement& BindText(int parameter, std::string_view text);
  Statement& BindBlob(int parameter, std::string_view bytes);

  // True when there is a row to look at.
  bool Step();
  // To the end, and ready for the next run.
  void Run();
  void Reset() { sqlite3_reset(handle_.get()); }

  std::int64_t Integer(int column) const { return sqlite3_column_int64(handle_.get(), column); }
  // Text or blob; lives until the next step.
  std::string_view Bytes(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  void Check(int code) const;

  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

}  // namespace ncc

// Thin owners of the handles of the embedded SQL engine.
#pragma once

#include "platform/storage/engine.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ncc {

// One connection to the embedded SQL engine.
class Connection {
 public:
  // Opens `file` with the given flags, which the engine's own defaults complete. Messages call it
  // `name`.
  Connection(const char* file, int flags, std::string name);

  sqlite3* Handle() const { return handle_.get(); }
  const std::string& Name() const { return name_; }

  // Sets one of the engine's switches.
  void Configure(int option, int value) const;
  // What a file from elsewhere says must not make the engine do anything but read and write rows.
  void DistrustContents() const;
  // Runs statements that give no rows. The text is constant: values are bound, never pasted.
  void Execute(const char* sql) const;

 private:
  struct Close {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
  };

  std::string name_;
  std::unique_ptr<sqlite3, Close> handle_;
};

// A StorageError that remembers the engine's own code.
class SqliteError : public StorageError {
 public:
  SqliteError(const Connection& db, int code);
  int Code() const { return code_; }
  // The disk, or the share of it that its owner may use.
  bool IsFull() const { return is_full_; }

 private:
  int code_;
  bool is_full_;
};

// A prepared statement of a connection that outlives it, to be run any number of times. Text given
// to Bind must live until Run or Reset.
class Statement {
 public:
  Statement(const Connection& db, std::string_view sql);

  Statement& Bind(int parameter, std::int64_t value);
  Statement& BindText(int parameter, std::string_view text);
  Statement& BindBlob(int parameter, std::string_view bytes);
  Statement& BindNull(int parameter);

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

  const Connection& db_;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

}  // namespace ncc

#include "platform/storage/sqlite_statement.h"

#include "platform/storage/database_files.h"

#include <cerrno>
#include <utility>

namespace ncc {
namespace {

int LastErrno(sqlite3_file* file) {
  int error = 0;
  if (file == nullptr || file->pMethods == nullptr) return 0;
  return file->pMethods->xFileControl(file, SQLITE_FCNTL_LAST_ERRNO, &error) == SQLITE_OK ? error
                                                                                          : 0;
}

// The error of the system behind the last failure. The connection does not hear of all of them:
// those of a commit stay with the file that they befell.
int SystemError(sqlite3* db) {
  if (const int error = sqlite3_system_errno(db); error != 0) return error;
  for (const int which : {SQLITE_FCNTL_JOURNAL_POINTER, SQLITE_FCNTL_FILE_POINTER}) {
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(db, "main", which, &file) != SQLITE_OK) continue;
    if (const int error = LastErrno(file); error != 0) return error;
  }
  return EIO;
}

std::string Explain(const Connection& connection, int code) {
  sqlite3* const db = connection.Handle();
  const std::string& file = connection.Name();
  switch (code & 0xFF) {
    case SQLITE_FULL:
      return "the disk is full";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "database is in use by another process";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "database is damaged: " + file + ": " + sqlite3_errmsg(db);
    case SQLITE_READONLY:
      return "cannot write " + file + ": the file or its folder is read-only";
    case SQLITE_NOMEM:
      return "there is not enough memory";
    case SQLITE_CANTOPEN:
      return DescribeFailure("cannot open or create the files of", file, SystemError(db));
    case SQLITE_IOERR:
      if (code == SQLITE_IOERR_FSYNC || code == SQLITE_IOERR_DIR_FSYNC) {
        return DescribeFailure("cannot flush to storage", file, SystemError(db));
      }
      return DescribeFailure("cannot read or write", file, SystemError(db));
    default:
      return "storage failed in " + file + ": " + sqlite3_errmsg(db);
  }
}

bool TellsOfFullDisk(sqlite3* db, int code) {
  if ((code & 0xFF) == SQLITE_FULL) return true;
  if ((code & 0xFF) != SQLITE_IOERR || db == nullptr) return false;
  const int error = SystemError(db);
  return error == ENOSPC || error == EDQUOT;
}

}  // namespace

SqliteError::SqliteError(const Connection& db, int code)
    : StorageError(Explain(db, code),
                   (code & 0xFF) == SQLITE_BUSY ? NCCFailure::kInUse : NCCFailure::kOther),
      code_(code),
      is_full_(TellsOfFullDisk(db.Handle(), code)) {}

Connection::Connection(const char* file, int flags, std::string name) : name_(std::move(name)) {
  sqlite3* raw = nullptr;
  const int code =
      sqlite3_open_v2(file, &raw, flags | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(raw);
  if (code != SQLITE_OK) throw SqliteError(*this, code);
}

void Connection::Configure(int option, int value) const {
  const int code = sqlite3_db_config(Handle(), option, value, nullptr);
  if (code != SQLITE_OK) throw SqliteError(*this, code);
}

void Connection::DistrustContents() const {
  Configure(SQLITE_DBCONFIG_DEFENSIVE, 1);
  Configure(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0);
  Configure(SQLITE_DBCONFIG_ENABLE_TRIGGER, 0);
  Configure(SQLITE_DBCONFIG_ENABLE_VIEW, 0);
}

void Connection::Execute(const char* sql) const {
  const int code = sqlite3_exec(Handle(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throw SqliteError(*this, code);
}

Statement::Statement(const Connection& db, std::string_view sql) : db_(db) {
  sqlite3_stmt* raw = nullptr;
  const int code = sqlite3_prepare_v3(db.Handle(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
  handle_.reset(raw);
  if (code != SQLITE_OK) throw SqliteError(db, code);
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK) throw SqliteError(db_, code);
}

Statement& Statement::Bind(int parameter, std::int64_t value) {
  Check(sqlite3_bind_int64(handle_.get(), parameter, value));
  return *this;
}

Statement& Statement::BindText(int parameter, std::string_view text) {
  Check(sqlite3_bind_text64(handle_.get(), parameter, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8));
  return *this;
}

Statement& Statement::BindBlob(int parameter, std::string_view bytes) {
  Check(sqlite3_bind_blob64(handle_.get(), parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
  return *this;
}

Statement& Statement::BindNull(int parameter) {
  Check(sqlite3_bind_null(handle_.get(), parameter));
  return *this;
}

bool Statement::Step() {
  const int code = sqlite3_step(handle_.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) Check(code);
  return false;
}

void Statement::Run() {
  while (Step()) {
  }
  Reset();
}

std::string_view Statement::Bytes(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(handle_.get(), column));
  if (bytes == nullptr) return {};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column))};
}

}  // namespace ncc

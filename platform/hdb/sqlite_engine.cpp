#include "platform/hdb/sqlite_engine.h"

#include "platform/file_lock.h"
#include "platform/hdb/database_files.h"
#include "platform/hdb/sqlite_session.h"

#include <unistd.h>

#include <system_error>
#include <utility>

namespace ncc {
namespace {

FileLock Acquire(const std::string& file) {
  try {
    if (auto lock = FileLock::TryAcquire(file)) return std::move(*lock);
  } catch (const std::system_error& error) {
    throw StorageError(DescribeFailure("cannot open or create", file, error.code().value()));
  }
  throw StorageError("database is in use by another process");
}

[[noreturn]] void RefuseMissing(const DatabaseFiles& files, const std::string& why) {
  throw StorageError("there is no database " + files.data + why);
}

// A database comes into being under another name, so that its file is whole whenever it is there.
void MakeDatabase(const DatabaseFiles& files) {
  // What a file that was lost left behind would be taken for changes of the new one.
  RemoveFile(files.log);
  RemoveFile(files.journal);
  WriteWholeFile(files.data, MakeEmptyDataFile());
}

class SqliteEngine final : public StorageEngine {
 public:
  SqliteEngine(DatabaseFiles files, FileLock lock, OpenMode mode)
      : files_(std::move(files)), lock_(std::move(lock)), pid_(::getpid()) {
    const bool ours = InspectDataFile(files_.data) == DataFileState::kOurs;
    if (!ours && mode == OpenMode::kOpen) RefuseMissing(files_, "");
    if (!ours) MakeDatabase(files_);
    session_ = std::make_unique<Session>(files_);
    const bool committed = session_->Revision() != 0;
    if (committed && mode == OpenMode::kCreate) {
      throw StorageError("a database of that name exists; open it or remove " + files_.data);
    }
    if (!committed && mode == OpenMode::kOpen) RefuseMissing(files_, ": it was never completed");
  }

  ~SqliteEngine() override {
    // A forked child must not close what its parent goes on using.
    if (::getpid() != pid_) static_cast<void>(session_.release());
  }

  StoredState Load(const std::function<void(Row&&)>& row) override {
    CheckProcess();
    if (!session_) Recover();
    return session_->Load(row);
  }

  void Commit(const ChangeSet& changes) override {
    CheckUsable();
    try {
      session_->Commit(changes);
    } catch (const SqliteError& error) {
      log_suspect_ = log_suspect_ || error.Code() == SQLITE_IOERR_FSYNC ||
                     error.Code() == SQLITE_IOERR_DIR_FSYNC;
      session_.reset();
      throw;
    } catch (...) {
      session_.reset();
      throw;
    }
  }

  void CopyTo(const std::string& file) override {
    CheckUsable();
    CheckCopyTarget(files_, file);
    PendingFile copy(file);
    session_->CopyTo(copy.Name());
    copy.Publish();
  }

 private:
  void CheckProcess() const {
    if (::getpid() == pid_) return;
    throw StorageError("the database was opened by the parent of this process: open it again");
  }

  void CheckUsable() const {
    CheckProcess();
    if (!session_) throw StorageError("storage has failed and was not loaded again");
  }

  void Recover() {
    // After a failed flush the system may hold parts of the log that never reached storage and
    // believe them stored; only writing them anew makes what is read next true after a power cut.
    if (log_suspect_ && FileExists(files_.log)) RewriteFile(files_.log);
    log_suspect_ = false;
    if (InspectDataFile(files_.data) != DataFileState::kOurs) {
      RefuseMissing(files_, " any more: its file was removed or emptied");
    }
    session_ = std::make_unique<Session>(files_);
  }

  const DatabaseFiles files_;
  const FileLock lock_;
  const pid_t pid_;
  bool log_suspect_ = false;          // a flush of the log has failed
  std::unique_ptr<Session> session_;  // null after a failed commit
};

}  // namespace

std::unique_ptr<StorageEngine> OpenSqliteEngine(const std::string& base, OpenMode mode) {
  DatabaseFiles files = LocateDatabase(base, mode);
  // Before the lock, so that looking for a database that is not there leaves nothing.
  if (mode == OpenMode::kOpen && !FileExists(files.data)) RefuseMissing(files, "");
  FileLock lock = Acquire(files.lock);
  return std::make_unique<SqliteEngine>(std::move(files), std::move(lock), mode);
}

}  // namespace ncc

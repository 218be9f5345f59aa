#include "platform/storage/sqlite_engine.h"

#include "platform/storage/database_files.h"
#include "platform/storage/log_file.h"
#include "platform/storage/loss.h"
#include "platform/storage/owner_lock.h"
#include "platform/storage/restore.h"
#include "platform/storage/snapshot.h"
#include "platform/storage/sqlite_session.h"

#include <unistd.h>

#include <optional>
#include <utility>

namespace ncc {
namespace {

[[noreturn]] void RefuseMissing(const DatabaseFiles& files, const std::string& why) {
  throw StorageError("there is no database " + files.data + why, NCCFailure::kMissing);
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
  SqliteEngine(DatabaseFiles files, const OpenRequest& request)
      : files_(std::move(files)), lock_(files_.lock), pid_(::getpid()) {
    ClearAfterRestoration(files_);
    const bool ours = InspectDataFile(files_.data) == DataFileState::kOurs;
    if (!ours && request.mode == OpenMode::kOpen) RefuseMissing(files_, "");
    if (!ours) {
      MakeDatabase(files_);
      lock_.Acknowledge({});
    }
    file_ = IdOf(files_.data);
    const LogFile log(files_.log);
    session_ = std::make_unique<Session>(files_, fills_log_);
    const MetaRow meta = session_->Meta();
    stored_ = meta.state;
    if (stored_.revision != 0 && request.mode == OpenMode::kCreate) {
      throw StorageError("a database of that name exists; open it or remove " + files_.data);
    }
    if (stored_.revision == 0 && request.mode == OpenMode::kOpen) {
      RefuseMissing(files_, ": it was never completed");
    }
    if (ours) {
      const std::string loss = FindLoss(files_, log, meta, lock_.Left());
      if (!loss.empty() && !request.accepts_loss) {
        throw StorageError(loss, NCCFailure::kLossPossible);
      }
      accepted_loss_ = !loss.empty();
    }
    lock_.Keep();
  }

  ~SqliteEngine() override {
    // A forked child must not close what its parent goes on using.
    if (::getpid() != pid_) {
      static_cast<void>(session_.release());
      return;
    }
    session_.reset();
    if (IdOf(files_.log) == FileId{}) lock_.Close();
  }

  StoredState Load(const std::function<void(const RowView&)>& row) override {
    CheckProcess();
    if (!session_) Recover();
    stored_ = session_->Load(row);
    if (std::exchange(accepted_loss_, false)) {
      BeginLogAnew();
      Acknowledge();
    }
    return stored_;
  }

  StoredState Commit(const ChangeSet& changes) override {
    CheckUsable();
    CheckFile();
    attempted_.reset();
    try {
      session_->Commit(changes, attempted_);
    } catch (const SqliteError& error) {
      log_suspect_ = log_suspect_ || error.Code() == SQLITE_IOERR_FSYNC ||
                     error.Code() == SQLITE_IOERR_DIR_FSYNC;
      session_.reset();
      if (!error.IsFull() || !CommitInItsRoom(changes)) throw;
    } catch (...) {
      session_.reset();
      throw;
    }
    stored_ = *attempted_;
    Acknowledge();
    return stored_;
  }

  // The rows are checked again, since a disk that fails to write may have more to hide.
  StoredState Settle() override {
    CheckProcess();
    if (session_) return stored_;
    try {
      return Load([](const RowView&) {});
    } catch (...) {
      session_.reset();
      throw;
    }
  }

  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit) override {
    CheckUsable();
    session_->ReadHistory(from, to, visit);
  }

  std::uint64_t FirstSince(std::int64_t time) override {
    CheckUsable();
    return session_->FirstSince(time);
  }

  std::optional<std::string> Owner() override { return DescribeHolder(files_.lock); }

 private:
  void CheckProcess() const {
    if (::getpid() == pid_) return;
    throw StorageError("the database was opened by the parent of this process: open it again");
  }

  void CheckUsable() const {
    CheckProcess();
    if (!session_) throw StorageError("storage has failed and was not loaded again");
  }

  // What is open can still be read and copied then, but nobody would find what is put there.
  void CheckFile() const {
    if (IdOf(files_.data) == file_) return;
    throw StorageError(files_.data +
                       " was removed or replaced while it was open: changes are refused; a backup "
                       "saves what was stored until then");
  }

  void Acknowledge() { lock_.Acknowledge({file_.inode, stored_.revision, stored_.unit}); }

  // Opens the very file again, and finds in it what was stored before the last commit or by it.
  void Recover() {
    // After a failed flush the system may hold parts of the log that never reached storage and
    // believe them stored; only writing them anew makes what is read next true after a power cut.
    if (log_suspect_ && FileExists(files_.log)) {
      WriteWholeFile(files_.log, ReadContents(files_.log));
    }
    log_suspect_ = false;
    CheckFile();
    auto session = std::make_unique<Session>(files_, fills_log_);
    const StoredState found = session->Meta().state;
    if (found != stored_ && attempted_ != found) {
      throw StorageError(files_.data + " holds what another program has put there");
    }
    stored_ = found;
    session_ = std::move(session);
  }

  // A clean close brings all commits into the data file and removes the log.
  void BeginLogAnew() {
    session_->TrustRows();
    session_.reset();
    Recover();
  }

  // The log gives back what it holds beyond its commits, and then all of it.
  bool CommitInItsRoom(const ChangeSet& changes) {
    fills_log_ = false;
    try {
      const LogFile log(files_.log);
      if (!log.IsEmpty() && !log.HasGap()) CutFile(files_.log, log.SizeOfCommits());
      Recover();
      if (attempted_ == stored_) return true;
      session_->MoveLogToData();
      BeginLogAnew();
      session_->Commit(changes, attempted_);
      return true;
    } catch (const StorageError&) {
      session_.reset();
      return false;
    }
  }

  const DatabaseFiles files_;
  OwnerLock lock_;
  const pid_t pid_;
  FileId file_;
  StoredState stored_;
  std::optional<StoredState> attempted_;  // by the last commit, where it came so far
  bool accepted_loss_ = false;
  bool fills_log_ = true;             // off once the disk was full
  bool log_suspect_ = false;          // a flush of the log has failed
  std::unique_ptr<Session> session_;  // null after a failed commit
};

}  // namespace

std::unique_ptr<StorageEngine> OpenSqliteEngine(const std::string& base,
                                                const OpenRequest& request) {
  DatabaseFiles files = LocateDatabase(base, request.mode);
  // Before the lock, so that looking for a database that is not there leaves nothing.
  if (request.mode != OpenMode::kCreate && !FileExists(files.data)) RefuseMissing(files, "");
  if (request.mode == OpenMode::kFollow) {
    throw StorageError("the database " + base +
                       " is a file of this machine: only one in a cluster can be followed");
  }
  if (request.mode == OpenMode::kSnapshot) {
    return OpenSnapshot(std::move(files), request.accepts_loss);
  }
  return std::make_unique<SqliteEngine>(std::move(files), request);
}

}  // namespace ncc

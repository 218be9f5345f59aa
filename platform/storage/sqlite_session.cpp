#include "platform/storage/sqlite_session.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <utility>

namespace ncc {
namespace {

// Commits overwrite a log of this size in place. It must take a little more than kCheckpointPages
// pages with their frame heads, after which it starts anew.
constexpr sqlite3_int64 kLogSize = 4 << 20;
constexpr const char* kCheckpointPages = "PRAGMA wal_autocheckpoint = 1000";

// Sets the journal mode of the data file and says what it is then.
std::string ChangeJournalMode(sqlite3* db) {
  Statement mode(db, "PRAGMA journal_mode = WAL");
  mode.Step();
  return std::string(mode.Bytes(0));
}

}  // namespace

Session::EmptyLogRemover::EmptyLogRemover(std::string log)
    : log_(std::move(log)), existed_(FileExists(log_)) {}

Session::EmptyLogRemover::~EmptyLogRemover() {
  struct stat info {};
  if (existed_ || ::lstat(log_.c_str(), &info) != 0 || info.st_size != 0) return;
  ::unlink(log_.c_str());
}

Session::Session(const DatabaseFiles& files, bool fills_log)
    : folder_(files.folder),
      fills_log_(fills_log),
      remover_(files.log),
      db_(OpenDatabase(files.data.c_str(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW)) {
  if (sqlite3_db_readonly(db_.get(), "main") != 0) throw SqliteError(db_.get(), SQLITE_READONLY);
  SetUp();
  CheckStructure(db_.get());
  writer_.emplace(db_.get());
}

// The mark goes before the log does: a log that is missing while the mark is there was lost.
Session::~Session() {
  if (!closing_finishes_) return;
  try {
    MarkClosed(db_.get());
  } catch (const std::exception&) {
    sqlite3_db_config(db_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
}

void Session::SetUp() {
  sqlite3* db = db_.get();
  Configure(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1);
  DistrustContents(db);
  // Copying attaches its target.
  sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 1);
  // Before the first access, so that the index of the log lives in memory and needs no file.
  Execute(db, "PRAGMA locking_mode = EXCLUSIVE");
  // Exclusive mode locks nothing until it is used.
  Execute(db, "BEGIN EXCLUSIVE; COMMIT");
  Execute(db, "PRAGMA synchronous = FULL");
  Execute(db, "PRAGMA cell_size_check = ON");
  Execute(db, "PRAGMA mmap_size = 0");
  Execute(db, "PRAGMA temp_store = MEMORY");
  Execute(db, kCheckpointPages);
}

// Each change of the setting costs all prepared statements.
void Session::LetClosingFinish(bool finish) {
  if (finish == closing_finishes_) return;
  closing_finishes_ = finish;
  Configure(db_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, finish ? 0 : 1);
}

StoredState Session::Load(const std::function<void(Row&&)>& row) {
  const StoredState state = ReadRows(db_.get(), row);
  LetClosingFinish(true);
  return state;
}

void Session::PrepareLog() {
  // A file that an administrator has converted or restored may be in another mode.
  if (ChangeJournalMode(db_.get()) != "wal") {
    throw StorageError(std::string("cannot keep a log beside ") +
                       sqlite3_db_filename(db_.get(), "main"));
  }
  if (fills_log_ && HasAmpleRoom(folder_, kLogSize)) FillLog();
}

// Only saves time, and only of a log that holds nothing yet.
void Session::FillLog() {
  sqlite3_file* log = nullptr;
  sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  if (log == nullptr || log->pMethods == nullptr) return;
  sqlite3_int64 size = 0;
  if (log->pMethods->xFileSize(log, &size) != SQLITE_OK || size != 0) return;
  static constexpr std::array<char, 1 << 16> kZeros{};
  constexpr int kPart = kZeros.size();
  for (; size < kLogSize; size += kPart) {
    if (log->pMethods->xWrite(log, kZeros.data(), kPart, size) == SQLITE_OK) continue;
    // Changes need the room more than zeros do.
    const int code = log->pMethods->xTruncate(log, 0);
    if (code != SQLITE_OK) throw SqliteError(db_.get(), code);
    return;
  }
  const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
  if (code != SQLITE_OK) throw SqliteError(db_.get(), code);
}

bool Session::MoveLogToData() {
  int frames = 0;
  int moved = 0;
  return sqlite3_wal_checkpoint_v2(db_.get(), "main", SQLITE_CHECKPOINT_PASSIVE, &frames, &moved) ==
             SQLITE_OK &&
         frames == moved;
}

void Session::Commit(const ChangeSet& changes) {
  try {
    if (!log_ready_) PrepareLog();
    log_ready_ = true;
    writer_->Commit(changes);
    // Without room in the data file the mark has to wait for a later commit.
    if (!marked_) marked_ = MoveLogToData();
    LetClosingFinish(true);
  } catch (...) {
    LetClosingFinish(false);
    throw;
  }
}

void Session::CopyTo(const std::string& file) {
  const StoredState state = Meta().state;
  Statement(db_.get(), "VACUUM INTO ?1").BindText(1, file).Run();
  const DatabaseHandle copy = OpenCopyAndMarkClosed(file);
  CheckStructure(copy.get());
  if (ReadRows(copy.get(), [](Row&&) {}) != state) {
    throw StorageError("the copy is of another revision");
  }
}

}  // namespace ncc

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
constexpr std::size_t kManyRows = 1000;
constexpr const char* kCheckpointPages = "PRAGMA wal_autocheckpoint = 1000";

// Sets the journal mode of the data file and says what it is then.
std::string ChangeJournalMode(const Connection& db) {
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
      db_(files.data.c_str(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, files.data) {
  if (sqlite3_db_readonly(db_.Handle(), "main") != 0) throw SqliteError(db_, SQLITE_READONLY);
  SetUp();
  CheckStructure(db_);
  writer_.emplace(db_);
}

// The mark goes before the log does: a log that is missing while the mark is there was lost.
Session::~Session() {
  if (!closing_finishes_) return;
  try {
    MarkClosed(db_);
  } catch (const std::exception&) {
    sqlite3_db_config(db_.Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
}

void Session::SetUp() {
  db_.Configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1);
  db_.DistrustContents();
  sqlite3_limit(db_.Handle(), SQLITE_LIMIT_ATTACHED, 0);
  // Before the first access, so that the index of the log lives in memory and needs no file.
  db_.Execute("PRAGMA locking_mode = EXCLUSIVE");
  // Exclusive mode locks nothing until it is used.
  db_.Execute("BEGIN EXCLUSIVE; COMMIT");
  db_.Execute("PRAGMA synchronous = FULL");
  db_.Execute("PRAGMA cell_size_check = ON");
  db_.Execute("PRAGMA mmap_size = 0");
  db_.Execute("PRAGMA temp_store = MEMORY");
  db_.Execute(kCheckpointPages);
}

// Each change of the setting costs all prepared statements.
void Session::LetClosingFinish(bool finish) {
  if (finish == closing_finishes_) return;
  closing_finishes_ = finish;
  db_.Configure(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, finish ? 0 : 1);
}

StoredState Session::Load(const std::function<void(const RowView&)>& row) {
  const StoredState state = ReadRows(db_, row);
  LetClosingFinish(true);
  FreePages();
  return state;
}

void Session::ReadHistory(std::uint64_t from, std::uint64_t to,
                          const std::function<bool(HistoryEntry&&)>& visit) {
  const StoredState state = Meta().state;
  ReadHistoryRows(db_, state.history, state.revision, from, to, visit);
}

std::uint64_t Session::FirstSince(std::int64_t time) {
  return FirstHistoryRowSince(db_, time, Meta().state.revision);
}

// Who owns the session has all rows in memory: pages that were read or written together are hardly
// wanted again.
void Session::FreePages() { sqlite3_db_release_memory(db_.Handle()); }

void Session::PrepareLog() {
  // A file that an administrator has converted or restored may be in another mode.
  if (ChangeJournalMode(db_) != "wal") {
    throw StorageError("cannot keep a log beside " + db_.Name());
  }
  if (fills_log_ && HasAmpleRoom(folder_, kLogSize)) FillLog();
}

// Only saves time, and only of a log that holds nothing yet.
void Session::FillLog() {
  sqlite3_file* log = nullptr;
  sqlite3_file_control(db_.Handle(), "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  if (log == nullptr || log->pMethods == nullptr) return;
  sqlite3_int64 size = 0;
  if (log->pMethods->xFileSize(log, &size) != SQLITE_OK || size != 0) return;
  static constexpr std::array<char, 1 << 16> kZeros{};
  constexpr int kPart = kZeros.size();
  for (; size < kLogSize; size += kPart) {
    if (log->pMethods->xWrite(log, kZeros.data(), kPart, size) == SQLITE_OK) continue;
    // Changes need the room more than zeros do.
    const int code = log->pMethods->xTruncate(log, 0);
    if (code != SQLITE_OK) throw SqliteError(db_, code);
    return;
  }
  const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
  if (code != SQLITE_OK) throw SqliteError(db_, code);
}

bool Session::MoveLogToData() {
  int frames = 0;
  int moved = 0;
  return sqlite3_wal_checkpoint_v2(db_.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, &frames,
                                   &moved) == SQLITE_OK &&
         frames == moved;
}

void Session::Commit(const ChangeSet& changes, std::optional<StoredState>& attempted) {
  try {
    if (!log_ready_) PrepareLog();
    log_ready_ = true;
    writer_->Begin();
    std::size_t rows = 0;
    attempted = changes.ForEach([&](const RowChange& change) {
      writer_->Write(change);
      ++rows;
    });
    writer_->Commit(*attempted, changes);
    if (rows > kManyRows) FreePages();
    // Without room in the data file the mark has to wait for a later commit.
    if (!marked_) marked_ = MoveLogToData();
    LetClosingFinish(true);
  } catch (...) {
    LetClosingFinish(false);
    throw;
  }
}

}  // namespace ncc

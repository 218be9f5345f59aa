// One connection to the data file, from opening and checking to closing.
#pragma once

#include "platform/storage/database_files.h"
#include "platform/storage/sqlite_rows.h"

#include <functional>
#include <optional>
#include <string>

namespace ncc {

// The owner's lock must be held. Until the rows were found sound, by Load or by an earlier session,
// nothing changes the data file, not even closing.
class Session {
 public:
  // Opens an existing file of ours and checks its structure. `fills_log`: a log that this session
  // begins is filled ahead where there is room for it.
  Session(const DatabaseFiles& files, bool fills_log);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  MetaRow Meta() { return ReadMeta(db_); }

  StoredState Load(const std::function<void(const RowView&)>& row);
  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit);
  std::uint64_t FirstSince(std::int64_t time);
  // The rows are what an earlier session has found sound and written since.
  void TrustRows() { LetClosingFinish(true); }

  // After an exception this object is good for nothing but its destruction, which leaves the files
  // as they are: only a new session can tell what is stored. That is `attempted` only when it was
  // set.
  void Commit(const ChangeSet& changes, std::optional<StoredState>& attempted);

  // Brings the log's commits into the data file, durably. False when not all of them got there;
  // none is lost then.
  bool MoveLogToData();

 private:
  // Takes away a log that opening made and nothing was written to.
  class EmptyLogRemover {
   public:
    explicit EmptyLogRemover(std::string log);
    ~EmptyLogRemover();
    EmptyLogRemover(const EmptyLogRemover&) = delete;
    EmptyLogRemover& operator=(const EmptyLogRemover&) = delete;

   private:
    std::string log_;
    bool existed_;
  };

  void SetUp();
  void FreePages();
  void PrepareLog();
  void FillLog();
  void LetClosingFinish(bool finish);

  const std::string folder_;
  const bool fills_log_;
  EmptyLogRemover remover_;
  Connection db_;
  std::optional<RowWriter> writer_;
  bool log_ready_ = false;
  bool marked_ = false;  // the data file itself says that it is open, also without its log
  bool closing_finishes_ = false;
};

}  // namespace ncc

// One connection to the data file, from opening and checking to closing.
#pragma once

#include "platform/hdb/database_files.h"
#include "platform/hdb/sqlite_rows.h"

#include <functional>
#include <optional>
#include <string>

namespace ncc {

// The owner's lock must be held. Until Load has found every row sound, nothing changes the data
// file, not even closing.
class Session {
 public:
  // Opens an existing file of ours and checks its structure.
  explicit Session(const DatabaseFiles& files);

  std::uint64_t Revision() { return ReadState(db_.get()).revision; }

  StoredState Load(const std::function<void(Row&&)>& row);

  // After an exception this object is good for nothing but its destruction, which leaves the files
  // as they are: only a new session can tell what is stored.
  void Commit(const ChangeSet& changes);

  // Into `file`, which exists and is empty; checked, but not flushed.
  void CopyTo(const std::string& file);

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
  void PrepareLog();
  void FillLog();
  void LetClosingFinish(bool finish);

  EmptyLogRemover remover_;
  DatabaseHandle db_;
  std::optional<RowWriter> writer_;
  bool log_ready_ = false;
  bool closing_finishes_ = false;
};

}  // namespace ncc

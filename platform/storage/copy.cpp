#include "platform/storage/copy.h"

#include "platform/storage/database_files.h"
#include "platform/storage/owner_lock.h"
#include "platform/storage/row_sum.h"
#include "platform/storage/sqlite_rows.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace ncc {
namespace {

class WholeDatabase final : public ChangeSet {
 public:
  explicit WholeDatabase(StorageEngine& engine, CopyProgress progress = {})
      : engine_(engine), progress_(std::move(progress)) {}

  StoredState ForEach(const std::function<void(const RowChange&)>& visit) const override {
    Row now;
    std::uint64_t done = 0;
    const std::uint64_t rows = progress_ ? engine_.Load([](const RowView&) {}).totals.rows : 0;
    state_ = engine_.Load([&](const RowView& row) {
      now.key = row.key;
      now.type = row.type;
      now.name = row.name;
      now.body = row.body;
      now.lists = row.lists;
      visit({row.key, nullptr, &now, SumOf(row)});
      if (progress_) progress_(++done, rows);
    });
    return state_;
  }

  void ForEachEntry(const std::function<void(const HistoryEntry&)>& visit) const override {
    const std::uint64_t first = std::max<std::uint64_t>(state_.history.first, 1);
    std::uint64_t left = state_.revision < first ? 0 : state_.revision - first + 1;
    engine_.ReadHistory(first, state_.revision, [&](HistoryEntry&& entry) {
      --left;
      visit(entry);
      return true;
    });
    if (left != 0) {
      throw StorageError("the owner has cut the history while it was copied: copy it again",
                         NCCFailure::kUnavailable);
    }
  }

 private:
  StorageEngine& engine_;
  const CopyProgress progress_;
  mutable StoredState state_;  // that the last visit found
};

// A file of any other name is nobody's database.
std::unique_ptr<OwnerLock> LockCopy(const DatabaseFiles& target) {
  if (target.lock.empty()) return nullptr;
  try {
    return std::make_unique<OwnerLock>(target.lock);
  } catch (const StorageError& error) {
    throw StorageError("cannot replace " + target.data + ": " + error.what(), error.Kind());
  }
}

void CheckSame(const StoredState& copy, const StoredState& original) {
  if (copy != original) throw StorageError("the copy is not what was copied");
}

// Into a file that nobody else knows yet, so that it needs no journal.
void FillDataFile(StorageEngine& from, const std::string& file) {
  const Connection db = OpenNewFile(file);
  const WholeDatabase all(from);
  StoredState state;
  {
    RowWriter writer(db);
    writer.Begin();
    state = all.ForEach([&](const RowChange& change) { writer.Write(change); });
    writer.Commit(state, all);
  }
  MarkClosed(db);
  CheckStructure(db);
  CheckSame(ReadRows(db, [](const RowView&) {}), state);
}

}  // namespace

StoredState CopyDatabase(StorageEngine& from, StorageEngine& to, const CopyProgress& progress) {
  if (to.Load([](const RowView&) {}).revision != 0) {
    throw StorageError("a copy needs a database that holds nothing yet");
  }
  const StoredState state = to.Commit(WholeDatabase(from, progress));
  CheckSame(to.Load([](const RowView&) {}), state);
  return state;
}

void CopyToFile(StorageEngine& from, const std::string& file) {
  const DatabaseFiles target = LocateCopy(file);
  PendingFile copy(target.data);  // before the lock: what a killed backup left goes with its lock
  const auto lock = LockCopy(target);
  CheckNoSideFiles(target.data);
  std::string empty = MakeEmptyDataFile();
  MarkAsPlain(empty);
  copy.Write(empty);
  FillDataFile(from, copy.Name());
  copy.Publish();
  if (lock) lock->Close();
}

}  // namespace ncc

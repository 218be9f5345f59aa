#include "tests/support/memory_engine.h"

#include "platform/storage/row_sum.h"

#include <optional>
#include <stdexcept>

namespace ncc {
namespace {

void CheckContract(const ChangeSet& changes, const std::map<RowKey, Row>& rows) {
  std::optional<RowKey> last;
  const StoredState state = changes.ForEach([&](const RowChange& change) {
    if (last && !(*last < change.key)) {
      throw std::logic_error("the rows of a commit are not in ascending order");
    }
    if (change.now != nullptr && change.sum != SumOf(*change.now)) {
      throw std::logic_error("a row comes with the sum of another");
    }
    if (change.before != nullptr && *change.before != rows.at(change.key)) {
      throw std::logic_error("a row was another before");
    }
    last = change.key;
  });
  if (state.revision == 0) throw std::logic_error("a commit without a revision");
}

}  // namespace

void MemoryStore::Keep(const ChangeSet& changes) {
  state_ = changes.ForEach([this](const RowChange& change) {
    if (change.now != nullptr) {
      rows_.insert_or_assign(change.key, *change.now);
    } else {
      rows_.erase(change.key);
    }
  });
  if (const auto entry = changes.Entry()) history_.insert_or_assign(entry->revision, *entry);
  history_.erase(history_.begin(), history_.lower_bound(state_.history.first));
}

class MemoryEngine final : public StorageEngine {
 public:
  MemoryEngine(std::shared_ptr<MemoryStore> store, const std::string& base, OpenMode mode)
      : store_(std::move(store)) {
    if (store_->in_use_) throw StorageError("database is in use by another process");
    if (mode == OpenMode::kCreate && store_->state_.revision != 0) {
      throw StorageError("a database of that name exists: " + base);
    }
    if (mode == OpenMode::kOpen && store_->state_.revision == 0) {
      throw StorageError("there is no database " + base);
    }
    store_->in_use_ = true;
  }
  ~MemoryEngine() override { store_->in_use_ = false; }
  MemoryEngine(const MemoryEngine&) = delete;
  MemoryEngine& operator=(const MemoryEngine&) = delete;

  StoredState Load(const std::function<void(const RowView&)>& row) override {
    if (store_->loads_fail_) throw StorageError("loading was told to fail");
    RowTotals found;
    for (const auto& [key, stored] : store_->rows_) {
      AddTo(found, SumOf(stored));
      row(ViewOf(stored));
    }
    CheckTotals(found, store_->state_.totals);
    usable_ = true;
    return store_->state_;
  }

  StoredState Commit(const ChangeSet& changes) override {
    CheckUsable();
    CheckContract(changes, store_->rows_);
    const std::uint64_t number = ++store_->commit_count_;
    const bool fails = store_->failing_.contains(number);
    const bool fails_but_kept = store_->failing_but_kept_.contains(number);
    if (!fails) store_->Keep(changes);
    if (store_->of_another_.contains(number)) ++store_->state_.unit;
    usable_ = !fails && !fails_but_kept;
    if (!usable_) throw StorageError("commit " + std::to_string(number) + " was told to fail");
    return store_->state_;
  }

  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit) override {
    CheckUsable();
    auto at = store_->history_.upper_bound(to);
    while (at != store_->history_.begin() && (--at)->first >= from) {
      if (!visit(HistoryEntry(at->second))) return;
    }
  }

  std::uint64_t FirstSince(std::int64_t time) override {
    for (const auto& [revision, entry] : store_->history_) {
      if (entry.time >= time) return revision;
    }
    return store_->state_.revision + 1;
  }

  void CopyTo(const std::string&) override { CheckUsable(); }

 private:
  void CheckUsable() const {
    if (!usable_) throw std::logic_error("used after a failed commit without loading again");
  }

  const std::shared_ptr<MemoryStore> store_;
  bool usable_ = true;
};

EngineFactory MemoryEngineFactory(std::shared_ptr<MemoryStore> store) {
  return [store = std::move(store)](const std::string& base, const OpenRequest& request) {
    return std::make_unique<MemoryEngine>(store, base, request.mode);
  };
}

}  // namespace ncc

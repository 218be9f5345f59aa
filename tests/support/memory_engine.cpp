#include "tests/support/memory_engine.h"

#include "platform/storage/row_sum.h"

#include <algorithm>
#include <stdexcept>

namespace ncc {
namespace {

void CheckContract(const ChangeSet& changes) {
  if (changes.state.revision == 0) throw std::logic_error("a commit without a revision");
  const auto not_below = [](const auto& a, const auto& b) { return !(a < b); };
  if (std::ranges::adjacent_find(changes.removed, not_below) != changes.removed.end() ||
      std::ranges::adjacent_find(changes.put, not_below, &Row::key) != changes.put.end()) {
    throw std::logic_error("the rows of a commit are not in ascending order");
  }
  for (const RowKey& key : changes.removed) {
    if (std::ranges::binary_search(changes.put, key, {}, &Row::key)) {
      throw std::logic_error("a commit both puts and removes a row");
    }
  }
}

}  // namespace

void MemoryStore::Keep(const ChangeSet& changes) {
  for (const RowKey& key : changes.removed) rows_.erase(key);
  for (const Row& row : changes.put) rows_.insert_or_assign(row.key, row);
  state_ = changes.state;
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

  StoredState Load(const std::function<void(Row&&)>& row) override {
    if (store_->loads_fail_) throw StorageError("loading was told to fail");
    RowTotals found;
    for (const auto& [key, stored] : store_->rows_) {
      AddTo(found, SumOf(stored));
      row(Row(stored));
    }
    CheckTotals(found, store_->state_.totals);
    usable_ = true;
    return store_->state_;
  }

  void Commit(const ChangeSet& changes) override {
    CheckUsable();
    CheckContract(changes);
    const std::uint64_t number = ++store_->commit_count_;
    const bool fails = store_->failing_.contains(number);
    const bool fails_but_kept = store_->failing_but_kept_.contains(number);
    if (!fails) store_->Keep(changes);
    if (store_->of_another_.contains(number)) ++store_->state_.unit;
    usable_ = !fails && !fails_but_kept;
    if (!usable_) throw StorageError("commit " + std::to_string(number) + " was told to fail");
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

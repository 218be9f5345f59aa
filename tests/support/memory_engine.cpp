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

std::string NameOf(std::uint64_t engine) { return "engine " + std::to_string(engine); }

}  // namespace

void MemoryStore::Keep(const ChangeSet& changes) {
  constexpr std::size_t kUnits = 3;
  StoredUnit unit;
  unit.state = state_ = changes.ForEach([&](const RowChange& change) {
    unit.rows.push_back({change.key, std::nullopt});
    if (change.now != nullptr) {
      unit.rows.back().row = *change.now;
      rows_.insert_or_assign(change.key, *change.now);
    } else {
      rows_.erase(change.key);
    }
  });
  changes.ForEachEntry(
      [&](const HistoryEntry& entry) { history_.insert_or_assign(entry.revision, entry); });
  history_.erase(history_.begin(), history_.lower_bound(state_.history.first));
  units_.insert_or_assign(state_.revision, std::move(unit));
  if (units_.size() > kUnits) units_.erase(units_.begin());
  moved_.notify_all();
}

class MemoryEngine final : public StorageEngine {
 public:
  MemoryEngine(std::shared_ptr<MemoryStore> store, const std::string& base, OpenMode mode)
      : store_(std::move(store)) {
    const MemoryStore::Lock lock(store_->mutex_);
    name_ = ++store_->engines_;
    CheckNetwork();
    const bool owns = mode == OpenMode::kCreate || mode == OpenMode::kOpen;
    if (owns) Acquire({}, false);
    if (mode == OpenMode::kCreate && store_->state_.revision != 0) {
      Release();
      throw StorageError("a database of that name exists: " + base);
    }
    if (mode != OpenMode::kCreate && store_->state_.revision == 0) {
      Release();
      throw StorageError("there is no database " + base, NCCFailure::kMissing);
    }
  }
  ~MemoryEngine() override { Release(); }
  MemoryEngine(const MemoryEngine&) = delete;
  MemoryEngine& operator=(const MemoryEngine&) = delete;

  StoredState Load(const std::function<void(const RowView&)>& row) override {
    const MemoryStore::Lock lock(store_->mutex_);
    if (store_->loads_fail_) throw StorageError("loading was told to fail");
    CheckNetwork();
    RowTotals found;
    for (const auto& [key, stored] : store_->rows_) {
      AddTo(found, SumOf(stored));
      row(ViewOf(stored));
    }
    CheckTotals(found, store_->state_.totals);
    usable_ = true;
    return known_ = store_->state_;
  }

  StoredState Commit(const ChangeSet& changes) override {
    const MemoryStore::Lock lock(store_->mutex_);
    CheckUsable();
    if (store_->network_ == Network::kIsDown) CheckNetwork();
    CheckOwner();
    CheckContract(changes, store_->rows_);
    const std::uint64_t number = ++store_->commit_count_;
    const bool fails =
        store_->failing_.contains(number) || store_->network_ == Network::kLosesRequests;
    const bool fails_but_kept =
        store_->failing_but_kept_.contains(number) || store_->network_ == Network::kLosesAnswers;
    if (!fails) store_->Keep(changes);
    if (store_->of_another_.contains(number)) ++store_->state_.unit;
    usable_ = !fails && !fails_but_kept;
    if (!usable_ && store_->network_ != Network::kWorks) {
      throw StorageError("no answer came", NCCFailure::kNotKnown);
    }
    if (!usable_) throw StorageError("commit " + std::to_string(number) + " was told to fail");
    return known_ = store_->state_;
  }

  StoredState Settle() override {
    if (usable_) return known_;
    return Load([](const RowView&) {});
  }

  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit) override {
    const MemoryStore::Lock lock(store_->mutex_);
    CheckUsable();
    auto at = store_->history_.upper_bound(to);
    while (at != store_->history_.begin() && (--at)->first >= from) {
      if (!visit(HistoryEntry(at->second))) return;
    }
  }

  std::uint64_t FirstSince(std::int64_t time) override {
    const MemoryStore::Lock lock(store_->mutex_);
    if (store_->network_ == Network::kIsDown) CheckNetwork();
    for (const auto& [revision, entry] : store_->history_) {
      if (entry.time >= time) return revision;
    }
    return store_->state_.revision + 1;
  }

  std::optional<std::string> Owner() override {
    const MemoryStore::Lock lock(store_->mutex_);
    CheckNetwork();
    if (store_->owner_ == 0) return std::nullopt;
    return NameOf(store_->owner_);
  }

  std::optional<std::vector<StoredUnit>> Follow(std::uint64_t from,
                                                std::chrono::milliseconds wait) override {
    MemoryStore::Lock lock(store_->mutex_);
    store_->followers_[name_] = from;
    store_->moved_.wait_for(lock, wait, [&] { return from != store_->state_.revision; });
    CheckNetwork();
    std::vector<StoredUnit> units;
    if (from == store_->state_.revision) return units;
    const auto first = store_->units_.find(from + 1);
    if (first == store_->units_.end()) return std::nullopt;
    units.push_back(first->second);
    known_ = units.back().state;
    return units;
  }

  void Acquire(std::chrono::milliseconds wait, bool force) override {
    MemoryStore::Lock lock(store_->mutex_);
    CheckNetwork();
    const auto is_free = [&] { return store_->owner_ == 0 || store_->owner_ == name_; };
    if (!force && !store_->moved_.wait_for(lock, wait, is_free)) {
      throw StorageError("database is in use by " + NameOf(store_->owner_), NCCFailure::kInUse);
    }
    owns_ = true;
    store_->owner_ = name_;
    store_->was_closed_ = false;
  }

  bool IsOwnerLost() override {
    const MemoryStore::Lock lock(store_->mutex_);
    CheckNetwork();
    return store_->owner_ == 0 && !store_->was_closed_;
  }

  EngineStatus Status() override {
    const MemoryStore::Lock lock(store_->mutex_);
    EngineStatus status{{{"memory", store_->network_ == Network::kWorks, ""}}, {}};
    for (const auto& [follower, revision] : store_->followers_) {
      status.followers.push_back({NameOf(follower), revision});
    }
    return status;
  }

 private:
  void CheckUsable() const {
    if (!usable_) throw std::logic_error("used after a failed commit without loading again");
  }
  void CheckNetwork() const {
    if (store_->network_ == Network::kWorks) return;
    throw StorageError("nothing answers", NCCFailure::kUnavailable);
  }
  void CheckOwner() const {
    if (!owns_) throw StorageError("a follower changes nothing");
    if (store_->owner_ != name_) {
      throw StorageError("another owner has taken over", NCCFailure::kNotOwner);
    }
    if (known_ != store_->state_) throw std::logic_error("a commit to a state that is not known");
  }
  void Release() {
    const MemoryStore::Lock lock(store_->mutex_);
    store_->followers_.erase(name_);
    if (store_->owner_ == name_) {
      store_->owner_ = 0;
      store_->was_closed_ = true;
    }
    store_->moved_.notify_all();
  }

  const std::shared_ptr<MemoryStore> store_;
  std::uint64_t name_ = 0;
  bool owns_ = false;
  StoredState known_;
  bool usable_ = true;
};

EngineFactory MemoryEngineFactory(std::shared_ptr<MemoryStore> store) {
  return [store = std::move(store)](const std::string& base, const OpenRequest& request) {
    return std::make_unique<MemoryEngine>(store, base, request.mode);
  };
}

}  // namespace ncc

// How units of work end: stored, taken back, or away until the engine can tell.

#include "platform/hdb/base.h"
#include "platform/hdb/history_codec.h"
#include "platform/process.h"
#include "platform/token.h"

#include <algorithm>
#include <utility>

using ncc::KeyedRow;
using ncc::Row;
using ncc::RowChange;
using ncc::RowKey;
using ncc::StorageError;
using ncc::StoredState;
using ncc::StoredUnit;

namespace {

constexpr std::int64_t kMicrosecondsOfDay = std::int64_t{24} * 60 * 60 * 1000000;

}  // namespace

// What the unit that ends leads to.
class CHDBase::Changes final : public ncc::ChangeSet {
 public:
  explicit Changes(CHDBase& base) : base_(base), history_(base.NextHistory(now_)) {}

  std::uint64_t Revision() const { return base_.state_.revision + 1; }
  std::uint64_t Unit() const { return unit_; }

  StoredState ForEach(const std::function<void(const RowChange&)>& visit) const override {
    StoredState state{Revision(), base_.state_.totals, unit_, history_};
    const auto encode = [this](const RowKey& key, Row& row) { return base_.EncodeRow(key, row); };
    former_ = {};
    base_.unit_.ForEachChange(encode, [&](const RowChange& change) {
      former_.Add(change.key, change.before);
      if (change.before != nullptr) TakeFrom(state.totals, SumOf(*change.before));
      if (change.now != nullptr) AddTo(state.totals, change.sum);
      visit(change);
    });
    return state;
  }

  void ForEachEntry(const std::function<void(const ncc::HistoryEntry&)>& visit) const override {
    if (history_.first > Revision()) return;
    visit({Revision(), now_, base_.manager_.Origin(), former_.Pack()});
  }

  StoredUnit Collect() const {
    StoredUnit unit;
    unit.state = ForEach([&](const RowChange& change) {
      unit.rows.push_back({change.key, std::nullopt});
      if (change.now != nullptr) unit.rows.back().row = *change.now;
    });
    return unit;
  }

 private:
  CHDBase& base_;
  const std::uint64_t unit_ = ncc::DrawToken();
  const std::int64_t now_ = ncc::MicrosecondsNow();
  const ncc::HistoryBounds history_;
  mutable ncc::RowPacker former_;  // the rows as they were, in the order of the last visit
};

ncc::HistoryBounds CHDBase::NextHistory(std::int64_t now) const {
  using Keep = ncc::HistoryRule::Keep;
  const std::uint64_t next = state_.revision + 1;
  ncc::HistoryBounds history = state_.history;
  if (new_rule_) history.rule = *new_rule_;
  const auto& [keep, count] = history.rule;
  if (keep == Keep::kNone) history.first = next + 1;
  if (keep == Keep::kUnits && next > count)
    history.first = std::max(history.first, next - count + 1);
  if (keep == Keep::kDays)
    history.first = std::max(history.first, engine_->FirstSince(now - count * kMicrosecondsOfDay));
  return history;
}

void CHDBase::Commit() {
  std::optional<Changes> changes;
  const auto is_stored = [&](NCCFailure kind, const char* why) {
    return IsStoredAfterAll(kind, why, changes ? &*changes : nullptr);
  };
  try {
    if (unit_.HasFailed()) throw StorageError(unit_.Failure());
    changes.emplace(*this);
    const auto encode = [this](const RowKey& key, Row& row) { return EncodeRow(key, row); };
    if (unit_.HasDifference(encode) || new_rule_) state_ = engine_->Commit(*changes);
    ClearUnit();
  } catch (const StorageError& error) {
    if (is_stored(error.Kind(), error.what())) return;
    ThrowIfAway();
    throw;
  } catch (...) {
    if (is_stored(NCCFailure::kOther, "")) return;
    ThrowIfAway();
    throw;
  }
}

// Memory follows what the failure has left. `changes` is null where nothing was tried.
bool CHDBase::IsStoredAfterAll(NCCFailure kind, const char* why, const Changes* changes) noexcept {
  if (unit_.HasFailed()) {
    DropFailedUnit();
    return false;
  }
  if (changes == nullptr) {
    TakeBackUnit();
    return false;
  }
  if (kind == NCCFailure::kUnavailable) TakeBackUnit();
  if (kind == NCCFailure::kNotOwner || kind == NCCFailure::kNotKnown) GoAway(kind, why, *changes);
  if (kind == NCCFailure::kUnavailable || absence_) return false;
  try {
    const StoredState now = engine_->Settle();
    const bool is_stored = now.revision == changes->Revision() && now.unit == changes->Unit();
    if (is_stored) {
      state_ = now;
      ClearUnit();
    } else if (now == state_) {
      TakeBackUnit();
    } else {
      Reload();
    }
    return is_stored;
  } catch (const StorageError& error) {
    if (error.Kind() == NCCFailure::kUnavailable) {
      GoAway(NCCFailure::kNotKnown, error.what(), *changes);
    } else {
      Break(error.what(), error.Kind());
    }
  } catch (const std::exception& error) {
    Break(error.what(), NCCFailure::kOther);
  }
  return false;
}

void CHDBase::ClearUnit() noexcept {
  unit_.Clear();
  new_rule_.reset();
  TakeInAttempt();
}

// Only of a unit whose operations were not interrupted: what they touched is as it says it is.
void CHDBase::TakeBackUnit() noexcept {
  if (!unit_.HasChanges()) return ClearUnit();
  ++generation_;
  try {
    const std::vector<KeyedRow> rows = unit_.TakeBefore();
    ClearUnit();
    if (state_.revision == 0) return DropObjects();
    PutRows(rows);
  } catch (const std::exception&) {
    Reload();
  }
}

void CHDBase::AbandonUnit(std::string_view why) noexcept {
  const bool is_whole = !unit_.HasFailed();
  unit_.Fail(why);
  if (!unit_.Leave()) return;
  if (is_whole) return TakeBackUnit();
  DropFailedUnit();
}

// What an operation that was interrupted has left in memory may be anything.
void CHDBase::DropFailedUnit() noexcept {
  if (unit_.HasChanges()) {
    Reload();
  } else {
    ClearUnit();
  }
}

// Being away --------------------------------------------------------------------------------------

void CHDBase::GoAway(NCCFailure kind, const char* why, const Changes& changes) noexcept {
  try {
    Absence absence{kind, why, std::nullopt};
    if (kind == NCCFailure::kNotKnown) {
      absence.why = "whether this is stored, as revision " + std::to_string(changes.Revision()) +
                    ", is not known yet: " + why;
      absence.attempt = changes.Collect();
      outcome_ = NCCOutcome::kNotKnown;
    }
    TakeBackUnit();
    absence_ = std::move(absence);
  } catch (const std::exception& error) {
    Break(error.what(), NCCFailure::kOther);
  }
}

// Whether the attempt is stored; where it is not, nothing keeps changes away any more. Throws while
// that cannot be told.
bool CHDBase::AskForAttempt() {
  if (!absence_->attempt) throw StorageError(absence_->why, absence_->kind);
  const StoredState& wanted = absence_->attempt->state;
  StoredState now;
  try {
    now = engine_->Settle();
  } catch (const StorageError& error) {
    const bool for_good = error.Kind() == NCCFailure::kNotOwner;
    absence_->kind = for_good ? NCCFailure::kNotOwner : NCCFailure::kNotKnown;
    absence_->why = "whether the last change is stored, as revision " +
                    std::to_string(wanted.revision) + ", is not known" +
                    (for_good ? ": " : " yet: ") + error.what();
    if (for_good) absence_->attempt.reset();
    throw StorageError(absence_->why, absence_->kind);
  }
  if (now != wanted && now != state_) {
    throw StorageError("storage holds what another program has put there");
  }
  outcome_ = now == wanted ? NCCOutcome::kStored : NCCOutcome::kNotStored;
  if (now != wanted) absence_.reset();
  return absence_.has_value();
}

void CHDBase::ThrowIfAway() const {
  if (absence_) throw StorageError(absence_->why, absence_->kind);
}

// A running operation has seen what is in memory: that changes when the unit has ended.
void CHDBase::CheckPresent() {
  if (!absence_ || (!absence_->is_stored && !AskForAttempt())) return;
  absence_->is_stored = true;
  throw StorageError("the change before this one is stored after all, as revision " +
                         std::to_string(absence_->attempt->state.revision) +
                         "; this one was not made: try it again",
                     NCCFailure::kUnavailable);
}

void CHDBase::TakeInAttempt() noexcept {
  if (!absence_ || !absence_->is_stored) return;
  const StoredUnit unit = std::move(*absence_->attempt);
  absence_.reset();
  try {
    Apply(unit);
  } catch (const std::exception&) {
    Reload();
  }
}

NCCOutcome CHDBase::Settle() {
  if (absence_ && (absence_->is_stored || AskForAttempt())) {
    absence_->is_stored = true;
    TakeInAttempt();
  }
  return outcome_;
}

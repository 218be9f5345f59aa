// Taking in what others have stored, and becoming the owner of it.

#include "platform/hdb/base.h"

using ncc::Row;
using ncc::RowKind;
using ncc::StorageError;
using ncc::StoredUnit;

// Memory must be what the unit before has left, and is half of each after an exception.
void CHDBase::Apply(const StoredUnit& unit) {
  ncc::RowTotals totals = state_.totals;
  for (const auto& [key, row] : unit.rows) {
    if (key.kind == RowKind::kDefinition)
      throw StorageError("database is damaged: a change of its definitions");
    if (const std::optional<Row> before = StoredRow(key)) TakeFrom(totals, SumOf(*before));
    if (row) AddTo(totals, SumOf(*row));
  }
  CheckTotals(totals, unit.state.totals);
  ++generation_;
  PutRows(unit.rows);
  state_ = unit.state;
}

void CHDBase::BeFollowerOf(const std::string& owner) {
  if (owner_ == owner) return;
  const std::string of = owner.empty() ? "a database that nobody owns now" : owner;
  unit_.RefuseChanges("this is the standby of " + of + ": it shows what the owner changes",
                      NCCFailure::kNotOwner);
  owner_ = owner;
}

bool CHDBase::Follow(std::chrono::milliseconds wait) {
  CheckUsable();
  const std::uint64_t before = state_.revision;
  const auto units = engine_->Follow(before, wait);
  bool is_taken_in = units.has_value();
  try {
    if (units) {
      for (const StoredUnit& unit : *units) Apply(unit);
    }
  } catch (const std::exception&) {
    is_taken_in = false;
  }
  if (!is_taken_in) Reload();
  CheckUsable();
  return state_.revision != before;
}

void CHDBase::TakeOver(std::chrono::milliseconds wait, bool force) {
  engine_->Acquire(wait, force);
  while (Follow(std::chrono::milliseconds(0))) {
  }
  manager_.Examine(*this);
  absence_.reset();
  owner_.reset();
  unit_.AcceptChanges();
}

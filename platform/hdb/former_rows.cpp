// A base as it was before units that its history tells of, and taking such units back.

#include "platform/hdb/base.h"
#include "platform/hdb/row_codec.h"
#include "platform/storage/row_sum.h"

#include <map>
#include <utility>

using ncc::HistoryEntry;
using ncc::KeyedRow;
using ncc::Row;
using ncc::RowDecoder;
using ncc::RowKey;
using ncc::RowKind;
using ncc::StorageError;

// Putting rows in place ---------------------------------------------------------------------------

// The indexes and the parents of objects follow.
std::uint32_t CHDBase::PutRows(const std::vector<KeyedRow>& rows) {
  std::vector<Tie> ties;
  for (const KeyedRow& row : rows) AddTies(row.key, ties);
  RowDecoder decoder;
  for (const auto& [key, row] : rows) {
    if (key.kind == RowKind::kDefinition)
      throw StorageError("the first revision made the database: there is nothing before it");
    if (key.kind == RowKind::kObject) {
      PutObject(key.number, row, decoder);
    } else if (key.kind == RowKind::kNote) {
      notes_.erase(key.number);
      if (row) notes_.emplace(key.number, ncc::DecodeNotes(row->body));
    } else if (CHDBRecord* const object = objects_.Find(key.number); object != nullptr) {
      if (row) {
        decoder.DecodeChunk(*object, key.list, key.chunk, row->body);
      } else {
        object->DropStored(key.list, key.chunk);
      }
    }
  }
  for (const KeyedRow& row : rows) AddTies(row.key, ties);
  std::uint32_t missing = 0;
  for (const Tie& tie : ties) {
    if (!DeriveParent(tie)) missing = tie.second;
  }
  return missing;
}

void CHDBase::PutObject(std::uint32_t number, const std::optional<Row>& row, RowDecoder& decoder) {
  CHDBRecord* object = objects_.Find(number);
  if (object != nullptr && object->HasRecord()) Unindex(*object);
  if (!row) {
    if (object != nullptr) objects_.Remove(number);
    return;
  }
  if (object == nullptr) object = &objects_.Create(*this, number);
  object->Restore(row->type, decoder.DecodeName(row->name), row->body);
  for (std::uint8_t list = 0; list < ncc::kLists; ++list) object->DropStored(list, 0);
  decoder.DecodeFirstChunks(*object, row->lists);
  if (object->HasRecord()) Index(*object);
}

// Those of the entries that the row holds now.
void CHDBase::AddTies(const RowKey& key, std::vector<Tie>& ties) const {
  const CHDBRecord* const folder = objects_.Find(key.number);
  const bool has_entries =
      key.kind == RowKind::kObject || (key.kind == RowKind::kChunk && key.list == ncc::kEntryList);
  if (folder == nullptr || !has_entries) return;
  for (const CHDBFolderEntry& entry : folder->Entries().SlotsOf(key.chunk)) {
    if (!entry.IsHole()) ties.emplace_back(key.number, entry.Object().number);
  }
}

bool CHDBase::DeriveParent(const Tie& tie) {
  const CHDBRecord* const folder = objects_.Find(tie.first);
  const auto lists = [&](std::uint32_t space) {
    return folder != nullptr && folder->Find({space, tie.second}) != ncc::kNoPosition;
  };
  const bool is_listed = lists(ncc::kFolderSpace) || lists(ncc::kRecordSpace);
  CHDBRecord* const child = objects_.Find(tie.second);
  if (child != nullptr && is_listed) child->AddParent(tie.first);
  if (child != nullptr && !is_listed) child->RemoveParent(tie.first);
  return child != nullptr || !is_listed;
}

// Showing -----------------------------------------------------------------------------------------

void CHDBase::ShowRevision(std::uint64_t revision) {
  if (!unit_.RefusesChanges() || IsFollower())
    throw StorageError("only a snapshot can show how the database was before");
  if (revision > state_.revision) Reload();
  CheckUsable();
  try {
    GoBackTo(revision);
  } catch (...) {
    Reload();
    throw;
  }
}

void CHDBase::GoBackTo(std::uint64_t revision) {
  if (revision >= state_.revision) return;
  const std::string what = "revision " + std::to_string(revision);
  if (revision == 0) throw StorageError("there is no " + what);
  if (revision + 1 < state_.history.first)
    throw StorageError("the history does not go back to " + what + ": it begins behind " +
                       std::to_string(state_.history.first - 1));
  ++generation_;
  engine_->ReadHistory(revision + 1, state_.revision, [this](HistoryEntry&& entry) {
    if (const std::uint32_t missing = PutRows(ncc::UnpackRows(entry.replaced)); missing != 0)
      throw StorageError("object " + std::to_string(missing) + " would be missing in a folder");
    return true;
  });
  state_.revision = revision;
  shows_former_ = true;
}

// Comparing ---------------------------------------------------------------------------------------

std::optional<std::vector<ncc::RowDifference>> CHDBase::DifferencesSince(std::uint64_t revision,
                                                                         std::uint64_t row_sum,
                                                                         std::size_t most) const {
  if (revision > state_.revision || revision + 1 < state_.history.first) return std::nullopt;
  std::map<RowKey, std::optional<Row>> stored;  // what the running unit has touched
  unit_.ForEachFormer([&](const RowKey& key, const Row* row) {
    stored.emplace(key, row != nullptr ? std::optional(*row) : std::nullopt);
  });
  std::map<RowKey, std::optional<Row>> then = stored;
  engine_->ReadHistory(revision + 1, state_.revision, [&](HistoryEntry&& entry) {
    for (KeyedRow& former : ncc::UnpackRows(entry.replaced))
      then.insert_or_assign(former.key, std::move(former.row));
    return then.size() <= most;
  });
  if (then.size() > most) return std::nullopt;
  std::vector<ncc::RowDifference> differences;
  ncc::RowTotals totals = state_.totals;
  for (auto& [key, before] : then) {
    std::optional<Row> now = StoredRow(key);
    const auto touched = stored.find(key);
    const std::optional<Row>& last = touched != stored.end() ? touched->second : now;
    if (last) TakeFrom(totals, SumOf(*last));
    if (before) AddTo(totals, SumOf(*before));
    if (before != now) differences.push_back({key, std::move(before), std::move(now)});
  }
  if (totals.sum != row_sum) return std::nullopt;
  return differences;
}

// Taking back -------------------------------------------------------------------------------------

std::optional<Row> CHDBase::StoredRow(const RowKey& key) const {
  Row row;
  return EncodeRow(key, row) ? std::optional(std::move(row)) : std::nullopt;
}

namespace {

// What units have done to a row, from the newest to the oldest.
struct RowWay {
  std::optional<Row> stored;
  std::optional<Row> then;        // before the units that were met
  std::optional<Row> now;         // what it becomes
  std::set<std::uint64_t> later;  // units that stay and have changed it
  bool is_blocked = false;        // by some of these
};
using RowWays = std::map<RowKey, RowWay>;

// Lists and notes without their object: later units gave them to one that goes, or removed the
// object.
void AddInTheWayOfObjects(const RowWays& ways, std::vector<std::set<std::uint64_t>>& in_the_way) {
  for (const auto& [key, way] : ways) {
    const auto object = ways.find({RowKind::kObject, key.number});
    if (key.kind < RowKind::kChunk || !way.now || object == ways.end() || object->second.now)
      continue;
    const auto& later = object->second.stored ? way.later : object->second.later;
    if (!later.empty()) in_the_way.push_back(later);
  }
}

}  // namespace

CHDBase::TakenBack CHDBase::TakeBack(const std::set<std::uint64_t>& revisions,
                                     const ncc::MergeData& merge) {
  RowWays ways;
  TakenBack result;
  cut_.clear();
  const auto take_back = [&](HistoryEntry&& entry) {
    const bool is_wanted = revisions.contains(entry.revision);
    for (KeyedRow& former : ncc::UnpackRows(entry.replaced)) {
      const auto [at, is_new] = ways.try_emplace(former.key);
      RowWay& way = at->second;
      if (is_new) way.stored = way.then = way.now = StoredRow(former.key);
      if (!is_wanted) {
        way.later.insert(entry.revision);
      } else if (!way.is_blocked &&
                 !ncc::TakeBackRow(former.key, former.row, way.then, way.now, merge)) {
        way.is_blocked = true;
        result.in_the_way.push_back(way.later);
      }
      way.then = std::move(former.row);
    }
    return true;
  };
  engine_->ReadHistory(*revisions.begin(), state_.revision, take_back);
  AddInTheWayOfObjects(ways, result.in_the_way);
  result.is_done = result.in_the_way.empty();
  if (!result.is_done) return result;
  std::vector<KeyedRow> rows;
  for (auto& [key, way] : ways) {
    if (way.now == way.stored) continue;
    Touch(key);
    result.has_effect = result.has_effect || !ncc::HoldSame(way.now, way.stored);
    if (key.kind == RowKind::kObject && !way.now) {
      for (const std::uint32_t parent : Object(key.number).Parents())
        cut_.emplace_back(parent, key.number);
    }
    rows.push_back({key, std::move(way.now)});
  }
  PutRows(rows);
  return result;
}

void CHDBase::Withdraw() {
  std::vector<KeyedRow> rows;
  unit_.ForEachFormer([&](const RowKey& key, const Row* before) {
    rows.push_back({key, before != nullptr ? std::optional(*before) : std::nullopt});
  });
  PutRows(rows);
  // Also of folders that listed what comes back and stayed as they were.
  for (const Tie& tie : cut_) DeriveParent(tie);
  unit_.Clear();
}

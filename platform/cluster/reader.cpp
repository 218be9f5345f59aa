#include "platform/cluster/reader.h"

#include <algorithm>
#include <map>
#include <utility>

namespace ncc::etcd {
namespace {

// Values of one answer: a block may have a megabyte.
constexpr int kBlocksAtOnce = 8;
constexpr int kUnitsAtOnce = 64;
constexpr int kTries = 20;

[[noreturn]] void Damaged(const std::string& what) {
  throw StorageError("database is damaged: " + what);
}

}  // namespace

std::size_t UnitBlocks::Size() const {
  std::size_t size = 0;
  for (const std::string& block : blocks) size += block.size();
  return size;
}

HeadSeen Reader::TakeHead(const Answer& answer, const Found& found) const {
  HeadSeen seen;
  seen.revision = answer.revision;
  if (const KeyValue* const stored = found.Only()) {
    seen.head = DecodeHead(stored->value);
    seen.modified = stored->modified;
  }
  return seen;
}

HeadSeen Reader::ReadHead() {
  const Answer answer = client_.Get({layout_.Head()});
  return TakeHead(answer, answer.found.front());
}

Stored Reader::ReadAll() {
  for (int tries = 1;; ++tries) {
    try {
      return TryReadAll();
    } catch (const Rejected& error) {
      if (!error.IsCompacted() || tries == kTries) throw;
    }
  }
}

Stored Reader::TryReadAll() {
  Stored stored;
  const Answer answer = client_.Run(Transaction().Get({layout_.Head()}).Get({layout_.Base()}));
  stored.seen = TakeHead(answer, answer.found.at(0));
  if (const KeyValue* const base = answer.found.at(1).Only()) {
    stored.base = DecodeBase(base->value);
    stored.base_modified = base->modified;
  }
  const std::int64_t now = stored.seen.revision;
  if (stored.base.revision != 0) {
    stored.blocks = ReadValues(layout_.BaseBlocks(stored.base.revision), stored.base.blocks, now);
  }
  KeyRange range{layout_.First('c', stored.base.revision + 1), layout_.End('c'), kUnitsAtOnce, now};
  for (bool has_more = true; has_more;) {
    const Answer part = client_.Get(range);
    const Found& found = part.found.front();
    for (const KeyValue& unit : found.keys) stored.units.push_back(ReadBlocks(unit, now));
    has_more = found.has_more && !found.keys.empty();
    if (has_more) range.from = found.keys.back().key + '\0';
  }
  const std::uint64_t last =
      stored.units.empty() ? stored.base.revision : stored.units.back().state.revision;
  if (last != stored.seen.head.state.revision) Damaged("its last changes are missing");
  return stored;
}

std::vector<std::string> Reader::ReadValues(const std::string& prefix, std::uint32_t count,
                                            std::int64_t revision) {
  std::vector<std::string> values;
  KeyRange range{prefix, EndOf(prefix), kBlocksAtOnce, revision};
  while (values.size() < count) {
    Answer answer = client_.Get(range);
    std::vector<KeyValue>& keys = answer.found.front().keys;
    if (keys.empty()) break;
    range.from = keys.back().key + '\0';
    for (KeyValue& stored : keys) values.push_back(std::move(stored.value));
  }
  if (values.size() != count) Damaged("a block of its rows is missing");
  return values;
}

UnitBlocks Reader::ReadBlocks(const KeyValue& stored, std::int64_t revision) {
  Unit unit = DecodeUnit(stored.value);
  if (stored.key != layout_.Unit(unit.state.revision))
    Damaged("a change stands in another's place");
  UnitBlocks read{unit.state, {}};
  if (unit.staged != 0)
    read.blocks = ReadValues(layout_.StagedBlocks(unit.stage), unit.staged, revision);
  read.blocks.push_back(std::move(unit.block));
  return read;
}

std::optional<std::vector<UnitBlocks>> Reader::ReadUnits(std::uint64_t after, HeadSeen& seen) {
  const Answer answer =
      client_.Run(Transaction()
                      .Get({layout_.Head()})
                      .Get({layout_.First('c', after + 1), layout_.End('c'), kUnitsAtOnce}));
  seen = TakeHead(answer, answer.found.at(0));
  std::vector<UnitBlocks> units;
  if (seen.head.state.revision == after) return units;
  try {
    for (const KeyValue& stored : answer.found.at(1).keys) {
      units.push_back(ReadBlocks(stored, seen.revision));
      if (units.back().state.revision != after + units.size()) return std::nullopt;
    }
  } catch (const Rejected& error) {
    if (!error.IsCompacted()) throw;
    return std::nullopt;
  }
  return units.empty() ? std::nullopt : std::optional(std::move(units));
}

std::optional<Unit> Reader::ReadUnit(std::uint64_t revision) {
  const Answer answer = client_.Get({layout_.Unit(revision)});
  const KeyValue* const stored = answer.found.front().Only();
  return stored != nullptr ? std::optional(DecodeUnit(stored->value)) : std::nullopt;
}

StoredUnit Unpacked(const UnitBlocks& unit) {
  StoredUnit unpacked{unit.state, {}};
  BlockReader rows([&](const RowKey& key, const RowView* row, std::uint32_t) {
    unpacked.rows.push_back({key, std::nullopt});
    if (row != nullptr) unpacked.rows.back().row = CopyOf(*row);
  });
  for (const std::string& block : unit.blocks) rows.Take(block);
  rows.Finish();
  return unpacked;
}

void ForEachRow(const Stored& stored, const VisitRow& visit) {
  struct Change {
    std::optional<Row> row;
    std::uint32_t sum;
  };
  std::map<RowKey, Change> changes;
  for (const UnitBlocks& unit : stored.units) {
    BlockReader rows([&](const RowKey& key, const RowView* row, std::uint32_t sum) {
      Change& change = changes[key];
      change.sum = sum;
      change.row.reset();
      if (row != nullptr) change.row = CopyOf(*row);
    });
    for (const std::string& block : unit.blocks) rows.Take(block);
    rows.Finish();
  }
  auto next = changes.begin();
  const auto visit_changes_below = [&](const RowKey* key) {
    for (; next != changes.end() && (key == nullptr || next->first < *key); ++next) {
      if (next->second.row) visit(ViewOf(*next->second.row), next->second.sum);
    }
  };
  BlockReader base([&](const RowKey& key, const RowView* row, std::uint32_t sum) {
    visit_changes_below(&key);
    const bool is_changed = next != changes.end() && next->first == key;
    if (!is_changed && row != nullptr) visit(*row, sum);
  });
  for (const std::string& block : stored.blocks) base.Take(block);
  base.Finish();
  visit_changes_below(nullptr);
}

}  // namespace ncc::etcd

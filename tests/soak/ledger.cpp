#include "soak/ledger.h"

#include <chrono>
#include <random>
#include <utility>

using ncc::HistoryEntry;
using ncc::Row;

namespace {

constexpr std::uint64_t kLargeEach = 64;

Row LargeRow(std::uint64_t revision, Tag tag) {
  std::mt19937_64 random(revision * 1000003 + tag);
  Row row;
  row.key = {ncc::RowKind::kChunk, 5000, 0, 0};
  row.body.resize(8 * (1 + random() % (std::size_t{1} << 18)));
  for (std::size_t i = 0; i < row.body.size(); i += 8) {
    const std::uint64_t bits = random();
    row.body.replace(i, 8, reinterpret_cast<const char*>(&bits), 8);
  }
  return row;
}

HistoryEntry TaggedEntry(std::uint64_t revision, Tag tag) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return {revision,
          std::chrono::duration_cast<std::chrono::microseconds>(now).count(),
          {"owner", "", std::to_string(tag)},
          "nothing"};
}

}  // namespace

Ledger::Ledger(Contents contents)
    : contents_(std::move(contents)), totals_(TotalsOf(contents_.rows)) {}

ListedChanges Ledger::Base(Tag tag) const {
  ListedChanges changes;
  for (const auto& [key, row] : contents_.rows) changes.put.push_back(row);
  changes.state = {contents_.revision, totals_, tag, {{}, contents_.revision}};
  changes.entry = TaggedEntry(contents_.revision, tag);
  return changes;
}

ListedChanges Ledger::Next(Tag tag, std::uint64_t first) const {
  const std::uint64_t revision = contents_.revision + 1;
  ListedChanges changes = HistoryRowChanges(revision);
  for (Row& row : changes.put) row.body += "by " + std::to_string(tag);
  if (revision % kLargeEach == 0) changes.put.push_back(LargeRow(revision, tag));
  ncc::RowTotals totals = totals_;
  const auto take_out = [&](const ncc::RowKey& key) {
    const auto found = contents_.rows.find(key);
    if (found != contents_.rows.end()) TakeFrom(totals, SumOf(found->second));
  };
  for (const ncc::RowKey& key : changes.removed) take_out(key);
  for (const Row& row : changes.put) {
    take_out(row.key);
    AddTo(totals, SumOf(row));
  }
  changes.state = {revision, totals, tag, {{}, first}};
  changes.entry = TaggedEntry(revision, tag);
  return changes;
}

void Ledger::Take(const ListedChanges& changes) {
  Apply(changes, contents_.rows);
  contents_.revision = changes.state.revision;
  totals_ = changes.state.totals;
}

Tag TagOf(const HistoryEntry& entry) { return std::stoull(entry.origin.text); }

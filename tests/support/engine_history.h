// A made-up history of commits, and what an engine must hold after each of them.
#pragma once

#include "platform/storage/engine.h"
#include "platform/storage/row_sum.h"
#include "platform/storage/sqlite_engine.h"
#include "scratch.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using Rows = std::map<ncc::RowKey, ncc::Row>;

// Changes whose rows lie ready.
struct ListedChanges final : ncc::ChangeSet {
  explicit ListedChanges(std::vector<ncc::Row> rows = {}, std::vector<ncc::RowKey> gone = {},
                         ncc::StoredState after = {})
      : put(std::move(rows)), removed(std::move(gone)), state(after) {}

  ncc::StoredState ForEach(const std::function<void(const ncc::RowChange&)>& visit) const override {
    std::map<ncc::RowKey, const ncc::Row*> all;
    for (const ncc::RowKey& key : removed) all[key] = nullptr;
    for (const ncc::Row& row : put) all[row.key] = &row;
    for (const auto& [key, row] : all) {
      visit({key, nullptr, row, row != nullptr ? ncc::SumOf(*row) : 0});
    }
    return state;
  }

  void ForEachEntry(const std::function<void(const ncc::HistoryEntry&)>& visit) const override {
    if (entry) visit(*entry);
  }

  std::vector<ncc::Row> put;
  std::vector<ncc::RowKey> removed;
  ncc::StoredState state;
  std::optional<ncc::HistoryEntry> entry;
};

inline ncc::RowKey HistoryKey(std::uint32_t n) {
  if (n % 4 == 0) return {ncc::RowKind::kDefinition, n, 0, 0};
  if (n % 4 == 1) return {ncc::RowKind::kObject, n, 0, 0};
  if (n % 8 == 2) return {ncc::RowKind::kNote, n, 0, 0};
  return {ncc::RowKind::kChunk, n, static_cast<std::uint8_t>(n % 8), n * 7};
}

// The rows of the commit that leads to `revision`: some of 48 are put and one is removed.
inline ListedChanges HistoryRowChanges(std::uint64_t revision) {
  std::map<ncc::RowKey, ncc::Row> put;
  for (std::uint32_t i = 0; i < 5; ++i) {
    ncc::Row row;
    row.key = HistoryKey(static_cast<std::uint32_t>((revision * 11 + i * 17) % 48));
    const bool chunk = row.key.kind >= ncc::RowKind::kChunk;
    row.type = chunk ? 0 : i + 1;
    if (!chunk) row.name = "row of " + std::to_string(revision);
    row.body.assign(200 + (revision * 37 + i) % 900, static_cast<char>('a' + revision % 26));
    row.body += std::to_string(revision);
    if (row.key.kind == ncc::RowKind::kObject && i % 2 == 0) row.lists = row.name;
    put[row.key] = std::move(row);
  }
  ListedChanges changes;
  const ncc::RowKey gone = HistoryKey(static_cast<std::uint32_t>(revision * 5 % 48));
  if (!put.contains(gone)) changes.removed.push_back(gone);
  for (auto& [key, row] : put) changes.put.push_back(std::move(row));
  return changes;
}

inline void Apply(const ListedChanges& changes, Rows& rows) {
  for (const auto& key : changes.removed) rows.erase(key);
  for (const auto& row : changes.put) rows.insert_or_assign(row.key, row);
}

inline ncc::RowTotals TotalsOf(const Rows& rows) {
  ncc::RowTotals totals;
  for (const auto& [key, row] : rows) AddTo(totals, SumOf(row));
  return totals;
}

inline Rows HistoryRows(std::uint64_t revision) {
  Rows rows;
  for (std::uint64_t r = 1; r <= revision; ++r) Apply(HistoryRowChanges(r), rows);
  return rows;
}

inline ncc::HistoryEntry EntryOf(std::uint64_t revision) {
  const std::string text = "change " + std::to_string(revision);
  return {revision, static_cast<std::int64_t>(revision * 10), {"anna", "", text}, text + '\0'};
}

// The commit that leads to `revision`.
inline ListedChanges HistoryChanges(std::uint64_t revision) {
  static std::vector<ncc::RowTotals> totals(1);  // by revision
  for (Rows rows = HistoryRows(totals.size() <= revision ? totals.size() - 1 : 0);
       totals.size() <= revision; totals.push_back(TotalsOf(rows))) {
    Apply(HistoryRowChanges(totals.size()), rows);
  }
  ListedChanges changes = HistoryRowChanges(revision);
  changes.state = {revision, totals[revision], revision * 7};
  changes.entry = EntryOf(revision);
  return changes;
}

// Another commit that leads to the same.
inline ListedChanges OfAnother(std::uint64_t revision) {
  ListedChanges changes = HistoryChanges(revision);
  ++changes.state.unit;
  return changes;
}

struct Contents {
  Rows rows;
  std::uint64_t revision = 0;
  friend bool operator==(const Contents&, const Contents&) = default;
};

// Throws std::logic_error when the rows do not come in ascending order.
inline Contents LoadAll(ncc::StorageEngine& engine) {
  Contents contents;
  const ncc::StoredState state = engine.Load([&](const ncc::RowView& row) {
    if (!contents.rows.empty() && !(contents.rows.rbegin()->first < row.key)) {
      throw std::logic_error("rows are loaded out of order");
    }
    contents.rows.emplace_hint(contents.rows.end(), row.key, CopyOf(row));
  });
  contents.revision = state.revision;
  return contents;
}

// Runs `body` in a process of its own and gives its result, or 1000 and the number of the signal
// that ended it. The process must open its databases itself.
template <class Body>
int RunInChild(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    int result = 255;
    try {
      result = body();
    } catch (...) {
    }
    ::_exit(result);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// With its rows loaded, brought to `revision`.
inline auto Continued(std::unique_ptr<ncc::StorageEngine> engine, std::uint64_t revision) {
  for (auto r = LoadAll(*engine).revision; r < revision;) engine->Commit(HistoryChanges(++r));
  return engine;
}

// A database with the history up to `revision`, closed.
inline void MakeHistory(const std::string& base, std::uint64_t revision) {
  Continued(ncc::OpenSqliteEngine(base, {ncc::OpenMode::kCreate}), revision);
}

// An owner that is killed after it has brought the database from `from` to `to`.
inline void LeaveLog(const std::string& base, std::uint64_t from, std::uint64_t to) {
  RunInChild([&] {
    const auto engine = ncc::OpenSqliteEngine(base, {ncc::OpenMode::kOpen});
    engine->Load([](const ncc::RowView&) {});
    for (std::uint64_t r = from + 1; r <= to; ++r) engine->Commit(HistoryChanges(r));
    ::_exit(0);
    return 1;
  });
}

// What the error says, or "" when there was none.
template <class Action>
std::string ErrorOf(Action action) {
  try {
    action();
  } catch (const ncc::StorageError& error) {
    return error.what();
  }
  return {};
}

inline Contents HistoryContents(std::uint64_t revision) {
  return {HistoryRows(revision), revision};
}

inline ::testing::AssertionResult Says(const std::string& text, const std::string& part) {
  if (text.find(part) != text.npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\"" << text << "\" lacks \"" << part << "\"";
}

// A folder for the files of the default engine; those of the database "net" mostly.
class EngineFiles : public ::testing::Test {
 protected:
  using Mode = ncc::OpenMode;

  std::unique_ptr<ncc::StorageEngine> Open(Mode mode = Mode::kOpen,
                                           const std::string& name = "net") const {
    return ncc::OpenSqliteEngine(scratch.Path(name), {mode});
  }
  Contents Load(Mode mode = Mode::kOpen, const std::string& name = "net") const {
    return LoadAll(*Open(mode, name));
  }
  // What opening and loading fails with.
  std::string Refusal(Mode mode = Mode::kOpen, const std::string& name = "net") const {
    return ErrorOf([&] { Load(mode, name); });
  }
  std::unique_ptr<ncc::StorageEngine> Continue(std::uint64_t revision, Mode mode = Mode::kOpen,
                                               const std::string& name = "net") const {
    return Continued(Open(mode, name), revision);
  }

  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  const std::string data = base + ".db";
  const std::string log = data + "-wal";
};

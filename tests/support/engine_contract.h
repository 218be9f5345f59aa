// What every storage engine has to do, as tests over a place that opens engines of one database.
// INSTANTIATE_TEST_SUITE_P(Name, EngineContract, ::testing::Values(PlaceMaker{MakePlace<Place>}))
// runs them.
#pragma once

#include "engine_history.h"
#include "network_fault.h"
#include "platform/storage/copy.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace ncc {

// A database that was not made yet.
class EnginePlace {
 public:
  virtual ~EnginePlace() = default;
  virtual std::unique_ptr<StorageEngine> Open(OpenMode mode) = 0;
  // Whether several machines can open it.
  virtual bool IsShared() const { return false; }
  // Of a shared one.
  virtual void SetNetwork(Network network) { static_cast<void>(network); }
};

template <class Place>
std::unique_ptr<EnginePlace> MakePlace() {
  return std::make_unique<Place>();
}

struct PlaceMaker {
  std::unique_ptr<EnginePlace> (*make)();
  friend std::ostream& operator<<(std::ostream& out, const PlaceMaker&) { return out << "place"; }
};

class EngineContract : public ::testing::TestWithParam<PlaceMaker> {
 protected:
  using Wait = std::chrono::milliseconds;
  static constexpr Wait kNone{0};
  static constexpr Wait kLong{20000};

  std::unique_ptr<StorageEngine> Open(OpenMode mode) const { return place->Open(mode); }
  std::unique_ptr<StorageEngine> Create(std::uint64_t revision) const {
    return Continued(Open(OpenMode::kCreate), revision);
  }

  const std::unique_ptr<EnginePlace> place = GetParam().make();
};

inline std::vector<HistoryEntry> HistoryOf(StorageEngine& engine, std::uint64_t from,
                                           std::uint64_t to) {
  std::vector<HistoryEntry> entries;
  engine.ReadHistory(from, to, [&](HistoryEntry&& entry) {
    entries.push_back(std::move(entry));
    return entries.size() < 100;
  });
  return entries;
}

template <class Action>
NCCFailure KindOf(Action action) {
  try {
    action();
  } catch (const StorageError& error) {
    return error.Kind();
  }
  return NCCFailure::kNone;
}

// Takes in what a follower is given until it is at `revision`.
inline void FollowTo(StorageEngine& follower, Contents& contents, std::uint64_t revision) {
  while (contents.revision < revision) {
    const auto units = follower.Follow(contents.revision, std::chrono::milliseconds(20000));
    ASSERT_TRUE(units && !units->empty()) << contents.revision;
    for (const StoredUnit& unit : *units) {
      ASSERT_EQ(unit.state.revision, contents.revision + 1);
      for (const auto& [key, row] : unit.rows) {
        contents.rows.erase(key);
        if (row) contents.rows.emplace(key, *row);
      }
      ASSERT_EQ(TotalsOf(contents.rows), unit.state.totals);
      contents.revision = unit.state.revision;
    }
  }
}

TEST_P(EngineContract, GivesBackWhatWasCommittedInOrder) {
  constexpr auto kMax = std::numeric_limits<std::uint32_t>::max();
  std::string every_byte;
  for (int i = 0; i < 256; ++i) every_byte += static_cast<char>(i);
  std::string large(3000000, '1');
  std::uint32_t random = 1;
  for (char& byte : large) byte = static_cast<char>((random = random * 1664525 + 1013904223) >> 24);
  ListedChanges first{{{{RowKind::kDefinition, 0, 0, 0}, kMax, "", "[]"},
                       {{RowKind::kDefinition, kMax, 0, 0}, 0, "Имя", ""},
                       {{RowKind::kObject, 0, 0, 0}, 1, std::string("a\0b", 3), ""},
                       {{RowKind::kObject, 7, 0, 0}, 1, "", "", "[[1]]"},
                       {{RowKind::kObject, kMax, 0, 0}, kMax, "x", every_byte, "[null,[2]]"},
                       {{RowKind::kChunk, 0, 0, 0}, 0, "", "[]"},
                       {{RowKind::kChunk, 3, 0, 7}, 0, "", large},
                       {{RowKind::kChunk, 3, 1, 0}, 0, "", "[1]"},
                       {{RowKind::kChunk, kMax, 7, (1U << 26) - 1}, 0, "", "[null]"},
                       {{RowKind::kNote, 7}, 0, "", R"({"k":"v"})"},
                       {{RowKind::kNote, kMax}, 0, "", "{}"}},
                      {},
                      {5, {}, 1}};
  ListedChanges second{
      {first.put[2], first.put[3], first.put[7]},
      {first.put[0].key, {RowKind::kDefinition, 77, 0, 0}, first.put[6].key, first.put[10].key},
      {std::numeric_limits<std::uint64_t>::max() / 2, {}, 2}};
  second.put[0].body = second.put[0].lists = "new";
  second.put[1].lists = second.put[2].body = "";
  Contents expected;
  {
    const auto engine = Open(OpenMode::kCreate);
    EXPECT_EQ(LoadAll(*engine), expected);
    Apply(first, expected.rows);
    first.state.totals = TotalsOf(expected.rows);
    EXPECT_EQ(engine->Commit(first), first.state);
    EXPECT_EQ(engine->Settle(), first.state);
    expected.revision = first.state.revision;
    EXPECT_TRUE(LoadAll(*engine) == expected);
  }
  const auto engine = Open(OpenMode::kOpen);
  EXPECT_TRUE(LoadAll(*engine) == expected);
  Apply(second, expected.rows);
  second.state.totals = TotalsOf(expected.rows);
  engine->Commit(second);
  expected.revision = second.state.revision;
  EXPECT_TRUE(LoadAll(*engine) == expected);
  EXPECT_TRUE(LoadAll(*engine) == expected) << "again";
}

TEST_P(EngineContract, MissesEachRowAndTellsAnOlderOne) {
  const auto engine = Create(12);
  const Rows rows = HistoryRows(12);
  const Rows older = HistoryRows(8);
  StoredState state = HistoryChanges(12).state;
  const auto commit = [&](std::vector<Row> put, std::vector<RowKey> gone) {
    ++state.unit;
    state.history.first = ++state.revision + 1;
    engine->Commit(ListedChanges(std::move(put), std::move(gone), state));
  };
  const auto refusal = [&] { return ErrorOf([&] { engine->Load([](const RowView&) {}); }); };
  const std::string missing = "it has " + std::to_string(rows.size() - 1) + " rows and not the " +
                              std::to_string(rows.size());
  for (const auto& [key, row] : rows) {
    commit({}, {key});
    EXPECT_TRUE(Says(refusal(), missing));
    const auto before = older.find(key);
    if (before != older.end() && before->second != row) {
      commit({before->second}, {});
      EXPECT_TRUE(Says(refusal(), "older than"));
    }
    commit({row}, {});
  }
  EXPECT_EQ(LoadAll(*engine), (Contents{rows, state.revision}));
}

TEST_P(EngineContract, HasOneOwnerAndExistsFromItsFirstCommitOn) {
  const auto missing = [&](OpenMode mode) { return KindOf([&] { LoadAll(*Open(mode)); }); };
  EXPECT_EQ(missing(OpenMode::kOpen), NCCFailure::kMissing);
  EXPECT_EQ(missing(OpenMode::kSnapshot), NCCFailure::kMissing);
  {
    const auto engine = Open(OpenMode::kCreate);
    EXPECT_TRUE(Says(ErrorOf([&] { Open(OpenMode::kOpen); }), "in use"));
    EXPECT_EQ(KindOf([&] { Open(OpenMode::kCreate); }), NCCFailure::kInUse);
  }
  EXPECT_EQ(missing(OpenMode::kOpen), NCCFailure::kMissing);
  {
    const auto engine = Create(1);
    EXPECT_NE(engine->Owner().value_or(""), "");
  }
  EXPECT_TRUE(Says(ErrorOf([&] { Open(OpenMode::kCreate); }), "a database of that name exists"));
  EXPECT_EQ(LoadAll(*Open(OpenMode::kOpen)), HistoryContents(1));
}

TEST_P(EngineContract, KeepsTheHistoryAsFarAsItIsTold) {
  const auto engine = Create(9);
  EXPECT_EQ(HistoryOf(*engine, 3, 5),
            (std::vector<HistoryEntry>{EntryOf(5), EntryOf(4), EntryOf(3)}));
  EXPECT_EQ(HistoryOf(*engine, 0, 100).size(), 9U);
  EXPECT_EQ(engine->FirstSince(41), 5U);
  EXPECT_EQ(engine->FirstSince(-1), 1U);
  EXPECT_EQ(engine->FirstSince(91), 10U);
  ListedChanges changes = HistoryChanges(10);
  changes.state.history = {{HistoryRule::Keep::kUnits, 3}, 8};
  changes.entry->replaced = std::string(2000000, 'x') + std::string(1, '\0');
  changes.entry->time = 1;  // the clock was set back
  engine->Commit(changes);
  EXPECT_EQ(HistoryOf(*engine, 0, 100),
            (std::vector<HistoryEntry>{*changes.entry, EntryOf(9), EntryOf(8)}));
  EXPECT_EQ(engine->FirstSince(0), 8U);
  EXPECT_EQ(engine->Load([](const RowView&) {}), changes.state);
}

TEST_P(EngineContract, IsCopiedToAnotherAndBackWithItsHistory) {
  const ScratchFolder scratch;
  const std::string file = scratch.Path("copy");
  StoredState state;
  {
    const auto copy = ncc::OpenSqliteEngine(file, {OpenMode::kCreate});
    const auto original =
        Continued(ncc::OpenSqliteEngine(scratch.Path("first"), {OpenMode::kCreate}), 40);
    const auto engine = Open(OpenMode::kCreate);
    state = CopyDatabase(*original, *engine);
    EXPECT_EQ(CopyDatabase(*engine, *copy), state);
    EXPECT_NE(ErrorOf([&] { CopyDatabase(*original, *engine); }), "") << "it holds something";
    engine->Commit(HistoryChanges(41));
    EXPECT_EQ(LoadAll(*engine), HistoryContents(41));
    CopyToFile(*engine, scratch.Path("backup.db"));
  }
  const auto copy = ncc::OpenSqliteEngine(file, {OpenMode::kOpen});
  EXPECT_EQ(LoadAll(*copy), HistoryContents(40));
  EXPECT_EQ(HistoryOf(*copy, 1, 40).size(), 40U);
  const auto backup = ncc::OpenSqliteEngine(scratch.Path("backup"), {OpenMode::kOpen});
  EXPECT_EQ(LoadAll(*backup), HistoryContents(41));
  EXPECT_EQ(HistoryOf(*backup, 1, 50).front(), EntryOf(41));
}

TEST_P(EngineContract, IsFollowedCommitByCommit) {
  if (!place->IsShared()) {
    Create(1);
    EXPECT_TRUE(Says(ErrorOf([&] { Open(OpenMode::kFollow); }), "can be followed"));
    return;
  }
  const auto engine = Create(2);
  const auto follower = Open(OpenMode::kFollow);
  Contents contents = LoadAll(*follower);
  EXPECT_EQ(contents, HistoryContents(2));
  EXPECT_TRUE(follower->Follow(2, kNone)->empty());
  EXPECT_NE(ErrorOf([&] { follower->Commit(HistoryChanges(3)); }), "");
  for (std::uint64_t r = 3; r <= 5; ++r) engine->Commit(HistoryChanges(r));
  FollowTo(*follower, contents, 5);
  EXPECT_EQ(contents, HistoryContents(5));
  EXPECT_EQ(HistoryOf(*follower, 1, 100).front(), EntryOf(5));
  EXPECT_NE(follower->Owner().value_or(""), "");
  // Where the commits are not kept any more, or are given all the same.
  const auto late = Open(OpenMode::kFollow);
  EXPECT_EQ(LoadAll(*late), HistoryContents(5));
  for (std::uint64_t r = 6; r <= 20; ++r) engine->Commit(HistoryChanges(r));
  if (late->Follow(5, kNone)) {
    contents = HistoryContents(5);
    FollowTo(*late, contents, 20);
    EXPECT_EQ(contents, HistoryContents(20));
  }
  EXPECT_EQ(LoadAll(*late), HistoryContents(20));
}

TEST_P(EngineContract, IsTakenOverOnceTheOwnerHasGoneOrByForce) {
  if (!place->IsShared()) return;
  auto engine = Create(2);
  const auto follower = Open(OpenMode::kFollow);
  LoadAll(*follower);
  EXPECT_EQ(KindOf([&] { follower->Acquire(Wait(30), false); }), NCCFailure::kInUse);
  engine->Commit(HistoryChanges(3));
  engine.reset();
  EXPECT_EQ(follower->Owner(), std::nullopt);
  EXPECT_FALSE(follower->IsOwnerLost());
  follower->Acquire(kLong, false);
  while (!follower->Follow(LoadAll(*follower).revision, kNone)->empty()) {
  }
  follower->Commit(HistoryChanges(4));

  const auto third = Open(OpenMode::kFollow);
  EXPECT_EQ(LoadAll(*third), HistoryContents(4));
  third->Acquire(kNone, true);
  EXPECT_EQ(KindOf([&] { follower->Commit(HistoryChanges(5)); }), NCCFailure::kNotOwner);
  EXPECT_TRUE(third->Follow(4, kNone)->empty());
  third->Commit(OfAnother(5));
  EXPECT_EQ(KindOf([&] { follower->Commit(HistoryChanges(5)); }), NCCFailure::kNotOwner);
  EXPECT_EQ(LoadAll(*follower), HistoryContents(5)) << "it still reads";
}

TEST_P(EngineContract, TellsTheTruthWhateverTheNetworkLoses) {
  if (!place->IsShared()) return;
  const auto engine = Create(1);
  std::uint64_t revision = 1;
  for (const Network fault : {Network::kIsDown, Network::kLosesAnswers, Network::kLosesRequests}) {
    place->SetNetwork(fault);
    const NCCFailure kind = KindOf([&] { engine->Commit(HistoryChanges(revision + 1)); });
    if (fault == Network::kIsDown) {
      EXPECT_TRUE(kind == NCCFailure::kUnavailable || kind == NCCFailure::kNotKnown);
      EXPECT_EQ(KindOf([&] { engine->Load([](const RowView&) {}); }), NCCFailure::kUnavailable);
    } else {
      EXPECT_EQ(kind, NCCFailure::kNotKnown);
      EXPECT_EQ(KindOf([&] { engine->Settle(); }), NCCFailure::kUnavailable);
    }
    place->SetNetwork(Network::kWorks);
    const StoredState now = engine->Settle();
    EXPECT_EQ(now.revision, revision + (fault == Network::kLosesAnswers ? 1 : 0));
    EXPECT_EQ(now, HistoryChanges(now.revision).state);
    EXPECT_EQ(LoadAll(*engine), HistoryContents(now.revision));
    revision = now.revision + 1;
    engine->Commit(HistoryChanges(revision));
  }
  EXPECT_EQ(LoadAll(*Open(OpenMode::kSnapshot)), HistoryContents(revision));
}

}  // namespace ncc

// The default engine under damage, failing writes, ends of power and a full disk.
#include "platform/storage/copy.h"
#include "platform/storage/database_files.h"
#include "platform/storage/log_file.h"
#include "platform/storage/owner_lock.h"
#include "platform/storage/restore.h"
#include "platform/storage/sqlite_engine.h"
#include "tests/support/engine_history.h"
#include "tests/support/file_faults.h"
#include "tests/support/scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <random>
#include <set>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

namespace fs = std::filesystem;

using EngineFaultTest = EngineFiles;

// In place: a file that is emptied first makes some file systems flush it.
void Overwrite(const std::string& file, const std::string& bytes) {
  std::fstream(file, std::ios::binary | std::ios::in | std::ios::out) << bytes;
  fs::resize_file(file, bytes.size());
}

TEST_F(EngineFaultTest, DamageIsRefusedOrHarmlessNeverBelieved) {
  MakeHistory(base, 25);
  const std::string sound = ReadFile(data);
  const Contents expected{HistoryRows(25), 25};
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  int refused = 0;
  constexpr int kCases = 800;
  for (int i = 0; i < kCases; ++i) {
    const std::size_t at = random() % sound.size();
    const unsigned bit = random() % 8;
    std::string damaged = sound;
    if (i % 16 == 0) {
      damaged.resize(at);
    } else {
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << bit));
    }
    Overwrite(data, damaged);
    Contents loaded;
    const std::string error = ErrorOf([&] { loaded = Load(); });
    ASSERT_TRUE(!error.empty() || loaded == expected)
        << "other rows after damage: byte " << at << ", bit " << bit << ", case " << i << ", seed "
        << seed;
    refused += error.empty() ? 0 : 1;
    ASSERT_TRUE(ReadFile(data) == damaged) << "changed on opening: byte " << at << ", bit " << bit;
    ASSERT_FALSE(fs::exists(log)) << error;
  }
  // The rows fill most of the file.
  EXPECT_GT(refused, kCases / 3) << "seed " << seed;
}

// A row that is taken out of its page leaves only sound rows behind.
TEST_F(EngineFaultTest, ALostRowIsNoticed) {
  MakeHistory(base, 25);
  const std::string sound = ReadFile(data);
  constexpr std::size_t kPage = 4096;
  int pages = 0;
  for (std::size_t page = kPage; page < sound.size(); page += kPage) {
    // A leaf of a table: its type, and at 3 the big-endian count of its rows.
    if (sound[page] != 13 || sound[page + 4] < 2) continue;
    ++pages;
    std::string damaged = sound;
    --damaged[page + 4];
    Overwrite(data, damaged);
    EXPECT_NE(Refusal(), "") << "page " << page / kPage;
  }
  EXPECT_GE(pages, 3);
}

TEST_F(EngineFaultTest, ADamagedFileKeepsTheLogOfADeadProcess) {
  MakeHistory(base, 20);
  LeaveLog(base, 20, 21);
  const std::string sound = ReadFile(data);
  const std::string logged = ReadFile(log);
  // A text of a row that the log does not replace.
  std::string damaged = sound;
  damaged[damaged.find("row of 19") + 2] = 'u';
  WriteFile(data, damaged);
  EXPECT_NE(Refusal(), "");
  EXPECT_TRUE(ReadFile(data) == damaged);
  EXPECT_TRUE(ReadFile(log) == logged);
  WriteFile(data, sound);
  EXPECT_EQ(Load(), HistoryContents(21));
  EXPECT_FALSE(fs::exists(log));
}

TEST_F(EngineFaultTest, AChangedRowIsNamed) {
  MakeHistory(base, 1);
  std::string bytes = ReadFile(data);
  const Row row = HistoryRows(1).rbegin()->second;
  bytes[bytes.find(row.body) + 10] = '#';
  WriteFile(data, bytes);
  const std::string error = Refusal();
  EXPECT_TRUE(Says(error, "database is damaged: page "));
  EXPECT_TRUE(Says(error, "list " + std::to_string(row.key.list) + " of object " +
                              std::to_string(row.key.number) + ")"));
}

// Opens the database, lets the given call fail in the next commit and checks what is told
// afterwards. False when the commit made fewer calls than that.
bool CommitUnderFault(const std::string& base, const Fault& wanted, std::uint64_t& revision) {
  const auto engine = OpenSqliteEngine(base, {OpenMode::kOpen});
  EXPECT_EQ(LoadAll(*engine), HistoryContents(revision));
  // Every other time the log has seen a commit before.
  if (wanted.after % 2 == 1) engine->Commit(HistoryChanges(++revision));
  fault = wanted;
  std::string error = ErrorOf([&] { engine->Commit(HistoryChanges(revision + 1)); });
  const bool hit = fault.hits > 0;
  if (!error.empty()) {
    EXPECT_NE(ErrorOf([&] { engine->Commit(HistoryChanges(revision + 1)); }), "");
    // Reading may go on to fail while writing does, but must not tell anything untrue.
    try {
      revision = LoadAll(*engine).revision;
    } catch (const StorageError&) {
      EXPECT_TRUE(wanted.sticky);
      fault = Fault();
      revision = LoadAll(*engine).revision;
    }
  } else {
    ++revision;
  }
  fault = Fault();
  EXPECT_EQ(LoadAll(*engine), HistoryContents(revision));
  engine->Commit(HistoryChanges(++revision));
  return hit;
}

// Restores the database from a copy of revision 3. Gives the name of what was replaced.
std::string Restore(const std::string& base) {
  const ScratchFolder made;
  MakeHistory(made.Path("copy"), 3);
  const std::string kept = Restoration(base, made.Path("copy.db")).Publish();
  EXPECT_EQ(LoadAll(*OpenSqliteEngine(base, {OpenMode::kOpen})), HistoryContents(3));
  return fs::path(kept).stem();
}

TEST_F(EngineFaultTest, WhatIsReplacedStillShowsThatChangesAreMissing) {
  MakeHistory(base, 8);
  const std::string older = scratch.Path("older");
  RunInChild([&] {
    const auto engine = Continue(9);
    fs::copy_file(log, older);
    engine->Commit(HistoryChanges(10));
    ::_exit(0);
    return 1;
  });
  fs::rename(older, log);
  EXPECT_TRUE(Says(Refusal(), "after revision 9 may be lost"));
  has_links = false;
  EXPECT_TRUE(Says(ErrorOf([&] { Restore(base); }), "no hard links"));
  has_links = true;
  EXPECT_TRUE(Says(Refusal(), "after revision 9 may be lost"));
  const std::string kept = Restore(base);
  for (const Mode mode : {Mode::kOpen, Mode::kSnapshot})
    EXPECT_TRUE(Says(Refusal(mode, kept), "after revision 9 may be lost"));
}

TEST_F(EngineFaultTest, KeepsACopyWhereTheFileSystemHasNoHardLinks) {
  MakeHistory(base, 9);
  LeaveLog(base, 9, 10);
  has_links = false;
  const std::string kept = Restore(base);
  has_links = true;
  EXPECT_EQ(Load(Mode::kOpen, kept), HistoryContents(10));
}

// Between the renaming of the copy and the end of the log's old name.
TEST_F(EngineFaultTest, WhatIsReplacedWaitsUntilItsLogIsItsOwn) {
  const std::string old = "net-replaced-20260301-140211";
  CopyToFile(*Continue(3, Mode::kCreate, "copy"), data);
  MakeHistory(scratch.Path(old), 9);
  LeaveLog(scratch.Path(old), 9, 10);
  fs::create_hard_link(scratch.Path(old + ".db-wal"), log);
  EXPECT_TRUE(Says(Refusal(Mode::kOpen, old), "open " + data + " first"));
  EXPECT_EQ(Load(), HistoryContents(3));
  EXPECT_EQ(Load(Mode::kOpen, old), HistoryContents(10));
}

TEST_F(EngineFaultTest, AFailingWriteOrFlushAnywhereInACommitTellsTheTruth) {
  MakeHistory(base, 1);
  std::uint64_t revision = 1;
  for (const bool sticky : {false, true}) {
    long points = 0;
    while (CommitUnderFault(base, {points, sticky, false, 0}, revision)) {
      ASSERT_FALSE(HasFailure()) << "call " << points << ", sticky " << sticky;
      ++points;
    }
    // A commit of five rows writes at least their pages and flushes.
    EXPECT_GT(points, 5) << "sticky " << sticky;
  }
  EXPECT_EQ(Load(), HistoryContents(revision));
}

ino_t FileNumber(const std::string& file) {
  struct stat info {};
  return ::stat(file.c_str(), &info) == 0 ? info.st_ino : 0;
}

TEST_F(EngineFaultTest, AFailedFlushIsNotRetriedButWrittenAnew) {
  const auto engine = Continue(1, Mode::kCreate);
  const ino_t before = FileNumber(log);
  fault = {0, false, true, 0};
  const std::string error = ErrorOf([&] { engine->Commit(HistoryChanges(2)); });
  EXPECT_TRUE(Says(error, "net.db: Input/output error"));
  EXPECT_EQ(FileNumber(log), before);
  // Nobody else gets in meanwhile, though the file itself is not open.
  EXPECT_EQ(Refusal(), "database is in use by another object of this process");
  const std::uint64_t revision = LoadAll(*engine).revision;
  fault = Fault();
  EXPECT_NE(FileNumber(log), before);
  EXPECT_EQ(LoadAll(*engine), HistoryContents(revision));
}

TEST_F(EngineFaultTest, AFullDiskUndoesTheCommitAndNothingElse) {
  const auto limit_files = [](rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
  };
  const int result = RunInChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const auto engine = Continue(0, Mode::kCreate);
    if (!limit_files(1 << 20)) return 1;
    engine->Commit(HistoryChanges(1));
    ListedChanges big = HistoryChanges(2);
    big.put[0].body.assign(2 << 20, 'b');
    if (ErrorOf([&] { engine->Commit(big); }).find("File too large") == std::string::npos) return 2;
    if (LoadAll(*engine) != HistoryContents(1)) return 3;
    engine->Commit(HistoryChanges(2));
    if (!limit_files(4096)) return 4;
    if (ErrorOf([&] { CopyToFile(*engine, scratch.Path("copy.db")); }).empty()) return 5;
    if (std::distance(fs::directory_iterator(scratch.Path()), {}) != 3) return 6;
    if (!limit_files(RLIM_INFINITY)) return 7;
    engine->Commit(HistoryChanges(3));
    return LoadAll(*engine) == HistoryContents(3) ? 0 : 8;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Load(), HistoryContents(3));
}

TEST_F(EngineFaultTest, ALostOrDamagedLogIsSaid) {
  MakeHistory(base, 20);
  LeaveLog(base, 20, 26);
  const std::string stored = ReadFile(data);
  const std::string logged = ReadFile(log);
  const std::string lock = ReadFile(base + ".lock");
  const std::uint64_t end = LogFile(log).SizeOfCommits();
  const auto flipped = [&](std::uint64_t at) {
    std::string bytes = logged;
    bytes[at] = static_cast<char>(bytes[at] ^ 4);
    return bytes;
  };
  const struct {
    const char* what;
    std::string log;
    bool has_lock;
    bool is_loss;
  } cases[] = {{"sound", logged, true, false},
               {"sound, without lock file", logged, false, false},
               {"removed", "", true, true},
               {"removed with the lock file", "", false, true},
               {"zeros", std::string(logged.size(), '\0'), false, true},
               {"damaged head", flipped(9), false, true},
               {"damaged first commit", flipped(300), false, true},
               {"damaged last commit", flipped(end - 300), true, true},
               {"cut behind a commit", logged.substr(0, 32), true, true}};
  for (const auto& [what, bytes, has_lock, is_loss] : cases) {
    Overwrite(data, stored);
    fs::remove(log);
    if (!bytes.empty()) WriteFile(log, bytes);
    fs::remove(base + ".lock");
    if (has_lock) WriteFile(base + ".lock", lock);
    for (const OpenMode mode : {Mode::kSnapshot, Mode::kOpen}) {
      try {
        EXPECT_EQ(Load(mode), HistoryContents(26)) << what;
        EXPECT_FALSE(is_loss) << what;
      } catch (const StorageError& error) {
        EXPECT_TRUE(is_loss && error.Kind() == NCCFailure::kLossPossible) << what << error.what();
        EXPECT_TRUE(Says(error.what(), "last changes after revision 2"));
        EXPECT_TRUE(ReadFile(data) == stored) << what;
        EXPECT_TRUE(ReadFile(log) == bytes) << what;
      }
    }
    if (!is_loss) continue;
    std::uint64_t revision = 0;
    {
      const auto engine = OpenSqliteEngine(base, {Mode::kOpen, true});
      revision = LoadAll(*engine).revision;
      EXPECT_LT(revision, 26U) << what;
    }
    LeaveLog(base, revision, revision + 1);
    EXPECT_EQ(Load(), HistoryContents(revision + 1)) << what;
  }
}

TEST_F(EngineFaultTest, ALogThatGrowsWhileItIsReadRaisesNoQuestion) {
  MakeHistory(base, 20);
  LeaveLog(base, 20, 26);
  const std::string grown = ReadFile(log);
  const std::size_t written = LogFile(log).SizeOfCommits() / 3;
  const std::size_t read = written + (1U << 14);
  Overwrite(log, grown.substr(0, written) + std::string(grown.size() - written, '\0'));
  before_read = [&](std::size_t size) {
    if (size == grown.size() - read) Overwrite(log, grown);
    return size == grown.size() ? read : size;
  };
  Contents found;
  EXPECT_EQ(ErrorOf([&] { found = Load(Mode::kSnapshot); }), "");
  before_read = nullptr;
  EXPECT_EQ(found, HistoryContents(26));
}

// The files of a recorded run as an end of power at some event leaves them: what was flushed, and
// of the rest any sectors.
class PowerCut {
 public:
  PowerCut(std::mt19937& random, std::map<std::string, std::string> durable)
      : random_(random), durable_(std::move(durable)) {}

  std::uint64_t Acknowledged() const { return acknowledged_; }

  void Follow(const Event& event) {
    auto& waiting = waiting_[event.file];
    if (event.what == Event::kAcknowledge) acknowledged_ = event.offset;
    if (event.what == Event::kRemove) removed_.insert(event.file);
    if (event.what == Event::kWrite) waiting.push_back(event);
    if (event.what != Event::kFlush) return;
    removed_.erase(event.file);
    for (const Event& write : waiting) Put(durable_[event.file], write.bytes, write.offset);
    waiting.clear();
  }

  void Leave(const ScratchFolder& folder) {
    for (const char* name : {"net.db", "net.db-wal", "net.lock"}) fs::remove(folder.Path(name));
    for (auto [name, bytes] : durable_) {
      if (removed_.contains(name) && random_() % 2 == 0) continue;
      for (const Event& write : waiting_[name]) {
        for (std::size_t at = 0; at < write.bytes.size(); at += 512) {
          if (random_() % 2 == 0) Put(bytes, write.bytes.substr(at, 512), write.offset + at);
        }
      }
      WriteFile(folder.Path(name), bytes);
    }
    OwnerLock lock(folder.Path("net.lock"));
    lock.Keep();
    lock.Acknowledge({IdOf(folder.Path("net.db")).inode, acknowledged_,
                      HistoryChanges(acknowledged_).state.unit});
  }

 private:
  static void Put(std::string& bytes, const std::string& part, std::size_t at) {
    if (bytes.size() < at + part.size()) bytes.resize(at + part.size());
    bytes.replace(at, part.size(), part);
  }

  std::mt19937& random_;
  std::map<std::string, std::string> durable_;
  std::map<std::string, std::vector<Event>> waiting_;
  std::set<std::string> removed_;
  std::uint64_t acknowledged_ = 0;
};

TEST_F(EngineFaultTest, AnEndOfPowerLosesNothingAcknowledgedAndRaisesNoQuestion) {
  const ScratchFolder after;
  MakeHistory(base, 4);
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  std::map<std::string, std::string> durable{{"net.db", ReadFile(data)}};
  std::vector<Event> events;
  recording = &events;
  for (std::uint64_t revision = 4; revision < 8;) {  // two owners, closed cleanly
    const auto engine = Continue(0);
    for (int i = 0; i < 2; ++i) {
      engine->Commit(HistoryChanges(++revision));
      events.push_back({Event::kAcknowledge, "", "", revision});
    }
  }
  recording = nullptr;
  PowerCut cut(random, std::move(durable));
  for (std::size_t i = 0; i < events.size(); ++i) {
    cut.Follow(events[i]);
    if (events[i].bytes.size() > 4096) continue;  // zeros, in many equal parts
    for (int state = 0; state < 2; ++state) {
      cut.Leave(after);
      Contents found;
      const std::string error =
          ErrorOf([&] { found = LoadAll(*OpenSqliteEngine(after.Path("net"), {Mode::kOpen})); });
      ASSERT_EQ(error, "") << "event " << i << ", seed " << seed;
      ASSERT_GE(found.revision, cut.Acknowledged()) << "event " << i << ", seed " << seed;
      ASSERT_TRUE(found.rows == HistoryRows(found.revision)) << "event " << i << ", seed " << seed;
    }
  }
  EXPECT_EQ(cut.Acknowledged(), 8U);
}

TEST_F(EngineFaultTest, AFileOfAnotherDatabaseNeverPassesAsStored) {
  MakeHistory(base, 2);
  MakeHistory(scratch.Path("other"), 3);  // of the revision that the commit below leads to
  const std::string own = ReadFile(data);
  ListedChanges changes = HistoryChanges(3);
  changes.state.unit = 77;
  const auto replace = [&](bool in_place) {
    if (in_place) return Overwrite(data, ReadFile(scratch.Path("other.db")));
    fs::copy(scratch.Path("other.db"), scratch.Path("new"), fs::copy_options::overwrite_existing);
    fs::rename(scratch.Path("new"), data);
  };
  for (const bool in_place : {false, true}) {
    WriteFile(data, own);
    const auto engine = Continue(0);
    fault = {0, true, false, 0};
    EXPECT_NE(ErrorOf([&] { engine->Commit(changes); }), "");
    fault = Fault();
    replace(in_place);
    const std::string error = ErrorOf([&] { LoadAll(*engine); });
    EXPECT_TRUE(Says(error, in_place ? "another program" : "removed or replaced"));
  }
  WriteFile(data, own);
  const auto engine = Continue(0);
  replace(false);
  EXPECT_TRUE(Says(ErrorOf([&] { engine->Commit(changes); }), "removed or replaced"));
  CopyToFile(*engine, scratch.Path("saved.db"));
  EXPECT_EQ(Load(Mode::kOpen, "saved"), HistoryContents(2));
  // Nor is a database replaced that somebody has open.
  const auto owner = Open(Mode::kOpen, "other");
  EXPECT_TRUE(Says(ErrorOf([&] { CopyToFile(*engine, scratch.Path("other.db")); }), "is in use"));
}

// The commit after `revision` that adds a row of two megabytes.
ListedChanges LargeCommit(std::uint64_t revision) {
  const Row row{{RowKind::kChunk, 900, 0, 0}, 0, "", std::string(2 << 20, 'b')};
  ListedChanges changes{{row}, {}, {revision + 1, TotalsOf(HistoryRows(revision)), 0}};
  AddTo(changes.state.totals, SumOf(row));
  return changes;
}

TEST_F(EngineFaultTest, TheLogLeavesANearlyFullDiskToTheChanges) {
  for (const bool admits_it : {true, false}) {
    const ScratchFolder place;
    disk = {place.Path(), 3 << 20, admits_it, 0};
    MakeHistory(place.Path("net"), 1);
    LeaveLog(place.Path("net"), 1, 2);
    EXPECT_LT(disk.Used(), 1U << 18) << "the log was filled";
    if (admits_it) {
      EXPECT_LT(disk.most_used, 1U << 18) << "the room was not asked for";
    }
    disk = {};
  }
  for (const bool reopened : {false, true}) {
    const ScratchFolder place;
    MakeHistory(place.Path("net"), 10);
    LeaveLog(place.Path("net"), 10, reopened ? 90 : 11);
    const auto engine = OpenSqliteEngine(place.Path("net"), {OpenMode::kOpen});
    for (std::uint64_t r = LoadAll(*engine).revision; r < 90;) engine->Commit(HistoryChanges(++r));
    disk = {place.Path(), 0, true, 0};
    disk.room = disk.Used();
    EXPECT_EQ(ErrorOf([&] { engine->Commit(LargeCommit(90)); }), "") << reopened;
    EXPECT_EQ(LoadAll(*engine).revision, 91U);
    disk = {};
  }
}

}  // namespace
}  // namespace ncc

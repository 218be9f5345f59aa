// The default engine whose process dies at any moment: of changes, of a backup, of a restoration.
#include "platform/storage/copy.h"
#include "platform/storage/log_file.h"
#include "platform/storage/restore.h"
#include "platform/storage/sqlite_engine.h"
#include "tests/support/engine_history.h"
#include "tests/support/file_faults.h"
#include "tests/support/scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace ncc {
namespace {

namespace fs = std::filesystem;

// Commits without end and tells each finished revision through the pipe.
int CommitUntilKilled(const std::string& base, int acknowledged) {
  const auto engine = OpenSqliteEngine(base, {OpenMode::kOpen});
  for (std::uint64_t r = LoadAll(*engine).revision + 1;; ++r) {
    engine->Commit(HistoryChanges(r));
    if (::write(acknowledged, &r, sizeof r) != sizeof r) return 1;
  }
}

TEST(KillTest, AKilledProcessLosesNothingAcknowledged) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  MakeHistory(base, 1);
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  std::uint64_t last = 1;
  Rows expected = HistoryRows(1);
  for (int round = 0; round < 40; ++round) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(CommitUntilKilled(base, pipe_ends[1]));
    ::close(pipe_ends[1]);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    std::uint64_t acknowledged = last;
    while (::read(pipe_ends[0], &acknowledged, sizeof acknowledged) == sizeof acknowledged) {
    }
    ::close(pipe_ends[0]);

    // Every other round the next child recovers by itself.
    if (round % 2 == 0) continue;
    const Contents found = LoadAll(*OpenSqliteEngine(base, {OpenMode::kOpen}));
    ASSERT_GE(found.revision, acknowledged) << "seed " << seed;
    ASSERT_GE(found.revision, last) << "seed " << seed;
    while (last < found.revision) Apply(HistoryChanges(++last), expected);
    ASSERT_TRUE(found.rows == expected) << "round " << round << ", seed " << seed;
  }
  EXPECT_GT(last, 5U);
}

TEST(KillTest, WhatAKilledBackupLeftGoesWithTheNext) {
  const ScratchFolder scratch;
  MakeHistory(scratch.Path("net"), 1);
  for (int dead = 0;; ++dead) {
    const int result = RunInChild([&] {
      const auto engine = OpenSqliteEngine(scratch.Path("net"), {OpenMode::kOpen});
      engine->Load([](const RowView&) {});
      calls_to_death = dead;
      CopyToFile(*engine, scratch.Path("copy" + std::to_string(dead) + ".db"));
      return 0;
    });
    if (result == 0) break;
    ASSERT_EQ(result, 99);
  }
  const auto engine = OpenSqliteEngine(scratch.Path("net"), {OpenMode::kOpen});
  engine->Load([](const RowView&) {});
  CopyToFile(*engine, scratch.Path("last.db"));
  for (const auto& file : fs::directory_iterator(scratch.Path())) {
    const std::string name = file.path();
    EXPECT_EQ(name.find("part"), std::string::npos) << name;
    if (name.ends_with(".lock")) {
      EXPECT_TRUE(fs::exists(name.substr(0, name.size() - 4) + "db")) << name;
    }
  }
}

// 0 where the database is told to have lost changes.
std::uint64_t RevisionOf(const std::string& base, OpenMode mode) {
  try {
    return LoadAll(*OpenSqliteEngine(base, {mode})).revision;
  } catch (const StorageError& error) {
    EXPECT_EQ(error.Kind(), NCCFailure::kLossPossible) << error.what();
    return 0;
  }
}

TEST(KillTest, ARestorationThatIsKilledAnywhereLeavesTheOldOneOrTheNew) {
  const ScratchFolder made;
  MakeHistory(made.Path("copy"), 5);
  MakeHistory(made.Path("net"), 7);
  LeaveLog(made.Path("net"), 7, 10);
  fs::resize_file(made.Path("net.db-wal"), LogFile(made.Path("net.db-wal")).SizeOfCommits());
  std::string log = ReadFile(made.Path("net.db-wal"));
  for (const std::uint64_t old : {10U, 0U}) {  // its log can be brought in, or is damaged
    if (old == 0) log[300] ^= 4;
    WriteFile(made.Path("net.db-wal"), log);
    int dead = 0;
    for (bool done = false; !done; ++dead) {
      const ScratchFolder scratch;
      const std::string net = scratch.Path("net");
      for (const char* name : {"net.db", "net.db-wal", "net.lock"}) {
        fs::copy(made.Path(name), scratch.Path(name));
      }
      const int result = RunInChild([&] {
        calls_to_death = dead;
        Restoration restoration(net, made.Path("copy.db"));
        restoration.Publish();
        return 0;
      });
      ASSERT_TRUE(result == 0 || result == 99) << result << " at call " << dead;
      done = result == 0;
      const std::uint64_t found = RevisionOf(net, OpenMode::kSnapshot);
      EXPECT_EQ(RevisionOf(net, OpenMode::kOpen), found) << "call " << dead;
      EXPECT_TRUE(found == 5 || (!done && found == old)) << "call " << dead << ": " << found;
      EXPECT_TRUE(found != 0 || ReadFile(net + ".db-wal") == log) << "call " << dead;
      // A restoration beside clears away what is left of a copy; what was replaced is whole.
      Restoration(scratch.Path("other"), made.Path("copy.db"));
      int kept = 0;
      for (const auto& file : fs::directory_iterator(scratch.Path())) {
        const std::string name = file.path().filename();
        EXPECT_EQ(name.find("part"), std::string::npos) << "call " << dead;
        if (!name.starts_with("net-replaced-") || !name.ends_with(".db")) continue;
        ++kept;
        EXPECT_EQ(RevisionOf(scratch.Path(name.substr(0, name.size() - 3)), OpenMode::kSnapshot),
                  old)
            << "call " << dead;
        EXPECT_TRUE(old != 0 || ReadFile(scratch.Path(name + "-wal")) == log) << "call " << dead;
      }
      EXPECT_EQ(kept, found == 5 ? 1 : 0) << "call " << dead;
    }
    EXPECT_GT(dead, 8);
  }
}

}  // namespace
}  // namespace ncc

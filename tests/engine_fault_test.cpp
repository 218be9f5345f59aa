// The default engine under damage, sudden death, failing writes and a full disk.
#include "platform/hdb/sqlite_engine.h"
#include "tests/support/engine_history.h"
#include "tests/support/scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <limits>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Which of the coming write and flush calls fail: the one that `after` others precede, and with
// `sticky` all from there on.
struct Fault {
  long after = std::numeric_limits<long>::max();
  bool sticky = false;
  bool flushes_only = false;
  long hits = 0;
};
Fault fault;

bool FailsNow(bool flush) {
  if (fault.flushes_only && !flush) return false;
  const long left = fault.after--;
  if (left > 0 || (left < 0 && !fault.sticky)) return false;
  ++fault.hits;
  errno = EIO;
  return true;
}

}  // namespace

// These stand before the C library's own in every library of this process.
extern "C" {
__attribute__((visibility("default"))) ssize_t pwrite64(int fd, const void* bytes, size_t size,
                                                        off64_t offset) {
  return FailsNow(false) ? -1 : ::syscall(SYS_pwrite64, fd, bytes, size, offset);
}
__attribute__((visibility("default"))) int fdatasync(int fd) {
  return FailsNow(true) ? -1 : static_cast<int>(::syscall(SYS_fdatasync, fd));
}
}

namespace ncc {
namespace {

namespace fs = std::filesystem;

// A database with the history up to `revision`, closed.
void MakeHistory(const std::string& base, std::uint64_t revision) {
  const auto engine = OpenSqliteEngine(base, OpenMode::kCreate);
  engine->Load([](Row&&) {});
  for (std::uint64_t r = 1; r <= revision; ++r) engine->Commit(HistoryChanges(r));
}

// In place: a file that is emptied first makes some file systems flush it.
void Overwrite(const std::string& file, const std::string& bytes) {
  std::fstream(file, std::ios::binary | std::ios::in | std::ios::out) << bytes;
  fs::resize_file(file, bytes.size());
}

TEST(EngineFaultTest, DamageIsRefusedOrHarmlessNeverBelieved) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  MakeHistory(base, 25);
  const std::string sound = ReadFile(base + ".db");
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
    Overwrite(base + ".db", damaged);
    Contents loaded;
    const std::string error =
        ErrorOf([&] { loaded = LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)); });
    ASSERT_TRUE(!error.empty() || loaded == expected)
        << "other rows after damage: byte " << at << ", bit " << bit << ", case " << i << ", seed "
        << seed;
    refused += error.empty() ? 0 : 1;
    ASSERT_TRUE(ReadFile(base + ".db") == damaged)
        << "changed on opening: byte " << at << ", bit " << bit;
    ASSERT_FALSE(fs::exists(base + ".db-wal")) << error;
  }
  // The rows fill most of the file.
  EXPECT_GT(refused, kCases / 3) << "seed " << seed;
}

// A row that is taken out of its page leaves only sound rows behind.
TEST(EngineFaultTest, ALostRowIsNoticed) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  MakeHistory(base, 25);
  const std::string sound = ReadFile(base + ".db");
  constexpr std::size_t kPage = 4096;
  int pages = 0;
  for (std::size_t page = kPage; page < sound.size(); page += kPage) {
    // A leaf of a table: its type, and at 3 the big-endian count of its rows.
    if (sound[page] != 13 || sound[page + 4] < 2) continue;
    ++pages;
    std::string damaged = sound;
    --damaged[page + 4];
    Overwrite(base + ".db", damaged);
    EXPECT_NE(ErrorOf([&] { LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)); }), "")
        << "page " << page / kPage;
  }
  EXPECT_GE(pages, 3);
}

TEST(EngineFaultTest, ADamagedFileKeepsTheLogOfADeadProcess) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  MakeHistory(base, 20);
  // Its end is sudden: nothing is closed.
  ASSERT_EQ(RunInChild([&] {
              const auto engine = OpenSqliteEngine(base, OpenMode::kOpen);
              engine->Load([](Row&&) {});
              engine->Commit(HistoryChanges(21));
              ::_exit(0);
              return 1;
            }),
            0);
  const std::string sound = ReadFile(base + ".db");
  const std::string log = ReadFile(base + ".db-wal");
  // A text of a row that the log does not replace.
  std::string damaged = sound;
  damaged[damaged.find("row of 19") + 2] = 'u';
  WriteFile(base + ".db", damaged);
  EXPECT_NE(ErrorOf([&] { LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)); }), "");
  EXPECT_TRUE(ReadFile(base + ".db") == damaged);
  EXPECT_TRUE(ReadFile(base + ".db-wal") == log);
  WriteFile(base + ".db", sound);
  EXPECT_EQ(LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)), (Contents{HistoryRows(21), 21}));
  EXPECT_FALSE(fs::exists(base + ".db-wal"));
}

TEST(EngineFaultTest, AChangedRowIsNamed) {
  const ScratchFolder scratch;
  MakeHistory(scratch.Path("net"), 1);
  std::string bytes = ReadFile(scratch.Path("net.db"));
  const Row row = HistoryRows(1).rbegin()->second;
  bytes[bytes.find(row.body) + 10] = '#';
  WriteFile(scratch.Path("net.db"), bytes);
  const std::string error =
      ErrorOf([&] { LoadAll(*OpenSqliteEngine(scratch.Path("net"), OpenMode::kOpen)); });
  EXPECT_NE(error.find("database is damaged: page "), std::string::npos) << error;
  EXPECT_NE(error.find("list " + std::to_string(row.key.list) + " of object " +
                       std::to_string(row.key.number) + ")"),
            std::string::npos)
      << error;
}

// Commits without end and tells each finished revision through the pipe.
int CommitUntilKilled(const std::string& base, int acknowledged) {
  const auto engine = OpenSqliteEngine(base, OpenMode::kOpen);
  for (std::uint64_t r = LoadAll(*engine).revision + 1;; ++r) {
    engine->Commit(HistoryChanges(r));
    if (::write(acknowledged, &r, sizeof r) != sizeof r) return 1;
  }
}

TEST(EngineFaultTest, AKilledProcessLosesNothingAcknowledged) {
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
    const Contents found = LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen));
    ASSERT_GE(found.revision, acknowledged) << "seed " << seed;
    ASSERT_GE(found.revision, last) << "seed " << seed;
    while (last < found.revision) Apply(HistoryChanges(++last), expected);
    ASSERT_TRUE(found.rows == expected) << "round " << round << ", seed " << seed;
  }
  EXPECT_GT(last, 40U);
}

// Opens the database, lets the given call fail in the next commit and checks what is told
// afterwards. False when the commit made fewer calls than that.
bool CommitUnderFault(const std::string& base, const Fault& wanted, std::uint64_t& revision) {
  const auto engine = OpenSqliteEngine(base, OpenMode::kOpen);
  EXPECT_EQ(LoadAll(*engine), (Contents{HistoryRows(revision), revision}));
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
  EXPECT_EQ(LoadAll(*engine), (Contents{HistoryRows(revision), revision}));
  engine->Commit(HistoryChanges(++revision));
  return hit;
}

TEST(EngineFaultTest, AFailingWriteOrFlushAnywhereInACommitTellsTheTruth) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
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
  EXPECT_EQ(LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)),
            (Contents{HistoryRows(revision), revision}));
}

ino_t FileNumber(const std::string& file) {
  struct stat info {};
  return ::stat(file.c_str(), &info) == 0 ? info.st_ino : 0;
}

TEST(EngineFaultTest, AFailedFlushIsNotRetriedButWrittenAnew) {
  const ScratchFolder scratch;
  const auto engine = OpenSqliteEngine(scratch.Path("net"), OpenMode::kCreate);
  engine->Load([](Row&&) {});
  engine->Commit(HistoryChanges(1));
  const std::string log = scratch.Path("net.db-wal");
  const ino_t before = FileNumber(log);
  fault = {0, false, true, 0};
  const std::string error = ErrorOf([&] { engine->Commit(HistoryChanges(2)); });
  EXPECT_NE(error.find("net.db: Input/output error"), std::string::npos) << error;
  EXPECT_EQ(FileNumber(log), before);
  // Nobody else gets in meanwhile, though the file itself is not open.
  EXPECT_EQ(ErrorOf([&] { OpenSqliteEngine(scratch.Path("net"), OpenMode::kOpen); }),
            "database is in use by another process");
  const std::uint64_t revision = LoadAll(*engine).revision;
  fault = Fault();
  EXPECT_NE(FileNumber(log), before);
  EXPECT_EQ(LoadAll(*engine), (Contents{HistoryRows(revision), revision}));
}

TEST(EngineFaultTest, AFullDiskUndoesTheCommitAndNothingElse) {
  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  const auto limit_files = [](rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
  };
  const int result = RunInChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const auto engine = OpenSqliteEngine(base, OpenMode::kCreate);
    engine->Load([](Row&&) {});
    if (!limit_files(1 << 20)) return 1;
    engine->Commit(HistoryChanges(1));
    ChangeSet big = HistoryChanges(2);
    big.put[0].body.assign(2 << 20, 'b');
    if (ErrorOf([&] { engine->Commit(big); }).find("File too large") == std::string::npos) return 2;
    if (LoadAll(*engine) != Contents{HistoryRows(1), 1}) return 3;
    engine->Commit(HistoryChanges(2));
    if (!limit_files(4096)) return 4;
    if (ErrorOf([&] { engine->CopyTo(scratch.Path("copy.db")); }).empty()) return 5;
    if (std::distance(fs::directory_iterator(scratch.Path()), {}) != 3) return 6;
    if (!limit_files(RLIM_INFINITY)) return 7;
    engine->Commit(HistoryChanges(3));
    return LoadAll(*engine) == Contents{HistoryRows(3), 3} ? 0 : 8;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(LoadAll(*OpenSqliteEngine(base, OpenMode::kOpen)), (Contents{HistoryRows(3), 3}));
}

}  // namespace
}  // namespace ncc

#include "platform/crc32c.h"
#include "platform/storage/copy.h"
#include "platform/storage/sqlite_engine.h"
#include "platform/storage/sqlite_statement.h"
#include "tests/support/engine_contract.h"
#include "tests/support/engine_history.h"
#include "tests/support/memory_engine.h"
#include "tests/support/scratch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

namespace fs = std::filesystem;

using SqliteEngineTest = EngineFiles;

constexpr const char* kInUse = "database is in use by another process";

std::set<std::string> Listing(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

mode_t ModeOf(const std::string& file) {
  struct stat info {};
  return ::lstat(file.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

TEST(Crc32cTest, GivesTheKnownValuesOnBothPaths) {
  EXPECT_EQ(ExtendCrc32c(0, "123456789"), 0xE3069283U);
  EXPECT_EQ(ExtendCrc32cPortable(0, "123456789"), 0xE3069283U);
  std::string bytes;
  for (int i = 0; i < 80; ++i) bytes += static_cast<char>(i * 89 + 7);
  for (std::size_t from = 0; from < 9; ++from) {
    for (std::size_t size = 0; size + from <= bytes.size(); ++size) {
      const std::string_view part = std::string_view(bytes).substr(from, size);
      const std::uint32_t sum = ExtendCrc32c(0, part);
      ASSERT_EQ(sum, ExtendCrc32cPortable(0, part)) << from << ", " << size;
      ASSERT_EQ(sum,
                ExtendCrc32c(ExtendCrc32c(0, part.substr(0, size / 3)), part.substr(size / 3)));
    }
  }
}

// In memory, where the network is what it is told to be.
class MemoryPlace final : public EnginePlace {
 public:
  std::unique_ptr<StorageEngine> Open(OpenMode mode) override { return engines_("net", {mode}); }
  bool IsShared() const override { return true; }
  void SetNetwork(Network network) override { store_->SetNetwork(network); }

 private:
  const std::shared_ptr<MemoryStore> store_ = std::make_shared<MemoryStore>();
  const EngineFactory engines_ = MemoryEngineFactory(store_);
};

class SqlitePlace final : public EnginePlace {
 public:
  std::unique_ptr<StorageEngine> Open(OpenMode mode) override {
    return OpenSqliteEngine(scratch_.Path("net"), {mode});
  }

 private:
  const ScratchFolder scratch_;
};

INSTANTIATE_TEST_SUITE_P(Memory, EngineContract,
                         ::testing::Values(PlaceMaker{MakePlace<MemoryPlace>}));
INSTANTIATE_TEST_SUITE_P(Sqlite, EngineContract,
                         ::testing::Values(PlaceMaker{MakePlace<SqlitePlace>}));

// The files of the default engine
// -----------------------------------------------------------------------

TEST_F(SqliteEngineTest, IsOwnedByOneProcessUntilItDies) {
  MakeHistory(base, 3);
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto engine = Open();
    static_cast<void>(!::write(ready[1], "x", 1));
    for (;;) ::pause();
  }
  char byte = 0;
  EXPECT_EQ(::read(ready[0], &byte, 1), 1);
  const std::string error = Refusal();
  const std::string owner = std::string(kInUse) + ": process " + std::to_string(child) + " (";
  EXPECT_TRUE(error.starts_with(owner) && error.find("engine_test") != error.npos) << error;
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(Load(), HistoryContents(3));
}

TEST_F(SqliteEngineTest, IsOfNoUseToAForkedChildAndUnharmedByIt) {
  auto engine = Continue(1, Mode::kCreate);
  EXPECT_EQ(RunInChild([&] {
              const bool refused =
                  !ErrorOf([&] { engine->Commit(HistoryChanges(2)); }).empty() &&
                  !ErrorOf([&] { LoadAll(*engine); }).empty() &&
                  !ErrorOf([&] { CopyToFile(*engine, scratch.Path("c")); }).empty();
              engine.reset();
              return refused ? 0 : 1;
            }),
            0);
  engine->Commit(HistoryChanges(2));
  EXPECT_EQ(RunInChild([&] { return Refusal().starts_with(kInUse) ? 0 : 1; }), 0);
  engine.reset();
  EXPECT_EQ(Load().revision, 2U);
}

TEST_F(SqliteEngineTest, MakesFoldersAndPrivateFilesWhateverTheUmask) {
  EXPECT_NE(Refusal(Mode::kOpen, "a/net"), "");
  EXPECT_NE(Refusal(), "");
  EXPECT_EQ(Listing(scratch.Path()), std::set<std::string>{});
  const mode_t before = ::umask(0);
  {
    const auto engine = Continue(1, Mode::kCreate, "a/b/net");
    CopyToFile(*engine, scratch.Path("a/b/copy.db"));
    for (const char* name : {"net.db", "net.db-wal", "net.lock", "copy.db"}) {
      EXPECT_EQ(ModeOf(scratch.Path("a/b/") + name), 0600U) << name;
    }
    EXPECT_EQ(Listing(scratch.Path("a/b")),
              (std::set<std::string>{"net.db", "net.db-wal", "net.lock", "copy.db"}));
  }
  ::umask(before);
  EXPECT_EQ(ModeOf(scratch.Path("a")), 0700U);
  EXPECT_EQ(ModeOf(scratch.Path("a/b")), 0700U);
  EXPECT_EQ(Listing(scratch.Path("a/b")), (std::set<std::string>{"net.db", "net.lock", "copy.db"}));
}

TEST_F(SqliteEngineTest, IsNotChangedByReading) {
  MakeHistory(base, 20);
  const std::string bytes = ReadFile(data);
  const auto time = fs::last_write_time(data);
  const auto names = Listing(scratch.Path());
  EXPECT_EQ(Load().revision, 20U);
  EXPECT_NE(Refusal(Mode::kCreate), "");
  EXPECT_TRUE(ReadFile(data) == bytes);
  EXPECT_EQ(fs::last_write_time(data), time);
  EXPECT_EQ(Listing(scratch.Path()), names);
}

// A write that never reached the disk leaves a whole page as it was.
TEST_F(SqliteEngineTest, TellsAPageThatIsOlderThanTheOthers) {
  MakeHistory(base, 20);
  const std::string older = ReadFile(data);
  for (std::uint64_t r = 21; r <= 23; ++r) Continue(r);
  const std::string newer = ReadFile(data);
  int refused = 0;
  for (std::size_t at = 0; at < std::min(older.size(), newer.size()); at += 4096) {
    std::string mixed = newer;
    if (mixed.replace(at, 4096, older, at, 4096) == newer) continue;
    WriteFile(data, mixed);
    Contents found;
    const std::string error = ErrorOf([&] { found = Load(); });
    refused += error.find("database is damaged: ") != std::string::npos ? 1 : 0;
    EXPECT_TRUE(!error.empty() || found == HistoryContents(23)) << "page at " << at;
  }
  EXPECT_GE(refused, 4);
}

TEST_F(SqliteEngineTest, RefusesForeignFilesAndLeavesThemAlone) {
  MakeHistory(scratch.Path("ours"), 3);
  std::string ours = ReadFile(scratch.Path("ours.db"));
  std::string other_program = ours;
  other_program.replace(68, 4, 4, '\0');
  std::string newer = ours;
  ++newer[63];
  std::string older = ours;
  --older[63];
  const struct {
    std::string bytes;
    const char* says;
  } cases[] = {{other_program, "net.db is not a database of this system"},
               {"a letter to somebody", "net.db is not a database of this system"},
               {std::string(5000, '\0'), "net.db is not a database of this system"},
               {newer, "of a newer version of this program"},
               {older, "net.db has format 2 of an older version of this program"},
               {ours.substr(0, ours.size() - 4096), "database is damaged: "},
               {ours.substr(0, 4096), "database is damaged: "}};
  for (const auto& [bytes, says] : cases) {
    WriteFile(data, bytes);
    const auto time = fs::last_write_time(data);
    for (const OpenMode mode : {Mode::kOpen, Mode::kCreate}) {
      EXPECT_TRUE(Says(Refusal(mode), says));
    }
    EXPECT_TRUE(ReadFile(data) == bytes) << says;
    EXPECT_EQ(fs::last_write_time(data), time) << says;
    EXPECT_EQ(Listing(scratch.Path()), (std::set<std::string>{"net.db", "ours.db", "ours.lock"}));
  }
  WriteFile(data, "");
  EXPECT_NE(Refusal(), "");
  EXPECT_EQ(Load(Mode::kCreate), Contents{});
}

TEST_F(SqliteEngineTest, UnfoldsListsInItsViews) {
  ListedChanges changes(
      {{{RowKind::kObject, 7}, 3, "Dep", "", R"([[[4,9],null,[6,9,"own"]],[5,[100,12]],null,[8]])"},
       {{RowKind::kObject, 9}, 4, "User", "", "[null,null,null,null,[[7,12,1]]]"},
       {{RowKind::kChunk, 7, 0, 2}, 0, "", "[null,[4,9]]"},
       {{RowKind::kChunk, 7, 3, 1}, 0, "", "[6]"},
       {{RowKind::kChunk, 9, 4, 1}, 0, "", "[[8,13,0]]"}},
      {}, {1, {}});
  Open(Mode::kCreate)->Commit(changes);
  const Connection db(data.c_str(), SQLITE_OPEN_READWRITE, "");
  const auto rows_of = [&](const std::string& columns, const std::string& view) {
    std::string rows;
    Statement all(db, "SELECT " + columns + " FROM " + view + " ORDER BY 1");
    while (all.Step()) rows += std::string(all.Bytes(0)) + "; ";
    return rows;
  };
  EXPECT_EQ(rows_of("folder || ' ' || position || ' ' || kind || ' ' || number || name", "item"),
            "7 0 4 9User; 7 129 4 9User; 7 2 6 9own; ");
  EXPECT_EQ(rows_of("owner || ' ' || list || ' ' || position || ' ' || number", "link"),
            "7 4 0 5; 7 4 1 12; 7 6 0 8; 7 6 64 6; ");
  EXPECT_EQ(rows_of("user || ' ' || position || ' ' || dep || ' ' || node || kind", "membership"),
            "9 0 7 121; 9 64 8 130; ");
}

// A unique index would let a change of one row remove another.
TEST_F(SqliteEngineTest, RefusesWhatSomebodyHasAddedToTheTables) {
  MakeHistory(base, 3);
  const std::string ours = ReadFile(data);
  for (const char* what :
       {"UNIQUE INDEX mine ON object(sum)", "TABLE mine(x)", "VIEW mine AS SELECT 1",
        "TRIGGER mine AFTER INSERT ON page BEGIN SELECT 1; END"}) {
    WriteFile(data, ours);
    Connection(data.c_str(), SQLITE_OPEN_READWRITE, "")
        .Execute(("CREATE " + std::string(what)).c_str());
    for (const OpenMode mode : {Mode::kOpen, Mode::kSnapshot}) {
      const std::string error = Refusal(mode);
      EXPECT_TRUE(error.starts_with("database is damaged: foreign or changed: ") &&
                  error.ends_with(" mine (" + data + ")"))
          << error;
    }
  }
}

TEST_F(SqliteEngineTest, RefusesAliasesAndPathsThatCannotBe) {
  MakeHistory(base, 1);
  fs::create_symlink("net.db", scratch.Path("soft.db"));
  fs::create_hard_link(data, scratch.Path("hard.db"));
  fs::create_directory(scratch.Path("folder.db"));
  fs::create_directory_symlink(scratch.Path(), scratch.Path("around"));
  const std::string deep = std::string(240, 'd') + "/" + std::string(240, 'e') + "/net";
  const struct {
    const char* name;
    const char* says;
  } cases[] = {
      {"soft", "soft.db: it is a symbolic link"},  {"hard", "hard.db has a second name"},
      {"folder", "folder.db is not a plain file"}, {"net.db/x", "net.db is a file, not a folder"},
      {"net.db/x/y", "is a file, not a folder"},   {"folder.db/", "is no name of a database"},
      {deep.c_str(), "bytes; the limit is 504"}};
  for (const auto& [name, says] : cases) {
    EXPECT_TRUE(Says(Refusal(Mode::kCreate, name), says)) << name;
  }
  fs::remove(scratch.Path("hard.db"));
  const auto engine = Open(Mode::kOpen, "around/net");
  EXPECT_EQ(Refusal(), "database is in use by another object of this process");
}

TEST_F(SqliteEngineTest, SaysWhatIsMissingWithoutRights) {
  MakeHistory(base, 1);
  const auto try_as_nobody = [&](const std::string& says) {
    return RunInChild([&] {
      if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return 2;
      return Says(Refusal(), says) ? 0 : 1;
    });
  };
  if (::geteuid() == 0) {
    for (const char* name : {"", "net.db", "net.lock"}) {
      ASSERT_EQ(::chown(scratch.Path(name).c_str(), 65534, 65534), 0);
    }
  }
  const auto read = fs::perms::owner_read;
  fs::permissions(data, read);
  EXPECT_EQ(try_as_nobody("net.db: the file or its folder is read-only"), 0);
  fs::permissions(data, read | fs::perms::owner_write);
  fs::permissions(scratch.Path(), read | fs::perms::owner_exec);
  EXPECT_EQ(try_as_nobody("net.db: the file or its folder is read-only"), 0);
  fs::remove(scratch.Path("net.lock"));
  EXPECT_EQ(try_as_nobody("cannot open or create " + scratch.Path("net.lock") + ": Permission"), 0);
  fs::permissions(scratch.Path(), read);
  EXPECT_EQ(try_as_nobody("cannot look at " + data + ": Permission"), 0);
  fs::permissions(scratch.Path(), fs::perms::owner_all);
  EXPECT_EQ(try_as_nobody(""), 0);
}

TEST_F(SqliteEngineTest, CopiesTheLastCommitWhole) {
  fs::create_directory(scratch.Path("to"));
  WriteFile(scratch.Path("to/copy.db"), "an older copy");
  WriteFile(scratch.Path("to/notes.nccnet-part"), "no leftover");
  const auto engine = Continue(30, Mode::kCreate);
  CopyToFile(*engine, scratch.Path("to/copy.db"));
  engine->Commit(HistoryChanges(31));
  {
    const auto copy = Open(Mode::kOpen, "to/copy");
    EXPECT_EQ(LoadAll(*copy), HistoryContents(30));
    copy->Commit(HistoryChanges(31));
  }
  EXPECT_EQ(Load(Mode::kOpen, "to/copy"), LoadAll(*engine));
  WriteFile(scratch.Path("to/torn.db-wal"), "changes of another file");
  fs::create_directory_symlink(scratch.Path(), scratch.Path("to/around"));
  for (const char* name : {"net.db", "net.db-wal", "net.lock", "to/around/net.db", "to/torn.db",
                           "to", "missing/copy.db"}) {
    EXPECT_NE(ErrorOf([&] { CopyToFile(*engine, scratch.Path(name)); }), "") << name;
  }
  EXPECT_EQ(Listing(scratch.Path("to")),
            (std::set<std::string>{"copy.db", "copy.lock", "notes.nccnet-part", "torn.db-wal",
                                   "around"}));
  EXPECT_EQ(Listing(scratch.Path()),
            (std::set<std::string>{"net.db", "net.db-wal", "net.lock", "to"}));
  EXPECT_EQ(LoadAll(*engine), HistoryContents(31));
}

// More than a log holds is written, so that it begins anew while others look.
TEST_F(SqliteEngineTest, ShowsTheLastCommitBesideItsOwner) {
  MakeHistory(base, 1);
  int stored[2];
  ASSERT_EQ(::pipe2(stored, O_NONBLOCK), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto engine = Continue(0);
    for (std::uint64_t r = 2; r <= 400; ++r) {
      engine->Commit(HistoryChanges(r));
      static_cast<void>(!::write(stored[1], &r, sizeof r));
    }
    CopyToFile(*engine, scratch.Path("last.db"));
    for (;;) ::pause();
  }
  const auto snapshot = Open(Mode::kSnapshot);
  Rows rows = HistoryRows(1);
  std::uint64_t revision = 1;
  std::uint64_t acknowledged = 1;
  int looks = 0;
  for (; revision < 400; ++looks) {
    while (::read(stored[0], &acknowledged, sizeof acknowledged) > 0) continue;
    const Contents found = LoadAll(*snapshot);
    ASSERT_GE(found.revision, acknowledged);
    while (revision < found.revision) Apply(HistoryRowChanges(++revision), rows);
    ASSERT_EQ(found.revision, revision);
    ASSERT_TRUE(found.rows == rows) << revision;
  }
  EXPECT_GT(looks, 5);
  EXPECT_TRUE(Says(ErrorOf([&] { snapshot->Commit(HistoryChanges(401)); }), "snapshot"));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(LoadAll(*snapshot).revision, 400U);
  EXPECT_TRUE(fs::exists(log));
}

}  // namespace
}  // namespace ncc

#include "nccnet/backup.h"
#include "support/engine_history.h"
#include "support/net_access.h"
#include "support/network.h"

#include <cstring>
#include <memory>

namespace {

using Lifecycle = NetworkTest;

std::string PreferenceBytes(CNCCNet& net) {
  return {reinterpret_cast<const char*>(net.Preferences()), sizeof(CNetPref)};
}

TEST(LifecyclePaths, SeparatorIsAppendedUnlessThereIsOne) {
  const ScratchFolder scratch;
  const struct {
    const char* given;
    const char* added;
  } cases[] = {{"/net", "\\"}, {"/one\\", ""}, {"/two/", ""}, {"/deep\\er/mixed", "\\"}};
  for (const auto& [given, added] : cases) {
    const std::string path = scratch.Path() + given;
    CNCCNet net;
    EXPECT_TRUE(net.Create(path.c_str(), "n", 1)) << path << ": " << net.LastError();
    EXPECT_EQ(net.GetDBPath(), path + added);
    EXPECT_EQ(net.GetDBName(), "n");
  }
  CNCCNet net;
  EXPECT_TRUE(net.Open(scratch.Path("deep/er\\mixed").c_str(), "n"));
  net.KCPath("kc");
  EXPECT_EQ(net.KCPath(), "kc");
  EXPECT_EQ(net.APDBPath(), ".\\APDB\\");
  EXPECT_EQ(net.MAPPath(), ".\\MAP\\");
}

TEST_F(Lifecycle, CreateSetsThePreferencesAndKeepsTheCounters) {
  const CNetPref fresh = {5, 1, 0, 1, 2, 7721, 0, 1, 0, 0};
  CNCCNet net;
  ASSERT_TRUE(net.Create(scratch_.Path().c_str(), "five", 5));
  EXPECT_EQ(std::memcmp(net.Preferences(), &fresh, sizeof fresh), 0);

  CNetPref* const address = net.Preferences();
  net.AddServer("S", 0, 0);
  net.AddAP("S", "p", 0);
  net.Preferences()->ngrp_counter = 4;
  net.Preferences()->byte_18 = 9;
  ASSERT_TRUE(net.Create(scratch_.Path().c_str(), "six", 6));
  const CNetPref carried = {6, 3, 1, 1, 2, 7721, 0, 1, 0, 4};
  EXPECT_EQ(std::memcmp(net.Preferences(), &carried, sizeof carried), 0);
  EXPECT_EQ(net.Preferences(), address);
  EXPECT_EQ(net.AddServer("S", 0, 0), 3U);
}

TEST_F(Lifecycle, PreferencesAreStoredBySaveNetInfoAndNotBefore) {
  net_.AddServer("A", 0, 0);
  const auto change = [this](std::uint8_t byte) {
    *net_.Preferences() = {byte, 70, 8, byte, byte, 0xA0B0C0D0, byte, byte, 0xFFFFFFFF, byte};
    return PreferenceBytes(net_);
  };
  const std::string stored = PreferenceBytes(net_);
  change(1);
  EXPECT_TRUE(net_.ModifyServer("A", "B"));
  DropAndReopen();
  EXPECT_EQ(PreferenceBytes(net_), stored);
  EXPECT_TRUE(net_.CheckServerName("B"));

  const std::string saved = change(2);
  net_.SaveNetInfo();
  change(3);
  net_.LoadNetInfo();
  EXPECT_EQ(PreferenceBytes(net_), saved);
  change(4);
  DropAndReopen();
  EXPECT_EQ(PreferenceBytes(net_), saved);

  const std::string closed = change(5);
  Reopen();
  EXPECT_EQ(PreferenceBytes(net_), closed);

  change(6);
  EXPECT_EQ(net_.AddServer("C", 0, 0), 70U);
  const std::string added = PreferenceBytes(net_);
  DropAndReopen();
  EXPECT_EQ(PreferenceBytes(net_), added);
  EXPECT_EQ(net_.Preferences()->next_id, 71U);
}

TEST_F(Lifecycle, CreateRefusesAnExistingDatabaseAndLeavesItAlone) {
  net_.AddServer("kept", 0, 0);
  const std::string before = Describe(net_);
  net_.Close();
  CNCCNet other;
  EXPECT_TRUE(IsRefused(other, other.Create(folder_.c_str(), "net", 2)));
  EXPECT_EQ(other.GetDBName(), "net");
  EXPECT_EQ(ReleaseHeldLevels(other), 0);
  ASSERT_TRUE(net_.Open(folder_.c_str(), "net")) << net_.LastError();
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Lifecycle, OpenRefusesWhatIsNoUsableDatabase) {
  net_.AddServer("unmistakable", 0, 0);
  net_.Close();
  const std::string good = ReadFile(folder_ + "/net.db");
  std::string damaged = good;
  const auto name = damaged.find("unmistakable");
  ASSERT_NE(name, std::string::npos);
  damaged[name] = 'U';
  const struct {
    const char* what;
    std::string bytes;
  } cases[] = {{"damaged", damaged},
               {"foreign", "a file of somebody else's\n"},
               {"cut", good.substr(0, good.size() / 2)},
               {"empty", ""}};
  for (const auto& [what, bytes] : cases) {
    WriteFile(folder_ + "/net.db", bytes);
    EXPECT_TRUE(IsRefused(net_, net_.Open(folder_.c_str(), "net"))) << what;
    EXPECT_EQ(ReadFile(folder_ + "/net.db"), bytes) << what;
    EXPECT_EQ(ReleaseHeldLevels(net_), 0) << what;
    EXPECT_EQ(net_.GetServersCount(), 0U) << what;
  }
  EXPECT_FALSE(net_.Open(folder_.c_str(), "missing"));
  EXPECT_FALSE(net_.Open(scratch_.Path("nowhere").c_str(), "net"));
  EXPECT_FALSE(std::filesystem::exists(scratch_.Path("nowhere")));
  EXPECT_FALSE(net_.Open(nullptr, "net"));
  EXPECT_FALSE(net_.Open(folder_.c_str(), nullptr));
  EXPECT_FALSE(net_.Create(nullptr, nullptr, 1));
  WriteFile(folder_ + "/net.db", good);
  EXPECT_TRUE(net_.Open(folder_.c_str(), "net")) << net_.LastError();
}

TEST_F(Lifecycle, OneOwnerAtATime) {
  CNCCNet second;
  EXPECT_FALSE(second.Open(folder_.c_str(), "net"));
  EXPECT_STREQ(second.LastError(), "database is in use by another object of this process");
  EXPECT_FALSE(second.OpenSnapshot(folder_.c_str(), "net"));
  EXPECT_EQ(LastFailure(), NCCFailure::kInUse);
  EXPECT_FALSE(second.Create(folder_.c_str(), "net", 1));
  EXPECT_EQ(ReleaseHeldLevels(second), 0);
  ASSERT_TRUE(second.Create(scratch_.Path().c_str(), "second", 2));
  EXPECT_FALSE(second.Backup((folder_ + "/net.db").c_str()));
  EXPECT_EQ(LastFailure(), NCCFailure::kInUse) << second.LastError();

  const auto in_another_process = [&] {
    CNCCNet third;
    if (third.Open(folder_.c_str(), "net")) return 1;
    const bool named =
        CString(third.LastError()).starts_with("database is in use by another process") &&
        !DatabaseOwner(folder_.c_str(), "net").empty();
    if (!named || !third.OpenSnapshot(folder_.c_str(), "net")) return 2;
    const bool refused = third.AddServer("no", 0, 0) == 0 && third.GetServersCount() == 0 &&
                         CString(third.LastError()).empty() && third.GetRevision() == 1;
    return refused ? 0 : 3;
  };
  EXPECT_EQ(RunInChild(in_another_process), 0);
  EXPECT_EQ(net_.AddServer("still mine", 0, 0), 1U) << net_.LastError();
  net_.Close();
  EXPECT_TRUE(second.Open(folder_.c_str(), "net")) << second.LastError();
}

TEST_F(Lifecycle, LoadNetInfoTakesTheFirstRootEntryWhateverItsName) {
  net_.AddServer(std::string(30, 'z').c_str(), 0, 0);
  const auto change_root = [this](auto change) {
    ChangeBelow(net_, [&](CHDBase&) { change(*NetAccess::RootFolder(net_)); });
  };
  change_root([](CHDBFolder& root) { root.Rename(root.Entries().First(), "Other"); });
  const std::string before = Describe(net_);
  Reopen();
  EXPECT_EQ(Describe(net_), before);

  change_root([](CHDBFolder& root) { root.Remove(root.Entries().First()); });
  DropAndReopen();
  EXPECT_EQ(PreferenceBytes(net_), std::string(sizeof(CNetPref), 'z'));

  // With nothing left in the root there is no block to load: the lock stays entered.
  EXPECT_TRUE(net_.DeleteServer(1)) << net_.LastError();
  EXPECT_FALSE(net_.Open(folder_.c_str(), "net"));
  EXPECT_EQ(ReleaseHeldLevels(net_), 1);
  EXPECT_EQ(net_.GetServersCount(), 0U);
}

TEST_F(Lifecycle, ARecordBeginsEmptyAgainAndAFolderListsOnlyWhatHasASpace) {
  ChangeBelow(net_, [](CHDBase& base) {
    const auto folder = CHDBFolderManager(base).FolderCreate(500);
    CHDBRecordManager records(base);
    const auto record = records.RecCreate(folder->RecordId());
    record->SetType(4);
    record->SetData("data");
    record->SetName("a name of its own");
    record->Remove();
    records.RecCreate(folder->RecordId());
    EXPECT_EQ(record->Type(), 0U);
    EXPECT_EQ(record->Data(), "");
    EXPECT_EQ(record->Name(), "");
    EXPECT_THROW(folder->Append({0, 1}, 1, "nowhere"), ncc::StorageError);
    CHDBFolderManager(base).FolderRemove(folder->Id());
  });
}

TEST_F(Lifecycle, ACopyIsANewDatabaseWithTheSameHistory) {
  const std::string folder = scratch_.Path("copies");
  const auto copy = [&](const char* from, const char* to) {
    std::uint64_t rows = 0;
    std::uint64_t calls = 0;
    const std::uint64_t revision = CopyDatabase(folder_.c_str(), from, folder.c_str(), to,
                                                [&](std::uint64_t done, std::uint64_t all) {
                                                  EXPECT_EQ(done, ++calls);
                                                  rows = all;
                                                });
    EXPECT_EQ(calls, rows);
    return revision;
  };
  BuildSample(net_);
  EXPECT_EQ(copy("net", "one"), 0U) << "this process has it open";
  net_.Close();
  EXPECT_EQ(copy("missing", "one"), 0U);
  EXPECT_EQ(LastFailure(), NCCFailure::kMissing);
  const std::uint64_t revision = copy("net", "one");
  EXPECT_NE(revision, 0U) << net_.LastError();
  const std::string before = ReadFile(folder + "/one.db");
  EXPECT_EQ(copy("net", "one"), 0U) << "what is there is never replaced";
  EXPECT_EQ(ReadFile(folder + "/one.db"), before);

  CDatabaseStatus status;
  ASSERT_TRUE(GetDatabaseStatus(folder.c_str(), "one", status)) << net_.LastError();
  EXPECT_FALSE(status.is_shared);
  EXPECT_EQ(status.owner, "");
  EXPECT_EQ(status.revision, revision);
  ASSERT_TRUE(net_.Open(folder_.c_str(), "net"));
  CNCCNet other;
  ASSERT_TRUE(other.Open(folder.c_str(), "one")) << other.LastError();
  EXPECT_EQ(Describe(other), Describe(net_));
  std::list<CHistoryEntry> history;
  EXPECT_EQ(other.GetHistory(1, revision, history), revision);
  EXPECT_TRUE(other.Undo(revision)) << other.LastError();

  WriteFile(folder + "/two.cluster", "");
  CString kept;
  EXPECT_FALSE(RestoreBackup(folder.c_str(), "two", (folder_ + "/net.db").c_str(), kept));
  EXPECT_FALSE(std::filesystem::exists(folder + "/two.db")) << "it would hide the cluster";
}

TEST_F(Lifecycle, WithoutADatabaseEverythingIsRefused) {
  CNCCNet fresh;
  ExpectEverythingRefused(fresh, "fresh");
  EXPECT_EQ(fresh.GetRevision(), 0U);
  EXPECT_FALSE(fresh.Backup(scratch_.Path("copy.db").c_str()));
  EXPECT_FALSE(fresh.CreateNodenameFile((scratch_.Path() + "/").c_str()));
  EXPECT_FALSE(std::filesystem::exists(scratch_.Path("NODENAME.DOC")));
  BuildSample(net_);
  net_.Close();
  ExpectEverythingRefused(net_, "closed");
  EXPECT_FALSE(net_.Open(folder_.c_str(), "missing"));
  ExpectEverythingRefused(net_, "failed Open");
}

TEST_F(Lifecycle, DestructionWhileTheLockIsEntered) {
  auto net = std::make_unique<CNCCNet>();
  ASSERT_TRUE(net->Create(scratch_.Path().c_str(), "held", 1));
  EXPECT_EQ(net->AddServer("S", 0, 0), 1U);
  NetAccess::Lock(*net);
  net.reset();
  EXPECT_TRUE(net_.Open(scratch_.Path().c_str(), "held"));
  EXPECT_EQ(net_.GetServersCount(), 1U);
}

}  // namespace

#include "platform/disk/output_file.h"
#include "support/no_memory.h"
#include "support/transcript.h"

#include <memory>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

// Gives the tests the number of records that a manager holds.
unsigned long CountRecords(CUpdateManager& manager);
template <auto Member>
struct Expose {
  friend unsigned long CountRecords(CUpdateManager& manager) { return manager.*Member; }
};
template struct Expose<&CUpdateManager::count_>;

// A journal record as it stands in the file; the name is padded here.
std::string Record(std::string name, char value) {
  name.resize(13, '\0');
  return name + value + std::string(3, '\0');
}

class UpdateManagerTest : public ::testing::Test {
 protected:
  UpdateManagerTest() {
    fs::current_path(scratch_.Path());
    SetStampProvider(std::make_shared<LengthStamps>());
  }
  ~UpdateManagerTest() override {
    SetStampProvider(nullptr);
    fs::current_path(before_);
  }

  void Journal(const std::string& records) { WriteFile("newfiles.dat", records); }
  Commands Known();

  fs::path before_ = fs::current_path();
  ScratchFolder scratch_;
  CUpdateManager manager_;
  Words folders_;  // which it does not copy
};

using Paths = std::vector<std::string>;

// A list of a report, a line each.
std::string Lines(const char* kind, const std::list<std::string>& files) {
  std::string text;
  for (const auto& file : files) text += std::string(kind) + " " + file + "\n";
  return text;
}

// What the transcripts can say: "check" prints what it copied and removes it.
Commands UpdateManagerTest::Known() {
  Commands known = FileCommands();
  known["journal"] = [this](const Words& words) {
    std::string all;
    for (std::size_t i = 0; i + 1 < words.size(); i += 2)
      all += Record(words[i] == "-" ? "" : words[i], static_cast<char>(std::stoi(words[i + 1])));
    Journal(all);
    return "";
  };
  known["cut"] = [this](const Words& words) {
    Journal(ReadFile("newfiles.dat").substr(0, std::stoul(words[0])));
    return "";
  };
  known["check"] = [this](const Words&) {
    manager_.CheckCRC();
    std::string copied;
    for (const auto& [path, bytes] : FilesBelow(".")) {
      if (path.starts_with("NEW/") || path == "newfiles.dat") continue;
      EXPECT_EQ(bytes, path.substr(path.rfind('/') + 1)) << "from the folder of its own kind";
      copied += path + "\n";
      fs::remove(path);
    }
    return copied;
  };
  known["report"] = [this](const Words&) {
    CCopyReport report;
    std::string text = manager_.CheckCRC(report) ? "true\n" : "false\n";
    for (const auto& one : report.failed) text += "failed " + one.file + ": " + one.reason + "\n";
    if (!report.failed.empty()) {
      EXPECT_EQ(report.failed.back().reason, CNCCNet().LastError());
    }
    return text + Lines("copied", report.copied) + Lines("missing", report.missing) +
           Lines("unplaced", report.unplaced);
  };
  known["read"] = [this](const Words&) { return std::to_string(manager_.Read()); };
  known["clear"] = [this](const Words&) { return manager_.Clear(), ""; };
  known["folders"] = [this](const Words& words) {
    EXPECT_TRUE(manager_.GetExportFolder() == nullptr && manager_.GetDBFolder() == nullptr);
    folders_ = words;
    manager_.SetExportFolder(folders_.at(0).c_str());
    manager_.SetDBFolder(folders_.at(1).c_str());
    EXPECT_TRUE(manager_.GetExportFolder() == folders_[0].c_str() &&
                manager_.GetDBFolder() == folders_[1].c_str());
    return "";
  };
  return known;
}

TEST_F(UpdateManagerTest, WriteAppendsARecordForEachFile) {
  fs::create_directory("some");
  for (const char* name : {"node12.map", "longer than eight.document", "a.b.c", "plain"}) {
    WriteFile("some/" + std::string(name), "12345");
  }
  EXPECT_EQ(manager_.Write("some\\node12.map"), 1);
  EXPECT_EQ(manager_.Write("./some/longer than eight.document"), 1);
  EXPECT_EQ(manager_.Write("some/a.b.c"), 1);
  EXPECT_EQ(manager_.Write("some\\plain"), 1);
  EXPECT_EQ(manager_.Write("some\\missing.txt"), 1);
  WriteFile("some/node12.map", std::string(0x010203, 'x'));
  EXPECT_EQ(manager_.Write("some/node12.map"), 1);
  const std::string all = Record("node12.map", 5) + Record("longer t.doc", 5) + Record("a.b.c", 5) +
                          Record("plain", 5) + Record("missing.txt", 0) +
                          std::string("node12.map\0\0\0\3\2\1\0", 17);
  EXPECT_EQ(ReadFile("newfiles.dat"), all);
  EXPECT_TRUE(manager_.WriteCRC());
  manager_.WriteCRC(false);
  EXPECT_FALSE(manager_.WriteCRC());
  EXPECT_EQ(manager_.Write("some/plain"), 0);
  EXPECT_EQ(manager_.SetUpdateAb(), 0);
  EXPECT_EQ(ReadFile("newfiles.dat"), all);
}

TEST_F(UpdateManagerTest, ReadGivesOneRecordMoreThanTheJournalHas) {
  EXPECT_EQ(manager_.Read(), 0);
  EXPECT_EQ(CountRecords(manager_), 0U);
  const std::string two = Record("node1.reg", 1) + Record("apn0002.crg", 2);
  const std::pair<std::string, unsigned long> journals[] = {
      {"", 1}, {two, 3}, {two + "apn00", 3}, {two.substr(0, 17 + 15), 2}, {two.substr(0, 5), 1}};
  for (const auto& [bytes, count] : journals) {
    Journal(bytes);
    EXPECT_EQ(manager_.Read(), 1);
    EXPECT_EQ(CountRecords(manager_), count) << bytes.size();
  }
  CUpdateManager copy(manager_);
  EXPECT_EQ(CountRecords(copy), 1U);
  manager_.Clear();
  EXPECT_FALSE(fs::exists("newfiles.dat"));
  EXPECT_EQ(manager_.Read(), 0);
  EXPECT_EQ(CountRecords(manager_), 0U);
  copy = manager_;
  EXPECT_EQ(CountRecords(copy), 0U);
}

// The results do not show that a journal cannot be used; the last error does.
TEST_F(UpdateManagerTest, WhatIsNoPlainFileIsNoJournal) {
  MemoryNet memory;
  CNCCNet& net = memory.Net();
  ASSERT_TRUE(memory.Create());
  ASSERT_EQ(net.AddAP(net.AddServer("A", 0, 0), "a", 0), 2U);
  int untold = 0;
  net.SetFileObserver([&](const CFileEvent& event) {
    if (std::string(event.path) == "newfiles.dat" && event.failure != nullptr) --untold;
  });
  WriteFile("elsewhere", "as it was");
  const std::pair<const char*, std::function<void()>> obstacles[] = {
      {"no plain file", [] { fs::create_directory("newfiles.dat"); }},
      {"no plain file", [] { ASSERT_EQ(mkfifo("newfiles.dat", 0600), 0); }},
      {"symbolic link", [] { fs::create_symlink("elsewhere", "newfiles.dat"); }}};
  for (const auto& [reason, make] : obstacles) {
    make();
    EXPECT_EQ(manager_.Write("some/file"), 1);
    EXPECT_NE(std::string(net.LastError()).find(reason), std::string::npos) << net.LastError();
    untold += 2;
    EXPECT_TRUE(net.GenMAPNodeReg(""));
    EXPECT_NE(std::string(net.LastError()).find(reason), std::string::npos) << net.LastError();
    net.GenMAPApnCrg("", 1);
    EXPECT_NE(std::string(net.LastError()).find(reason), std::string::npos) << net.LastError();
    CCopyReport report;
    if (!fs::is_symlink("newfiles.dat")) {
      EXPECT_EQ(manager_.Read(), 0);
      EXPECT_FALSE(manager_.CheckCRC(report));
      EXPECT_EQ(report.failed.front().reason, net.LastError());
    }
    fs::remove("newfiles.dat");
  }
  EXPECT_EQ(untold, 0);
  EXPECT_EQ(ReadFile("elsewhere"), "as it was");
  net.GetUpdateManager()->WriteCRC(false);
  EXPECT_EQ(net.AddServer("A", 0, 0), 0U);
  EXPECT_TRUE(net.GenMAPNodeReg("")) << "and takes no failure from before";
  EXPECT_EQ(LastFailure(), NCCFailure::kNone) << net.LastError();
  EXPECT_EQ(manager_.Write("elsewhere"), 1);
  EXPECT_STREQ(net.LastError(), "");
  fs::create_directory("AAA");
  ASSERT_EQ(mkfifo("AAA/001A0002.aaf", 0600), 0);
  net.GenFullDistr(".", 2UL);  // does not wait for a reader
  EXPECT_NE(std::string(net.LastError()).find("AAA"), std::string::npos) << net.LastError();
}

TEST_F(UpdateManagerTest, WantOfMemoryShowsInNoResult) {
  CNCCNet net;
  Put({{"NEW/ABN/001A0019.abn", "001A0019.abn"}});
  fs::create_directory("ABN");
  const std::string name = "NEW/ABN/001A0019.abn";
  bool ended = false;
  for (long allowed = 0; !ended; ++allowed) {
    Journal(Record("001A0019.abn", static_cast<char>(allowed % 100)));
    CCopyReport report;
    AllowAllocations(allowed);
    const int wrote = manager_.Write(name.c_str());
    const int read = manager_.Read();
    const bool copied = CUpdateManager().CheckCRC(report);
    AllowAllocations(-1);
    EXPECT_EQ(wrote, 1);
    ended = read == 1 && copied;
    EXPECT_EQ(ended ? "" : "out of memory", std::string(net.LastError())) << allowed;
  }
  EXPECT_EQ(ReadFile("ABN/001A0019.abn"), "001A0019.abn");
}

TEST_F(UpdateManagerTest, EachNameTakesItsFilesAlong) { Play("copies.txt", Known()); }

TEST_F(UpdateManagerTest, OnlyWhatIsNewOrChangedIsCopied) { Play("copies.txt", Known()); }

// Who is still writing keeps its place, what dead ones left goes, and what is not theirs stays.
TEST_F(UpdateManagerTest, WritersOfOneFileLeaveNothingBehind) {
  const std::string part = "file.nccnet-part";
  WriteFile(part + "1", "left by a dead one");
  ncc::OutputFile first("file");
  first.AppendText("first");
  first.Flush();
  fs::create_symlink("elsewhere", part + "2");
  ASSERT_EQ(mkfifo((part + "3").c_str(), 0600), 0);
  ncc::OutputFile second("file");
  second.AppendText("second");
  second.Commit();
  EXPECT_EQ(ReadFile("file"), "second");
  first.Commit();
  EXPECT_EQ(Names(FilesBelow(".")), (Paths{"file"}));
  EXPECT_EQ(ReadFile("file"), "first");
  EXPECT_TRUE(fs::is_symlink(part + "2") && fs::is_fifo(part + "3"));
}

TEST_F(UpdateManagerTest, TheNetworkHandsItsKeyCentreFolderOn) {
  CNCCNet net;
  CUpdateManager* manager = net.GetUpdateManager();
  EXPECT_EQ(manager->GetExportFolder(), nullptr);
  for (const std::string& path : {std::string("kc\\"), std::string(200, 'k'), std::string("x")}) {
    net.KCPath(path.c_str());
    EXPECT_EQ(net.KCPath(), path);
    EXPECT_EQ(net.GetUpdateManager()->GetExportFolder(), net.KCPath().c_str());
  }
  CString& path = net.KCPath();
  path = std::string(500, 'm');
  EXPECT_EQ(manager->GetExportFolder(), path.c_str()) << "the text has moved behind the manager";
  manager->WriteCRC(false);
  CUpdateManager copy(*manager);
  EXPECT_FALSE(copy.WriteCRC());
  EXPECT_EQ(copy.GetExportFolder(), nullptr) << "the text goes away with the network";
  copy.SetDBFolder("copy's own");
  *manager = copy;
  EXPECT_EQ(manager->GetExportFolder(), path.c_str());
  EXPECT_EQ(manager->GetDBFolder(), nullptr);
  manager->SetExportFolder("own");
  path = std::string(900, 'n');
  EXPECT_STREQ(manager->GetExportFolder(), "own");
}

}  // namespace

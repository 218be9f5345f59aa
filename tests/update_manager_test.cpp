#include "platform/disk/output_file.h"
#include "support/no_memory.h"
#include "support/outputs.h"

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
  // The files outside "NEW" after a check; they are removed.
  std::vector<std::string> Copied() {
    manager_.CheckCRC();
    std::vector<std::string> names;
    for (const auto& [path, bytes] : FilesBelow(".")) {
      if (path.starts_with("NEW/") || path == "newfiles.dat") continue;
      EXPECT_EQ(bytes, path.substr(path.rfind('/') + 1)) << "from the folder of its own kind";
      names.push_back(path);
      fs::remove(path);
    }
    return names;
  }

  fs::path before_ = fs::current_path();
  ScratchFolder scratch_;
  CUpdateManager manager_;
};

using Paths = std::vector<std::string>;

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

TEST_F(UpdateManagerTest, EachNameTakesItsFilesAlong) {
  const std::string ap_files[] = {"apn00AB.txt", "apn00AB.crg", "apn00AB.crc", "apa00AB.txt",
                                  "apc00AB.txt", "apl00AB.txt", "apu00AB.txt", "apn00AC.txt"};
  const std::string server_files[] = {"node12.map", "node12.reg", "node12.xnw", "node12.tun",
                                      "node1.map",  "node12.txt", "node123.map"};
  for (const auto& name : ap_files) Put({{"NEW/APDB/" + name, name}});
  for (const auto& name : server_files) Put({{"NEW/MAP/" + name, name}});
  const std::string single_files[] = {"ABONAME.TXT", "ABONAMEE.TXT", "CCC_KC.TXT",
                                      "ABN_AP.TXT",  "NODENAME.DOC", "NMATRIX.DAT",
                                      "EXTNET.DOC",  "IPKELADR.DOC", "OTHER.TXT"};
  for (const auto& name : single_files) Put({{"NEW/" + name, name}});
  Put({{"NEW/ABN/001A0019.abn", "001A0019.abn"}, {"NEW/ABN/001A0020.abn", "001A0020.abn"}});
  for (const char* folder : {"APDB", "MAP", "ABN", "kc", "db"}) fs::create_directory(folder);

  Journal(Record("apn00AB.crg", 1));
  EXPECT_EQ(Copied(), (Paths{"APDB/apa00AB.txt", "APDB/apc00AB.txt", "APDB/apl00AB.txt",
                             "APDB/apn00AB.crc", "APDB/apn00AB.crg", "APDB/apn00AB.txt"}));
  Journal(Record("node12.reg", 1));
  EXPECT_EQ(Copied(),
            (Paths{"MAP/node12.map", "MAP/node12.reg", "MAP/node12.tun", "MAP/node12.xnw"}));
  Journal(Record("001A0019.abn", 1) + Record("OTHER.TXT", 1) + Record("", 9));
  EXPECT_EQ(Copied(), Paths{"ABN/001A0019.abn"});

  std::string all;
  for (const auto& name : single_files) all += Record(name, 1);
  Journal(all);
  EXPECT_EQ(manager_.GetExportFolder(), nullptr);
  EXPECT_EQ(manager_.GetDBFolder(), nullptr);
  EXPECT_EQ(Copied(), Paths{}) << "no folder is set";
  const char* const export_folder = "kc\\";
  const char* const db_folder = "db/";
  manager_.SetExportFolder(export_folder);
  manager_.SetDBFolder(db_folder);
  EXPECT_TRUE(manager_.GetExportFolder() == export_folder && manager_.GetDBFolder() == db_folder);
  EXPECT_EQ(Copied(), Paths{}) << "known already";
  Journal("");
  EXPECT_EQ(Copied(), Paths{});
  Journal(all);
  EXPECT_EQ(Copied(),
            (Paths{"db/EXTNET.DOC", "db/IPKELADR.DOC", "kc/ABN_AP.TXT", "kc/ABONAME.TXT",
                   "kc/ABONAMEE.TXT", "kc/CCC_KC.TXT", "kc/NMATRIX.DAT", "kc/NODENAME.DOC"}));
  Put({{"NEW/ipkelAdr.Doc", "ipkelAdr.Doc"}});
  Journal(Record("ipkelAdr.Doc", 7));
  EXPECT_EQ(Copied(), Paths{"db/IPKELADR.DOC"}) << "known without regard to case";
}

TEST_F(UpdateManagerTest, OnlyWhatIsNewOrChangedIsCopied) {
  for (const char* number : {"1", "2"}) {
    const std::string name = "node" + std::string(number) + ".map";
    Put({{"NEW/MAP/" + name, name}});
  }
  Put({{"NEW/APDB/apn0001.txt", "apn0001.txt"}});
  fs::create_directory("MAP");
  fs::create_directory("APDB");
  const std::string one1 = Record("node1.reg", 1);
  const std::string one2 = Record("node1.reg", 2);
  const Paths first = {"MAP/node1.map"};
  const Paths none;
  Journal(one1);
  EXPECT_EQ(Copied(), first);
  EXPECT_EQ(Copied(), none);
  Journal(one1 + Record("node2.reg", 1));
  EXPECT_EQ(Copied(), Paths{"MAP/node2.map"});
  Journal(one1 + one2);
  EXPECT_EQ(Copied(), first) << "the later record counts";
  Journal(one1 + one2 + one1 + one2);
  EXPECT_EQ(Copied(), none);
  Journal(one1 + one1);
  EXPECT_EQ(Copied(), first);
  Journal(one1.substr(0, 13));
  EXPECT_EQ(manager_.Read(), 1) << "a cut record is one that was known";
  manager_.Clear();
  EXPECT_EQ(Copied(), none);
  Journal(one1);
  EXPECT_EQ(Copied(), first) << "nothing was known any more";

  WriteFile("MAP/node1.map", "a longer text that is overwritten");
  Journal(one2);
  EXPECT_EQ(Copied(), first);
  fs::remove_all("NEW/MAP");
  WriteFile("MAP/node1.map", "node1.map");
  Journal(one1 + Record("apn0001.crg", 1));
  EXPECT_EQ(Copied(), (Paths{"APDB/apn0001.txt", "MAP/node1.map"}))
      << "what is not staged stays, and the rest is copied";

  fs::create_directories("MAP/node2.map");
  Put({{"NEW/MAP/node2.map", "node2.map"}, {"NEW/MAP/node2.reg", "node2.reg"}});
  CCopyReport report;
  Journal(Record("node2.reg", 9) + Record("OTHER.TXT", 1) + Record("NMATRIX.DAT", 1));
  EXPECT_FALSE(manager_.CheckCRC(report));
  EXPECT_EQ(report.copied, (std::list<std::string>{"MAP\\node2.reg"}));
  EXPECT_EQ(report.missing, (std::list<std::string>{"NEW\\MAP\\node2.xnw", "NEW\\MAP\\node2.tun"}));
  EXPECT_EQ(report.unplaced, (std::list<std::string>{"NMATRIX.DAT", "OTHER.TXT"}));
  ASSERT_EQ(report.failed.size(), 1U);
  EXPECT_EQ(report.failed.front().file, "MAP\\node2.map");
  EXPECT_EQ(report.failed.front().reason, CNCCNet().LastError());
  EXPECT_TRUE(manager_.CheckCRC(report)) << "known already";

  fs::rename("MAP", "documents");
  fs::create_directory_symlink("documents", "MAP");
  WriteFile("documents/node2.reg", "not ours");
  Journal(Record("node2.reg", 1));
  EXPECT_FALSE(manager_.CheckCRC(report)) << "the caller has named no link";
  EXPECT_EQ(report.failed.size(), 4U);
  EXPECT_EQ(ReadFile("documents/node2.reg"), "not ours");
  Put({{"NEW/NMATRIX.DAT", "NMATRIX.DAT"}});
  manager_.SetExportFolder("MAP");
  Journal(Record("NMATRIX.DAT", 2));
  EXPECT_TRUE(manager_.CheckCRC(report)) << "the caller has named the link";
}

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

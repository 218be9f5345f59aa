#include "support/transcript.h"

#include <algorithm>
#include <functional>
#include <thread>
#include <utility>

#include <signal.h>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using Ids = std::list<unsigned long>;

bool IsPrivate(const std::string& path) {
  return fs::status(path).permissions() == (fs::perms::owner_read | fs::perms::owner_write);
}

// The golden files as they are when both kinds of packages have been made in two folders.
Files WithShortSet(Files files) {
  for (const auto& [path, bytes] : Only(files, "kc/")) {
    if (!path.starts_with("kc/AAA/")) files["short/" + path.substr(3)] = bytes;
  }
  return files;
}

// What the observer is told.
struct Events {
  explicit Events(CNCCNet& net) {
    net.SetFileObserver([this](const CFileEvent& event) {
      if (event.failure != nullptr) {
        EXPECT_TRUE(event.bytes == 0 && *event.failure != '\0') << event.path;
        failed.emplace_back(event.path, event.node);
        return;
      }
      std::string path = event.path;
      std::replace(path.begin(), path.end(), '\\', '/');
      EXPECT_TRUE(made.emplace(path, std::pair(event.bytes, event.node)).second) << path;
    });
  }
  std::map<std::string, std::pair<std::uint64_t, unsigned long>> made;  // bytes and node
  std::vector<std::pair<std::string, unsigned long>> failed;
};

TEST_F(OutputTest, EveryFileByteForByte) {
  const Files golden = LoadNetworkFiles();
  Put(golden, "memory/");
  Put(golden, "MAP/");
  const std::vector<std::string> kept = {"out/APDB/A/below/kept", "out/APDB/S/below/kept",
                                         "out/MAP/anode9.map", "out/MAP/kept.txt", "kc/below/kept"};
  Touch(kept);
  Touch({"out/APDB/stale.txt", "out/MAP/NODE77.Map", "out/MAP/nodes", "kc/stale", "kc/AB/stale",
         "kc/AP/stale.apn", "kc/AAA/stale.aaf"});
  for (const char* letter : {"A", "C", "L", "N", "S", "T", "U", "R"}) {
    Touch({std::string("out/APDB/") + letter + "/stale"});
  }
  Events events(net_);
  GenerateAll();
  Put(golden, "out/MAP/node9.xnw");
  EXPECT_TRUE(net_.ExportForKC(true, "kc"));
  EXPECT_STREQ(net_.LastError(), "");
  EXPECT_TRUE(net_.ExportForKC(false, "short\\"));
  Files expected = WithShortSet(golden);
  for (const auto& path : kept) expected[path] = "";
  const Files made = FilesBelow(".");
  EXPECT_EQ(Differences(expected, made), "");
  for (const auto& [path, event] : events.made) {
    EXPECT_TRUE(IsPrivate(path) && event.first == made.at(path).size()) << path;
  }
  EXPECT_EQ(events.made.size() + kept.size() + 6, made.size()) << "all but what was put here";
  EXPECT_EQ(events.made["out/APDB/R/apn1002F.crg"].second, 0x1002FU);
  EXPECT_EQ(events.made["out/APDB/A/apa000D.txt"].second, 0xDU);
  EXPECT_EQ(events.made["out/MAP/node10.map"].second, 10U);
  EXPECT_EQ(events.made["kc/AAA/001A000C.aaf"].second, 0xCU);
  EXPECT_EQ(events.made["kc/AB/001A0019.abn"].second, 0x19U);
  EXPECT_EQ(events.made["kc/NODENAME.DOC"].second, 0U);
  EXPECT_TRUE(fs::is_empty("out/NEW/APDB") && fs::is_empty("out/NEW/MAP"));
  EXPECT_EQ(net_.APDBPath() + "|" + net_.MAPPath(), "out\\APDB\\|out/MAP\\");
}

// Forms with one signature, for the tables below. Those with a mode byte get 200.
using All = std::function<bool(CNCCNet&, const char*)>;
using One = std::function<bool(CNCCNet&, const char*, unsigned long)>;
using Several = std::function<bool(CNCCNet&, const char*, Ids)>;

struct Generator {
  const char* name;
  All all;
  One one;
  Several several;
};

#define FORMS(member) \
#member, [](CNCCNet& n, const char* f) { return n.member(f); },                      \
      [](CNCCNet& n, const char* f, unsigned long id) { return n.member(f, id); },     \
      [](CNCCNet& n, const char* f, Ids ids) { return n.member(f, std::move(ids)); }
#define MODE_FORMS(member) \
#member, [](CNCCNet& n, const char* f) { return n.member(f, 200); },                 \
      [](CNCCNet& n, const char* f, unsigned long id) { return n.member(f, 200, id); }, \
      [](CNCCNet& n, const char* f, Ids ids) { return n.member(f, 200, std::move(ids)); }

const std::vector<Generator>& NodeGenerators() {
  static const std::vector<Generator> all = {
      {FORMS(GenApa)},    {FORMS(GenApc)},         {FORMS(GenApl)},       {MODE_FORMS(GenApn)},
      {FORMS(GenTun)},    {FORMS(GenApu)},         {FORMS(GenApnCrg)},    {FORMS(GenApnCrc)},
      {FORMS(GenMAPApa)}, {MODE_FORMS(GenMAPApn)}, {FORMS(GenMAPApnCrg)},
  };
  return all;
}

#define WHOLE(member) #member, [](CNCCNet & n, const char* f) { return n.member(f); }

const std::vector<std::pair<const char*, All>>& WholeGenerators() {
  static const std::vector<std::pair<const char*, All>> all = {
      {WHOLE(CreateAbonameFile)},
      {WHOLE(CreateAbonameeFile)},
      {WHOLE(CreateCcc_kcFile)},
      {WHOLE(CreateAbn_apFile)},
      {WHOLE(CreateNodenameFile)},
      {WHOLE(CreateNmatrixFile)},
      {WHOLE(GenAB)},
      {WHOLE(GenAP)},
      {WHOLE(GenMAPNodeTun)},
      {WHOLE(GenMAPNodeMap)},
      {WHOLE(GenMAPNodeReg)},
      {WHOLE(GenFullDistr)},
      {WHOLE(GenShortDistr)},
  };
  return all;
}

// Every generator in every form; with "+" those that are always true.
using Form = std::function<bool(CNCCNet&, const char*, const Ids&)>;

#define RUN(call) [](CNCCNet& n, const char* f, const Ids& ids) { return (void)ids, n.call; }

std::vector<std::pair<std::string, Form>> AllForms() {
  std::vector<std::pair<std::string, Form>> forms = {
      {"+GenAPDB", RUN(GenAPDB(f, 200))},
      {"+GenAPDB-some", RUN(GenAPDB(f, 200, ids))},
      {"+GenMAP", RUN(GenMAP(f, 200))},
      {"+GenMAP-some", RUN(GenMAP(f, 200, ids))},
      {"+GenRoutingTables", RUN(GenRoutingTables(f))},
      {"+ExportForKC", RUN(ExportForKC(true, f))},
      {"GenMAPNodeMap-one", RUN(GenMAPNodeMap(f, ids.front()))},
      {"GenMAPNodeTun-one", RUN(GenMAPNodeTun(f, ids.front()))},
      {"GenMAPNodeReg-one", RUN(GenMAPNodeReg(f, ids.front()))},
      {"GenFullDistr-one", RUN(GenFullDistr(f, ids.front()))},
      {"GenShortDistr-one", RUN(GenShortDistr(f, ids.front()))},
  };
  for (const auto& g : NodeGenerators()) {
    const std::string name = g.name;
    forms.emplace_back("+" + name, [&g](auto& n, auto* f, auto&) { return g.all(n, f); });
    forms.emplace_back("+" + name + "-some",
                       [&g](auto& n, auto* f, auto& ids) { return g.several(n, f, ids); });
    forms.emplace_back(name + "-one",
                       [&g](auto& n, auto* f, auto& ids) { return g.one(n, f, ids.front()); });
  }
  for (const auto& [name, run] : WholeGenerators())
    forms.emplace_back(name, [&run = run](auto& n, auto* f, auto&) { return run(n, f); });
  return forms;
}

// A node of the kind that the form is for.
Ids NodeFor(const std::string& form) {
  return {form.find("MAP") != std::string::npos ? 9UL : 0xCUL};
}

// What transcripts can say: a form by its name, with a folder and identifiers; it prints its
// result, how often the callback was called, the last error and what failed.
class OutputTranscript : public OutputTest {
 protected:
  ~OutputTranscript() override { SetTextLineEnd("\r\n"); }

  void PlayOutputs() { Play("outputs.txt", Known()); }
  Commands Known();

  std::string failed_;
  int calls_ = 0;
  std::shared_ptr<LengthStamps> provider_ = std::make_shared<LengthStamps>();
};

Ids Numbers(const Words& words) {
  Ids ids;
  for (const auto& word : words) ids.push_back(std::stoul(word, nullptr, 16));
  return ids;
}

Commands OutputTranscript::Known() {
  Files stated = LoadNetworkFiles();
  std::erase_if(stated, [](const auto& file) { return file.first.starts_with("MAP/"); });
  Commands known = FileCommands(stated);
  net_.SetCallback([](void* context, void*) -> long { return ++*static_cast<int*>(context); },
                   &calls_);
  net_.SetFileObserver([this](const CFileEvent& event) {
    if (event.failure != nullptr) failed_ += "failed " + std::string(event.path) + "\n";
  });
  for (const auto& [name, run] : AllForms()) {
    known[name.substr(name[0] == '+' ? 1 : 0)] = [this, run = run](const Words& words) {
      failed_.clear();
      calls_ = 0;
      const bool result = run(net_, words[0].c_str(), Numbers({words.begin() + 1, words.end()}));
      const std::string error = net_.LastError();
      return (result ? "true" : "false") +
             (calls_ == 0 ? "" : " after " + std::to_string(calls_) + " callbacks") +
             (error.empty() ? "" : ": " + error) + "\n" + failed_;
    };
  }
  known.merge(NetworkCommands(net_));
  known["lock"] = [this](const Words&) { return net_.LockGen(), ""; };
  known["unlock"] = [this](const Words&) { return net_.UnLockGen(), ""; };
  known["line-feeds"] = [](const Words&) { return SetTextLineEnd("\n") ? "" : "refused"; };
  known["create"] = [this](const Words& words) {
    NetAccess::UseEngines(net_, ncc::MemoryEngineFactory(std::make_shared<ncc::MemoryStore>()));
    return net_.Create("db", "net", Numbers(words).front()) ? "" : net_.LastError();
  };
  known["key"] = [](const Words& words) { return UseKey(words[0]), ""; };
  known["provider"] = [this](const Words& words) {
    provider_->fails = words[0] == "fails";
    provider_->has_key = words[0] != "keyless";
    SetStampProvider(provider_);
    return "asked " + std::to_string(std::exchange(provider_->files, 0));
  };
  known["paths"] = [this](const Words&) { return net_.APDBPath() + "|" + net_.MAPPath(); };
  return known;
}

TEST_F(OutputTranscript, TheFormsOfEachGenerator) { PlayOutputs(); }
TEST_F(OutputTranscript, TheGeneratorsOfWholeNetworks) { PlayOutputs(); }
TEST_F(OutputTranscript, AStopEndsTheRunsBetweenTheirGenerators) { PlayOutputs(); }
TEST_F(OutputTranscript, SomeApsInAFolderOfTheirOwn) { PlayOutputs(); }
TEST_F(OutputTranscript, SomeServersWithTheStampsOfTheMapsBefore) { PlayOutputs(); }
TEST_F(OutputTranscript, MapsOfOneServerAndNetworksWithoutTunnels) { PlayOutputs(); }
TEST_F(OutputTranscript, WithoutCentresTheirLinesHaveNoNode) { PlayOutputs(); }
TEST_F(OutputTranscript, TheZerosBehindAMapGrowWithTheNetwork) { PlayOutputs(); }
TEST_F(OutputTranscript, AnEmptyNetworkHasTheFilesOfTheWholeNetworkOnly) { PlayOutputs(); }
TEST_F(OutputTranscript, ARegistrationAndAListFindWhatTheyStamp) { PlayOutputs(); }
TEST_F(OutputTranscript, AProviderOfTheApplication) { PlayOutputs(); }
TEST_F(OutputTranscript, LineEndsOfTexts) {
  EXPECT_FALSE(SetTextLineEnd("\r") || SetTextLineEnd("") || SetTextLineEnd(nullptr));
  PlayOutputs();
}
TEST_F(OutputTranscript, LinksBelowTheNamedFolderAreNotFollowed) { PlayOutputs(); }

TEST_F(OutputTest, AStopFromAnotherThreadEndsARunAfterTheNodeInHand) {
  std::vector<std::string> seen;
  net_.SetFileObserver([&](const CFileEvent& event) {
    seen.push_back(event.path);
    if (seen.size() == 8) std::thread([&] { net_.LockGen(); }).join();
  });
  EXPECT_TRUE(net_.GenAPDB("out", 0));
  const std::vector<std::string> made = Names(FilesBelow("out"));
  EXPECT_EQ(made.size(), 8U);
  EXPECT_EQ(made.back(), "out/APDB/C/apc000D.txt") << "the second file of the second folder";
  EXPECT_EQ(seen.back(), "out\\APDB\\C\\apc000D.txt");
  EXPECT_FALSE(fs::exists("out/APDB/L") || fs::exists("newfiles.dat"));
  net_.UnLockGen();
  EXPECT_TRUE(net_.GenAPDB("out", 0));
  EXPECT_EQ(FilesBelow("out").size(), 48U) << "and the next one runs";
  net_.SetFileObserver([](const CFileEvent&) { throw 1; });
  EXPECT_TRUE(net_.GenRoutingTables("out")) << "what the observer throws is ignored";
  EXPECT_EQ(FilesBelow("out").size(), 48U + 9);
}

TEST_F(OutputTest, WhatChangesBetweenTwoFilesShowsInTheSecond) {
  fs::create_directory("x");
  const auto users = [&] {
    EXPECT_TRUE(net_.GenApa("x/", 0xCUL));
    return ReadFile("x/apa000C.txt");
  };
  const std::string before = users();
  net_.Preferences()->net_number = 0xBEEF;
  EXPECT_NE(users().find("BEEF00090 BEEF001C"), std::string::npos) << "no unit, no new revision";
  net_.Preferences()->net_number = 0x1A;
  EXPECT_TRUE(net_.BeginBatch() && net_.ModifyAB(0x1C, "renamed"));
  EXPECT_NE(users().find(" renamed\r\n"), std::string::npos);
  EXPECT_TRUE(net_.ModifyAB(0x1C, "once more"));
  EXPECT_NE(users().find(" once more\r\n"), std::string::npos);
  EXPECT_TRUE(net_.EndBatch(false));
  EXPECT_EQ(users(), before);

  net_.SetListAvailableColAb(0x1C, 0x99, {{{0x99, 9}, 0}}, false);
  EXPECT_TRUE(net_.GenMAPApa("x/", 9));
  EXPECT_EQ(ReadFile("x/apa0009.txt").find("0099"), std::string::npos) << "a Dep that is not there";
  int files = 0;
  net_.SetFileObserver([&](const CFileEvent&) {
    EXPECT_TRUE(net_.ModifyAB(0x1C, ("after " + std::to_string(++files)).c_str()));
  });
  EXPECT_TRUE(net_.GenApa("x/"));
  EXPECT_NE(ReadFile("x/apa1002F.txt").find(" after 5\r\n"), std::string::npos);
  net_.SetFileObserver(nullptr);
  net_.SetCallback(
      [](void* context, void*) -> long {
        auto* const net = static_cast<CNCCNet*>(context);
        net->SetCallback(nullptr);  // the change calls it too
        return net->ModifyDep(0x16, "by the callback");
      },
      &net_);
  EXPECT_TRUE(net_.GenApu("x/", 0xCUL));
  EXPECT_NE(ReadFile("x/apu000C.txt").find(" by the callback\r\n"), std::string::npos);
}

TEST_F(OutputTest, WithoutADatabaseOrAFolderNothingIsTouched) {
  CNCCNet closed;
  Put({{"kc/AB/old", "1"}, {"kc/APDB/A/old", "2"}, {"kc/MAP/node9.map", "3"}, {"kc/x", "4"}});
  const Files before = FilesBelow(".");
  for (const auto& [name, run] : AllForms()) {
    SCOPED_TRACE(name);
    const bool always_true = name[0] == '+';
    const bool without_database = run(closed, "kc/", NodeFor(name));
    EXPECT_STRNE(closed.LastError(), "");
    EXPECT_TRUE(without_database || !always_true);
    const bool without_folder = run(net_, nullptr, NodeFor(name));
    EXPECT_STRNE(net_.LastError(), "");
    EXPECT_TRUE(without_folder || !always_true);
    EXPECT_EQ(Differences(before, FilesBelow(".")), "");
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator("."), {}), 9) << "no folder is made";
  }
  for (const char* name : {"kc/", ""}) EXPECT_FALSE(closed.GenApn(name, 0, 0xCUL));
}

TEST_F(OutputTest, APackageKeepsTheLongerTailOfTheOneBefore) {
  const Files golden = LoadNetworkFiles();
  Put(golden);
  net_.APDBPath("out/APDB/");
  net_.MAPPath("out\\MAP\\");
  WriteFile("kc/AAA/001A0009.aaf", std::string(9000, 'x'));
  WriteFile("kc/AAA/001A000C.aaf", "x");
  for (const unsigned long id : {9UL, 0xCUL}) EXPECT_TRUE(net_.GenFullDistr("kc", id));
  Files expected = golden;
  std::string& longer = expected["kc/AAA/001A0009.aaf"];
  longer += std::string(9000 - longer.size(), 'x');
  EXPECT_EQ(Differences(expected, FilesBelow(".")), "");
  for (const unsigned long id : {0UL, 0x15UL, 0x19UL}) EXPECT_FALSE(net_.GenFullDistr("kc", id));
  fs::remove_all("kc/AAA");
  EXPECT_TRUE(net_.GenShortDistr("kc", Ids{9, 0, 0xC}));
  EXPECT_STRNE(net_.LastError(), "");
  EXPECT_FALSE(fs::exists("kc/AAA")) << "no folder is made";
}

TEST_F(OutputTest, EmptyingTheFolderOfAnOpenDatabaseLeavesTheDatabase) {
  CNCCNet net;
  ASSERT_TRUE(net.Create("kc", "net", 2));
  ASSERT_EQ(net.AddServer("A", 0, 1), 1U);
  WriteFile("kc/stale", "");
  EXPECT_TRUE(net.ExportForKC(true, "kc"));
  EXPECT_FALSE(fs::exists("kc/stale"));
  ASSERT_EQ(net.AddServer("B", 0, 1), 2U) << net.LastError();
  net.Close();
  ASSERT_TRUE(net.Open("kc", "net")) << net.LastError();
  EXPECT_EQ(net.GetServersCount(), 2U);
}

TEST_F(OutputTest, WhatCannotBeWrittenIsReportedAndPassedOver) {
  Files expected = LoadNetworkFiles();
  Events events(net_);
  Put({{"out/APDB/N/apn000D.txt/in the way", ""}, {"plain", "a file"}});
  EXPECT_TRUE(net_.GenAPDB("out", 200));
  EXPECT_STRNE(net_.LastError(), "");
  using Seen = std::vector<std::pair<std::string, unsigned long>>;
  EXPECT_EQ(events.failed, (Seen{{"out\\APDB\\N\\apn000D.txt", 0xD}}));
  expected["out/APDB/N/apn000D.txt/in the way"] = "";
  expected.erase("out/APDB/N/apn000D.txt");
  EXPECT_EQ(Differences(Only(expected, "out/APDB/"), FilesBelow("out")), "");
  EXPECT_TRUE(net_.GenApn("out/APDB/N/", 200, 0xDUL)) << "the result of the form for one";
  EXPECT_STRNE(net_.LastError(), "");
  events.made.clear();
  Put({{"in the way/APDB/S", ""}});
  EXPECT_TRUE(net_.GenAPDB("in the way", 200));
  EXPECT_TRUE(CString(net_.LastError()).starts_with("folder in the way/APDB/S"))
      << net_.LastError();

  events.failed.clear();
  fs::create_directories("map/node10.map/in the way");
  EXPECT_FALSE(net_.GenMAPNodeMap("map/"));
  EXPECT_EQ(events.failed, (Seen{{"map/node10.map", 10}}));
  EXPECT_EQ(Names(FilesBelow("map")), std::vector<std::string>{"map/node9.map"});

  for (const auto& [name, run] : AllForms()) {
    SCOPED_TRACE(name);
    const bool result = run(net_, "plain/", NodeFor(name));
    EXPECT_STRNE(net_.LastError(), "");
    EXPECT_TRUE(result || name[0] != '+');
    EXPECT_TRUE(!result || !name.starts_with("Create"));
  }
  EXPECT_EQ(ReadFile("plain"), "a file");
}

TEST_F(OutputTest, AFullDiskLeavesNothingHalfWritten) {
  const Files golden = LoadNetworkFiles();
  Events events(net_);
  struct rlimit before = {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  struct rlimit small = before;
  small.rlim_cur = 100;
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &small);
  const bool full_run = net_.GenAPDB("out", 200);
  const std::string reason = net_.LastError();
  const bool maps = net_.GenRoutingTables("out");
  const bool names = net_.CreateNodenameFile("./");
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, handler);

  EXPECT_TRUE(full_run && maps && !names);
  EXPECT_NE(reason, "");
  Files expected = Only(golden, "out/APDB/");
  std::size_t too_long = 0;
  for (const auto& [path, bytes] : Only(golden, "out/APDB/")) {
    if (bytes.size() <= 100) continue;
    expected.erase(path);
    ++too_long;
  }
  EXPECT_EQ(Differences(expected, Only(FilesBelow("."), "out/APDB/")), "");
  EXPECT_EQ(std::count_if(events.failed.begin(), events.failed.end(),
                          [](const auto& e) { return e.first.starts_with("out\\APDB"); }),
            static_cast<long>(too_long));
  EXPECT_FALSE(fs::exists("NODENAME.DOC"));
}

}  // namespace

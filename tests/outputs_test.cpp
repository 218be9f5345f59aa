#include "support/outputs.h"

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
  const char* golden;  // where its files lie in the golden set; "%" stands for an address
  const char* folder;  // to hand to the forms for all nodes and for one
  const char* root;    // to hand to the form for several
  int callbacks;       // of the form for all nodes
  bool stops;
};

#define FORMS(member) \
#member, [](CNCCNet& n, const char* f) { return n.member(f); },                      \
      [](CNCCNet& n, const char* f, unsigned long id) { return n.member(f, id); },     \
      [](CNCCNet& n, const char* f, Ids ids) { return n.member(f, std::move(ids)); }
#define MODE_FORMS(member) \
#member, [](CNCCNet& n, const char* f) { return n.member(f, 200); },                 \
      [](CNCCNet& n, const char* f, unsigned long id) { return n.member(f, 200, id); }, \
      [](CNCCNet& n, const char* f, Ids ids) { return n.member(f, 200, std::move(ids)); }

// The callbacks: one for each AP and, where Deps are walked, one for each Dep, each item of a Dep's
// folder (GenApc), each node of the group and each linked Dep (GenApu).
const std::vector<Generator>& ApGenerators() {
  static const std::vector<Generator> all = {
      {FORMS(GenApa), "out/APDB/A/apa%.txt", "out\\APDB\\A\\", "out\\APDB", 0, true},
      {FORMS(GenApc), "out/APDB/C/apc%.txt", "out/APDB/C/", "out/APDB/", 6 + 65, true},
      {FORMS(GenApl), "out/APDB/L/apl%.txt", "out/APDB/L/", "out/APDB/", 6, true},
      {MODE_FORMS(GenApn), "out/APDB/N/apn%.txt", "out/APDB/N/", "out\\APDB\\", 6, true},
      {FORMS(GenTun), "out/APDB/T/node%.tun", "out/APDB/T/", "out/APDB/", 0, true},
      {FORMS(GenApu), "out/APDB/U/apu%.txt", "out/APDB/U/", "out/APDB/", 6 + 57, true},
      {FORMS(GenApnCrg), "out/APDB/R/apn%.crg", "out/APDB/", "out/APDB", 6, false},
      {FORMS(GenApnCrc), "out/APDB/R/apn%.crc", "out/APDB/R/", "out/APDB/", 6, false},
  };
  return all;
}

const std::vector<Generator>& ServerGenerators() {
  static const std::vector<Generator> all = {
      {FORMS(GenMAPApa), "out/MAP/apa%.txt", "out\\MAP\\", "out\\MAP\\", 3, true},
      {MODE_FORMS(GenMAPApn), "out/MAP/apn%.txt", "out/MAP/", "out/MAP/", 3, true},
      {FORMS(GenMAPApnCrg), "out/MAP/apn%.crg", "out/MAP/", "out/MAP/", 3, false},
  };
  return all;
}

std::string Path(const char* pattern, const std::string& address) {
  std::string path = pattern;
  return path.replace(path.find('%'), 1, address);
}

Files Expected(const Files& golden, const Generator& generator,
               const std::vector<std::string>& addresses) {
  Files files;
  for (const auto& address : addresses) {
    const std::string path = Path(generator.golden, address);
    files[path] = golden.at(path);
  }
  return files;
}

// All forms of one generator; `addresses` and `ids` are the nodes in the order of the database.
void CheckForms(CNCCNet& net, const Generator& generator, const std::vector<std::string>& addresses,
                const std::vector<unsigned long>& ids, unsigned long other_kind) {
  SCOPED_TRACE(generator.name);
  const Files golden = LoadNetworkFiles();
  const std::string folder = fs::path(Path(generator.golden, "")).parent_path();
  const auto again = [&] {
    fs::remove_all("out");
    fs::create_directories(folder);
  };
  const auto made = [&] { return FilesBelow("out"); };
  int calls = 0;
  net.SetCallback([](void* context, void*) -> long { return ++*static_cast<int*>(context); },
                  &calls);
  again();
  EXPECT_TRUE(generator.all(net, generator.folder)) << net.LastError();
  EXPECT_EQ(Differences(Expected(golden, generator, addresses), made()), "");
  EXPECT_EQ(calls, generator.callbacks);
  net.SetCallback(nullptr, nullptr);

  again();
  EXPECT_TRUE(generator.one(net, generator.folder, ids[1])) << net.LastError();
  for (const unsigned long id : {0UL, other_kind, 0x11UL, 0x19UL, 0x100000009UL}) {
    EXPECT_FALSE(generator.one(net, generator.folder, id)) << id;
    EXPECT_STRNE(net.LastError(), "") << id;
  }
  EXPECT_EQ(Differences(Expected(golden, generator, {addresses[1]}), made()), "");

  fs::remove_all("out");
  const bool rewrites_all = generator.name == std::string("GenApnCrc");
  if (rewrites_all) Put({{Path(generator.golden, addresses[0]), "old"}});
  EXPECT_TRUE(generator.several(net, generator.root, {ids[2], 0, other_kind, ids[1]}));
  EXPECT_EQ(
      Differences(Expected(golden, generator,
                           rewrites_all ? addresses : std::vector{addresses[1], addresses[2]}),
                  made()),
      "");

  again();
  net.LockGen();
  EXPECT_TRUE(generator.all(net, generator.folder));
  const std::vector<std::string> first = {addresses[0]};
  EXPECT_EQ(Differences(Expected(golden, generator, generator.stops ? first : addresses), made()),
            "");
  again();
  EXPECT_TRUE(generator.several(net, generator.root, {ids[0], ids[1]}));
  EXPECT_EQ(made().size(), rewrites_all ? addresses.size() : generator.stops ? 1U : 2U);
  net.UnLockGen();
}

TEST_F(OutputTest, TheFormsOfEachGenerator) {
  for (const auto& generator : ApGenerators()) {
    CheckForms(net_, generator, OutputApAddresses(), {0xC, 0xD, 0xE, 0xF, 0x10, 0x1002F}, 9);
  }
  for (const auto& generator : ServerGenerators()) {
    CheckForms(net_, generator, {"0009", "000A", "000B"}, {9, 10, 11}, 0xC);
  }
}

struct Whole {
  const char* name;
  All run;
  const char* folder;
  int callbacks;              // -1 where it is not said
  std::size_t files_stopped;  // made when a stop has been asked for before
};

#define WHOLE(member) #member, [](CNCCNet & n, const char* f) { return n.member(f); }

const std::vector<Whole>& WholeGenerators() {
  // The root folder has 16 items: the network's, 3 servers, 4 groups, 4 Deps, 4 users.
  static const std::vector<Whole> all = {
      {WHOLE(CreateAbonameFile), "kc/", 16, 1},
      {WHOLE(CreateAbonameeFile), "kc/", 0, 1},
      {WHOLE(CreateCcc_kcFile), "kc/", 0, 1},
      {WHOLE(CreateAbn_apFile), "kc\\", 16, 1},
      {WHOLE(CreateNodenameFile), "kc/", 4 + 3 + 6, 1},
      {WHOLE(CreateNmatrixFile), "kc/", -1, 1},
      {WHOLE(GenAB), "kc/AB/", 4, 1},
      {WHOLE(GenAP), "kc/AP\\", 6, 1},
      {WHOLE(GenMAPNodeTun), "out/MAP/", 16 + 3 * 3, 1},
      {WHOLE(GenMAPNodeMap), "out/MAP/", 3 + 2, 1},
      {WHOLE(GenMAPNodeReg), "out/MAP/", 16, 1},
      {WHOLE(GenFullDistr), "kc", 9, 1},
      {WHOLE(GenShortDistr), "short\\", 9, 1},
  };
  return all;
}

TEST_F(OutputTest, TheGeneratorsOfWholeNetworks) {
  const Files golden = LoadNetworkFiles();
  const auto run = [&](const Whole& generator) {
    for (const char* folder : {"out", "kc", "short"}) fs::remove_all(folder);
    for (const char* folder : {"out/MAP", "kc/AB", "kc/AP", "kc/AAA", "short/AAA"}) {
      fs::create_directories(folder);
    }
    EXPECT_TRUE(generator.run(net_, generator.folder)) << net_.LastError();
    fs::remove("newfiles.dat");
    return FilesBelow(".");
  };
  int calls = 0;
  net_.SetCallback([](void* context, void*) -> long { return ++*static_cast<int*>(context); },
                   &calls);
  for (const auto& generator : WholeGenerators()) {
    SCOPED_TRACE(generator.name);
    calls = 0;
    for (const auto& [path, bytes] : run(generator)) {
      const bool package = path.find("/AAA/") != std::string::npos;  // of nothing that is here
      EXPECT_TRUE(golden.contains(path) && (package || golden.at(path) == bytes)) << path;
    }
    EXPECT_TRUE(generator.callbacks < 0 || calls == generator.callbacks) << calls;
    net_.LockGen();
    EXPECT_EQ(run(generator).size(), generator.files_stopped);
    net_.UnLockGen();
  }
}

TEST_F(OutputTest, AStopEndsTheRunsBetweenTheirGenerators) {
  const auto old = [] {
    fs::remove_all("out");
    Touch({"out/APDB/A/old", "out/APDB/C/old", "out/APDB/old", "out/MAP/node99.map",
           "out/MAP/node9.reg"});
  };
  const auto made = [&](auto generate) {
    old();
    EXPECT_TRUE(generate());
    return Names(FilesBelow("out"));
  };
  using Paths = std::vector<std::string>;
  net_.LockGen();
  EXPECT_EQ(made([&] { return net_.GenAPDB("out", 0); }),
            (Paths{"out/APDB/A/apa000C.txt", "out/APDB/C/old", "out/APDB/old", "out/MAP/node9.reg",
                   "out/MAP/node99.map"}));
  EXPECT_EQ(made([&] { return net_.GenRoutingTables("out"); }),
            (Paths{"out/APDB/A/old", "out/APDB/C/old", "out/APDB/old", "out/MAP/node9.tun"}));
  EXPECT_EQ(made([&] { return net_.GenMAP("out", 0); }),
            (Paths{"out/APDB/A/old", "out/APDB/C/old", "out/APDB/old", "out/MAP/apa0009.txt",
                   "out/MAP/node9.reg", "out/MAP/node99.map"}));
  fs::remove_all("out");
  EXPECT_TRUE(net_.GenAPDB("out", 0, Ids{0xD, 0xC}));
  EXPECT_EQ(
      Names(FilesBelow("out")),
      (Paths{"out/A/apa000D.txt", "out/C/apc000D.txt", "out/L/apl000D.txt", "out/N/apn000D.txt",
             "out/R/apn000D.crc", "out/R/apn000D.crg", "out/U/apu000D.txt"}))
      << "the first is made whole";
  EXPECT_EQ(ReadFile("newfiles.dat").size(), 17U) << "one list of stamps";
  EXPECT_TRUE(net_.ExportForKC(true, "kc"));
  EXPECT_EQ(FilesBelow("kc").size(), 6U + 1 + 1 + 1) << "each of its generators ends by itself";
  net_.UnLockGen();
}

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

TEST_F(OutputTest, SomeApsInAFolderOfTheirOwn) {
  const Files golden = LoadNetworkFiles();
  Put({{"some/T/node000C.tun", "as it was"}, {"some/A/apa9999.txt", "stale"}, {"some/old", ""}});
  SetStampProvider(std::make_shared<LengthStamps>());
  EXPECT_TRUE(net_.GenAPDB("some", 200, Ids{0x1002F, 9, 0xC}));
  Files expected = {
      {"some/T/node000C.tun", "as it was"}, {"some/A/apa9999.txt", "stale"}, {"some/old", ""}};
  for (const char* address : {"000C", "1002F"}) {
    for (const auto& generator : ApGenerators()) {
      if (generator.name == std::string("GenTun")) continue;
      const std::string path = Path(generator.golden, address);
      expected["some" + path.substr(8)] = golden.at(path);
    }
  }
  expected["some/R/apn000C.crg"] =
      "APN000C.TXT=000001B8\r\nAPU000C.TXT=00000163\r\nAPA000C.TXT=0000017E\r\n"
      "APL000C.TXT=00000000\r\nNODE000C.TUN=00000009\r\nAPN000C.CRG=0000006F\r\n";
  expected.erase("some/R/apn1002F.crg");
  Files made = FilesBelow("some");
  EXPECT_TRUE(made["some/R/apn1002F.crg"].find("NODE1002F.TUN=00000000\r\n") != std::string::npos);
  made.erase("some/R/apn1002F.crg");
  EXPECT_EQ(Differences(expected, made), "");
  EXPECT_TRUE(fs::is_empty("some/S"));
  EXPECT_EQ(net_.APDBPath(), "some\\");
}

TEST_F(OutputTest, SomeServersWithTheStampsOfTheMapsBefore) {
  Put({{"some/node9.map", "old map"}, {"some/node9.tun", "old"}, {"some/node77.map", "kept"}});
  SetStampProvider(std::make_shared<LengthStamps>());
  EXPECT_TRUE(net_.GenMAP("some", 200, Ids{9, 0xC}));
  EXPECT_EQ(ReadFile("some/apn0009.crg"),
            "APN0009.TXT=00000164\r\nAPA0009.TXT=00000084\r\nNODE9.MAP=00000007\r\n"
            "NODE9.TUN=00000003\r\nAPN0009.CRG=00000054\r\n");
  EXPECT_EQ(FilesBelow("some").size(), 3U + 3 * 3 + 1) << "the maps of all, and what was there";
  EXPECT_EQ(ReadFile("some/node9.map").size(), 363U);
  EXPECT_EQ(net_.MAPPath(), "some\\");
}

TEST_F(OutputTest, MapsOfOneServerAndNetworksWithoutTunnels) {
  fs::create_directory("one");
  for (const unsigned long id : {10UL, 0xCUL, 0UL}) {
    EXPECT_EQ(net_.GenMAPNodeMap("one/", id), id == 10);
    EXPECT_EQ(net_.GenMAPNodeTun("one/", id), id == 10);
    EXPECT_EQ(net_.GenMAPNodeReg("one/", id), id == 10);
  }
  const Files golden = LoadNetworkFiles();
  Files expected;
  for (const char* name : {"node10.map", "node10.tun", "node10.reg"}) {
    expected["one/" + std::string(name)] = golden.at("out/MAP/" + std::string(name));
  }
  EXPECT_EQ(Differences(expected, FilesBelow("one")), "");

  EXPECT_TRUE(net_.DeleteServer(9UL) && net_.DeleteServer(11UL));
  EXPECT_FALSE(net_.GenMAPNodeTun("one/") || net_.GenMAPNodeTun("one/", 10));
  EXPECT_EQ(Differences(expected, FilesBelow("one")), "") << "left alone";
  EXPECT_TRUE(net_.GenRoutingTables("two"));
  EXPECT_EQ(Names(FilesBelow("two")),
            (std::vector<std::string>{"two/MAP/node10.map", "two/MAP/node10.reg"}));
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

TEST_F(OutputTest, WithoutCentresTheirLinesHaveNoNode) {
  EXPECT_TRUE(net_.RegAPP(0xC, 0, 0) && net_.RegAPP(0xD, 0, 0) && net_.RegSrv(9, 0x44, 0));
  EXPECT_TRUE(net_.GenApn("./", 1, 0xCUL) && net_.GenMAPNodeReg("./", 9UL));
  EXPECT_TRUE(net_.CreateCcc_kcFile("./"));
  const std::string none = std::string(50, ' ') + " 001A00000 0000001A00000000\r\n";
  EXPECT_EQ(ReadFile("apn000C.txt"), "0000 S S Alpha" + std::string(45, ' ') +
                                         " 001A00090 0000001A00090000\r\n" + "0004     " + none +
                                         "0008     " + none);
  EXPECT_EQ(ReadFile("CCC_KC.TXT"), "001A00000\r\n001A00000\r\n");
  EXPECT_NE(ReadFile("node9.reg").find("\nCCC=001A0000\r\nKeyC=001A0000\r\n"), std::string::npos);
}

TEST_F(OutputTest, TheZerosBehindAMapGrowWithTheNetwork) {
  CNCCNet net;
  ASSERT_TRUE(net.Create("db", "net", 0xABCDE));
  for (const std::uintmax_t size : {103U, 103U, 107U, 111U, 115U}) {
    ASSERT_NE(net.AddServer(std::to_string(size + net.GetServersCount()).c_str(), 0, 0), 0U);
    EXPECT_TRUE(net.GenMAPNodeMap("./", 1));
    EXPECT_EQ(fs::file_size("node1.map"), size);
  }
  EXPECT_TRUE(net.LinkSrvToSrv(1, 5) && net.LinkSrvToSrv(1, 3) && net.GenMAPNodeMap("./", 1));
  const std::string map = ReadFile("node1.map");
  EXPECT_EQ(map.substr(103 + 2 * 63), std::string(12, '\0') + std::string("\5\0\5\0\3\0\3\0", 8));
  EXPECT_EQ(map.substr(42, 4), std::string("\xDE\xBC\0\0", 4)) << "the low half of the network";
}

TEST_F(OutputTest, AnEmptyNetworkHasTheFilesOfTheWholeNetworkOnly) {
  CNCCNet net;
  ASSERT_TRUE(net.Create("db", "net", 2));
  EXPECT_TRUE(net.GenAPDB("out", 0) && net.GenMAP("out", 0) && net.GenRoutingTables("out"));
  EXPECT_TRUE(net.ExportForKC(true, "kc"));
  EXPECT_TRUE(FilesBelow("out").empty());
  EXPECT_TRUE(fs::is_directory("out/APDB/R") && fs::is_directory("out/MAP"));
  EXPECT_EQ(ReadFile("kc/NODENAME.DOC").size(), 51U + 29 + 2);
  EXPECT_EQ(ReadFile("kc/CCC_KC.TXT"), "000200000\r\n000200000\r\n");
  EXPECT_EQ(ReadFile("kc/NMATRIX.DAT"), std::string("NMATRIX\0\1\0\0\0\2\0\0\0\0\0\0\0", 20));
  for (const char* name : {"ABONAME.TXT", "ABONAMEE.TXT", "ABN_AP.TXT"})
    EXPECT_EQ(fs::file_size("kc" / fs::path(name)), 0U);
  EXPECT_EQ(FilesBelow("kc").size(), 6U);
}

// Every generator in every form.
std::vector<std::pair<std::string, std::function<bool(CNCCNet&, const char*)>>> AllForms() {
  std::vector<std::pair<std::string, std::function<bool(CNCCNet&, const char*)>>> forms = {
      {"+GenAPDB", [](CNCCNet& n, const char* f) { return n.GenAPDB(f, 0); }},
      {"+GenAPDB some", [](CNCCNet& n, const char* f) { return n.GenAPDB(f, 0, Ids{0xC}); }},
      {"+GenMAP", [](CNCCNet& n, const char* f) { return n.GenMAP(f, 0); }},
      {"+GenMAP some", [](CNCCNet& n, const char* f) { return n.GenMAP(f, 0, Ids{9}); }},
      {"+GenRoutingTables", [](CNCCNet& n, const char* f) { return n.GenRoutingTables(f); }},
      {"+ExportForKC", [](CNCCNet& n, const char* f) { return n.ExportForKC(true, f); }},
  };
  for (const auto* table : {&ApGenerators(), &ServerGenerators()}) {
    for (const auto& g : *table) {
      const unsigned long id = table == &ApGenerators() ? 0xC : 9;
      forms.emplace_back("+" + std::string(g.name), g.all);
      forms.emplace_back("+some " + std::string(g.name),
                         [&g, id](CNCCNet& n, const char* f) { return g.several(n, f, Ids{id}); });
      forms.emplace_back("one " + std::string(g.name),
                         [&g, id](CNCCNet& n, const char* f) { return g.one(n, f, id); });
    }
  }
  for (const auto& g : WholeGenerators()) forms.emplace_back(g.name, g.run);
  return forms;
}

TEST_F(OutputTest, WithoutADatabaseOrAFolderNothingIsTouched) {
  CNCCNet closed;
  Put({{"kc/AB/old", "1"}, {"kc/APDB/A/old", "2"}, {"kc/MAP/node9.map", "3"}, {"kc/x", "4"}});
  const Files before = FilesBelow(".");
  for (const auto& [name, run] : AllForms()) {
    SCOPED_TRACE(name);
    const bool always_true = name[0] == '+';
    const bool without_database = run(closed, "kc/");
    EXPECT_STRNE(closed.LastError(), "");
    EXPECT_TRUE(without_database || !always_true);
    const bool without_folder = run(net_, nullptr);
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
    const bool result = run(net_, "plain/");
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

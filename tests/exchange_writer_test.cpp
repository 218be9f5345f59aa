#include "nccnet/exchange_writer.h"

#include "nccnet/exchange_check.h"
#include "nccnet/import_container.h"
#include "support/exchange.h"
#include "support/memory_net.h"
#include "support/network.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// How many more changes of files the process lives to see; without end when it is negative.
int changes_left = -1;

void BeforeChange() {
  if (changes_left == 0) _exit(9);
  if (changes_left > 0) --changes_left;
}

}  // namespace

// What changes a file goes through here.
extern "C" int rename(const char* from, const char* to) noexcept {
  BeforeChange();
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
extern "C" int unlink(const char* path) noexcept {
  BeforeChange();
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}
extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  BeforeChange();
  return syscall(SYS_write, file, bytes, size);
}

namespace {

constexpr std::uint32_t kAllApplications = 0x1FFFF;
const CExchangeGate kGate{11, 22, "Gate"};

class Writer : public ExchangeTest {
 protected:
  void SetUp() override { ASSERT_TRUE(memory_.Create()); }

  bool Write() { return WriteExchangeSet(net_, "DB\\IMPORT", kGate, report_, options_); }

  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
  CExchangeReport report_;
  CExchangeOptions options_;
};

void BuildRandom(CNCCNet& net, unsigned seed) {
  std::mt19937 random(seed);
  int names = 0;
  const auto below = [&](std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
  };
  const auto pick = [&](const std::vector<unsigned long>& from) {
    return from[below(from.size())];
  };
  const auto flags = [&] { return random() & kAllApplications; };
  const auto name = [&] { return std::string(below(20), '\xD6') + std::to_string(++names); };
  std::vector<unsigned long> nodes, groups, deps;
  for (int i = 0; i < 4; ++i) nodes.push_back(net.AddServer(name().c_str(), flags(), 0));
  for (int i = 0; i < 30; ++i) {
    nodes.push_back(net.AddAP(nodes[below(4)], name().c_str(), flags()));
    if (below(4) == 0) net.ChangeSrv(nodes.back(), nodes[below(4)]);
  }
  for (int i = 0; i < 6; ++i) {
    groups.push_back(net.CreateNGrp(name().c_str()));
    for (int k = 0; k < 5; ++k) net.LinkNNToNGrp(groups.back(), pick(nodes));
  }
  for (int i = 0; i < 8; ++i) {
    deps.push_back(net.CreateDep(name().c_str()));
    for (int k = 0; k < 2; ++k) net.LinkDepToNGrp(pick(groups), deps.back());
    for (int k = 0; k < 3; ++k) net.LinkDepToDep(deps.back(), pick(deps));
  }
  for (int i = 0; i < 40; ++i) {
    const unsigned long user = net.CreateAB(name().c_str());
    std::list<CColAb> memberships;
    if (below(4) == 0) continue;
    net.LinkABToDep(pick(deps), user, true);
    net.GetListAvailableColAb(user, memberships);
    const auto at = static_cast<std::ptrdiff_t>(below(memberships.size()));
    net.SetPrimaryCol(user, std::next(memberships.begin(), at)->id);
  }
}

// What the files carry of a network, as the network tells it and as a view of its set does: the
// same text. The primary membership comes last.
template <class Entry>
std::string Heads(const std::list<Entry>& list) {
  std::string text;
  for (const Entry& entry : list) text += " " + std::to_string(entry.id) + "=" + entry.name;
  return text;
}

std::string Nodes(const std::list<CNNEntry>& list, bool are_servers) {
  std::string text;
  for (const CNNEntry& node : list) {
    text += Heads(std::list<CNNEntry>{node}) + "/" + std::to_string(node.number) + "/" +
            std::to_string(node.flags) + "/" +
            std::to_string(are_servers ? node.ap_count : node.server_id);
  }
  return text + "\n";
}

std::string User(const CABEntry& user, std::list<CColAb> memberships) {
  std::stable_partition(memberships.begin(), memberships.end(), [&](const CColAb& one) {
    return one.id.dep != user.primary.dep || one.id.node != user.primary.node;
  });
  std::string text = Heads(std::list<CABEntry>{user}) + ":" + std::to_string(user.primary.dep) +
                     "@" + std::to_string(user.primary.node);
  for (const CColAb& one : memberships)
    text += " " + std::to_string(one.id.dep) + "@" + std::to_string(one.id.node);
  return text + "\n";
}

std::string Dep(const CDepEntry& dep, const std::vector<unsigned long>& linked) {
  return Heads(std::list<CDepEntry>{dep}) + DescribeList(" in", {dep.ngrp_id}) +
         DescribeList(" links", linked);
}

std::string TellOwn(CNCCNet& net) {
  std::list<CNNEntry> servers, aps, nodes;
  std::list<CABEntry> users;
  std::list<CColAb> memberships;
  std::list<CDepEntry> deps, linked;
  std::list<CNGrpEntry> groups;
  net.GetListServer(servers);
  net.GetListAP(aps);
  std::string text = Nodes(servers, true) + Nodes(aps, false);
  net.GetListAB(users);
  for (const CABEntry& user : users) {
    net.GetListAvailableColAb(user.id, memberships);
    text += User(user, memberships);
  }
  net.GetListDep(deps);
  for (const CDepEntry& dep : deps) text += Dep(dep, LinkedDepIds(net, dep.id));
  net.GetListNGrp(groups);
  for (const CNGrpEntry& group : groups) {
    net.GetListNN(group.id, nodes);
    net.GetListDepFromNGrp(group.id, deps);
    const auto server = std::find_if(nodes.begin(), nodes.end(),
                                     [](const CNNEntry& one) { return one.type == kTypeServer; });
    text += Heads(std::list<CNGrpEntry>{group}) + (server == nodes.end() ? " 0" : " 83") +
            Heads(std::list<CNNEntry>(nodes.begin(), server)) + Heads(deps) + "\n";
  }
  servers.splice(servers.end(), aps);
  for (const CNNEntry& node : servers) {
    net.GetListNGrpFromNN(node.id, groups);
    groups.sort([](const auto& a, const auto& b) { return a.id < b.id; });
    text += Heads(groups) + "\n";
  }
  return text;
}

std::string TellView(const CImportNet& view) {
  std::string text = Nodes(*view.GetListSm(), true) + Nodes(*view.GetListAp(), false);
  for (const CABEntry& user : *view.GetListAb()) {
    const auto* memberships = view.GetListColAb(user.id);
    text += User(user, memberships != nullptr ? *memberships : std::list<CColAb>());
  }
  for (const CDepEntry& dep : *view.GetListDep()) {
    std::list<tag_WORD4> links;
    view.GetListLinkedDep(dep.name, links);
    std::vector<unsigned long> linked;
    for (const tag_WORD4& one : links) linked.push_back(one.second);
    text += Dep(dep, linked);
  }
  for (const CNGrpEntry& group : *view.GetListNGrp()) {
    std::list<CNNEntry> nodes;
    std::list<CDepEntry> deps;
    const int result = view.GetListNNFromNGrp(group.id, nodes);  // ends at a server
    view.GetListDepFromNGrp(group.id, deps);
    text += Heads(std::list<CNGrpEntry>{group}) + " " + std::to_string(result) + Heads(nodes) +
            Heads(deps) + "\n";
  }
  for (const CNNEntry& node : *view.GetListNN()) {
    std::list<CNGrpEntry> groups;
    view.GetListNGrpFromNN(node.id, groups);
    text += Heads(groups) + "\n";
  }
  return text;
}

TEST_F(Writer, WhatItWritesIsReadBack) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    MemoryNet memory;
    ASSERT_TRUE(memory.Create());
    BuildRandom(memory.Net(), seed);
    ASSERT_TRUE(WriteExchangeSet(memory.Net(), "DB/IMPORT", kGate, report_));
    OpenView view;
    ASSERT_EQ(view.Load(0x1A), 0);
    EXPECT_EQ(TellView(view), TellOwn(memory.Net()));
    for (const CExchangeFault& fault : CheckExchangeSet("DB/IMPORT", 0x1A))
      ADD_FAILURE() << fault.file << ": " << fault.reason;
  }
}

TEST_F(Writer, EveryFileAsItIsWritten) {
  const unsigned long server = net_.AddServer("S", 0x10001, 0);
  const unsigned long ap = net_.AddAP(server, "a b", 0);
  const unsigned long group = net_.CreateNGrp("G");
  net_.LinkNNToNGrp(group, ap);
  net_.LinkNNToNGrp(group, server);
  const unsigned long dep = net_.CreateDep("D");
  net_.LinkDepToNGrp(group, dep);
  net_.LinkDepToDep(dep, net_.CreateDep("E"));
  net_.LinkDepToNGrp(group, 5);
  net_.LinkABToDep("D", "u", true);
  ASSERT_FALSE(Write());
  EXPECT_EQ(report_.refused, std::list<std::string>{"AP \"a b\" (0002): the name holds a blank"});
  EXPECT_FALSE(std::filesystem::exists("DB/IMPORT/an26.txt"));
  options_.blank = '_';
  ASSERT_TRUE(Write());
  const std::map<std::string, std::string> expected = {
      {"gt", "N 26\r\nG 11\r\nL 22\r\nE Gate\r\n"},
      {"an", "001A0006 u\r\n"},
      {"nn",
       "S F S 0000001A00010001 001A0001\r\na_b F A 0000001A00010001 001A0002\r\n"
       "G F G 0000001A00000001 001A0003\r\n"},
      {"bc", "0000 001A0001 A\r\n001B 001A0001 A\r\n"},
      {"un", "D 001A0004 001A0003 G\r\nE 001A0005 001A0003 G\r\n"},
      {"ul", "001A0006 001A0004 001A0001 P M\r\n001A0006 001A0004 001A0002 P M\r\n"},
      {"uc", "001A0004 001A0005\r\n001A0005 001A0004\r\n"},
      {"ng",
       "001A0003 001A0002 A1\r\n001A0003 001A0001 A1\r\n001A0003 001A0004 G1\r\n"
       "001A0003 001A0005 G1\r\n"}};
  for (const auto& [file, text] : expected)
    EXPECT_EQ(ReadFile("DB/IMPORT/" + SetFileName(file, 26)), text);
}

// Server S (1) with a short value, linked to T (5); node group G (2) with S and Dep D (3); user u
// (4) in D, with S.
void BuildSmall(CNCCNet& net) {
  const unsigned long server = net.AddServer("S", 0, 7);
  net.LinkNNToNGrp(net.CreateNGrp("G"), server);
  net.LinkDepToNGrp(2, net.CreateDep("D"));
  net.LinkABToDep(3, net.CreateAB("u"), true);
  net.LinkSrvToSrv(server, net.AddServer("T", 0, 0));
}

TEST_F(Writer, ListsWhatIsInTheWay) {
  struct {
    void (*make)(CNCCNet&);
    const char* refused;
  } const cases[] = {
      {[](CNCCNet&) {}, ""},
      {[](CNCCNet& net) { net.RegSrv(1, 0x20000, 0); },
       "server \"S\" (0001): it has applications without a code\n"},
      {[](CNCCNet& net) {
         net.SetPrimaryCol(4, {3, 99});
       },
       "user \"u\" (0004): the primary collective is no membership of kind 0\n"},
      {[](CNCCNet& net) {
         net.SetListAvailableColAb(4, 3, {{{3, 1}, 1}}, true);
       },
       "user \"u\" (0004): the primary collective is no membership of kind 0\n"},
      {[](CNCCNet& net) {
         net.SetPrimaryCol(4, {0, 0});
       },
       "user \"u\" (0004): it has memberships and no primary collective\n"},
      {[](CNCCNet& net) { net.ModifyAB(4, ""); }, "user \"\" (0004): the name is empty\n"},
      {[](CNCCNet& net) { net.ModifyAB(4, "u\v"); },
       "user \"u\v\" (0004): the name holds a blank\n"},
      {[](CNCCNet& net) { net.CreateDep("E"); }, "Dep \"E\" (0006): it is in no node group\n"},
      {[](CNCCNet& net) {
         net.Preferences()->next_id = 0x10000;
         net.CreateAB("high");
       },
       "user \"high\" (10000): the identifier is above FFFF\n"},
      {[](CNCCNet& net) { net.Preferences()->net_number = 0x10000; },
       "network number 10000 is not one of 0001 to FFFF\n"},
      {[](CNCCNet& net) { net.Close(); }, "no database is open\n"},
  };
  for (const auto& one : cases) {
    MemoryNet memory;
    ASSERT_TRUE(memory.Create());
    BuildSmall(memory.Net());
    one.make(memory.Net());
    const bool is_written = WriteExchangeSet(memory.Net(), "DB\\IMPORT", kGate, report_);
    EXPECT_EQ(is_written, *one.refused == '\0');
    std::string refused;
    for (const std::string& line : report_.refused) refused += line + "\n";
    EXPECT_EQ(refused, one.refused);
  }
  EXPECT_FALSE(WriteExchangeSet(net_, "", {1, 2, "two words"}, report_, {'\t'}));
  EXPECT_EQ(report_.refused.size(), 3U);
}

TEST_F(Writer, ListsWhatItLeavesOut) {
  BuildSmall(net_);
  net_.SetListAvailableColAb(4, 3, {{{3, 77}, 2}}, false);
  net_.LinkABToDep(3, 4, true);
  ASSERT_TRUE(net_.BeginBatch());  // of the calling thread: no obstacle
  ASSERT_TRUE(Write());
  EXPECT_TRUE(net_.EndBatch());
  EXPECT_EQ(
      report_.not_carried,
      (std::list<std::string>{"links between servers, of 2 servers",
                              "the settings byte of server \"S\" (0001) and 1 more",
                              "the short value of server \"S\" (0001)",
                              "in a reader's list of nodes, the servers of node group \"G\" (0002)",
                              "memberships of other kinds than 0 of user \"u\" (0004)",
                              "repetitions of the primary membership of user \"u\" (0004)"}));
  EXPECT_EQ(ReadFile("DB/IMPORT/ul26.txt"), "001A0004 001A0003 001A0001 P M\r\n");
}

TEST_F(Writer, AllFilesOrNone) {
  net_.AddServer("S", 0, 0);
  ASSERT_TRUE(Write());
  const std::string before = ReadFile("DB/IMPORT/nn26.txt");
  ASSERT_NE(before, "");
  net_.AddServer("T", 0, 0);
  for (const char* file : {"gt", "an", "ng"}) {
    const std::string path = "DB/IMPORT/" + SetFileName(file, 26);
    const std::string text = ReadFile(path);
    std::filesystem::remove(path);
    std::filesystem::create_directories(path);
    EXPECT_FALSE(Write());
    EXPECT_NE(report_.refused.front().find(SetFileName(file, 26)), std::string::npos);
    EXPECT_EQ(ReadFile("DB/IMPORT/nn26.txt"), before);
    std::filesystem::remove(path);
    WriteFile(path, text);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("DB/IMPORT"), {}), 8);
    EXPECT_TRUE(CheckExchangeSet("DB/IMPORT", 26).empty());
  }
  EXPECT_TRUE(Write());
  EXPECT_NE(ReadFile("DB/IMPORT/nn26.txt"), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("DB/IMPORT"), {}), 8);
}

using Texts = std::map<std::string, std::string>;

// The files of the set under their names; empty while its gateway file, without which nobody looks
// at it, is missing.
Texts SetAsNamed() {
  Texts texts;
  if (!std::filesystem::exists("DB/IMPORT/gt26.way")) return texts;
  for (const char* file : {"gt", "an", "nn", "bc", "un", "ul", "uc", "ng"})
    texts[file] = ReadFile("DB/IMPORT/" + SetFileName(file, 26));
  return texts;
}

// As this library reads it; nothing when there is none.
std::optional<std::string> SetAsRead() {
  std::list<unsigned long> nets;
  CImportContainer().GetListNets(&nets);
  if (nets.empty()) return std::nullopt;
  EXPECT_EQ(nets, std::list<unsigned long>{26});
  EXPECT_EQ(ListExchangeSets("DB/IMPORT"), nets);
  OpenView view;
  EXPECT_EQ(view.Load(26), 0);
  EXPECT_TRUE(CheckExchangeSet("DB/IMPORT", 26).empty());
  return TellView(view);
}

TEST_F(Writer, AKilledOneLeavesTheOldSetOrTheNewOne) {
  BuildSmall(net_);
  ASSERT_TRUE(Write());
  const Texts old_files = SetAsNamed();
  const auto old_set = SetAsRead();
  net_.ModifyAB(4, "v");
  net_.ModifyDep(3, "E");
  net_.AddServer("new", 1, 0);
  ASSERT_TRUE(Write());
  const Texts new_files = SetAsNamed();
  const auto new_set = SetAsRead();
  for (const bool has_old : {true, false}) {
    bool is_written = false;
    for (int changes = 0; !is_written; ++changes) {
      SCOPED_TRACE(changes);
      std::filesystem::remove_all("DB/IMPORT");
      std::filesystem::create_directory("DB/IMPORT");
      if (has_old) PutSet(old_files, 26);
      const pid_t writer = fork();
      if (writer == 0) {
        changes_left = changes;
        _exit(Write() ? 0 : 1);
      }
      int status = 0;
      waitpid(writer, &status, 0);
      is_written = WIFEXITED(status) && WEXITSTATUS(status) == 0;
      const auto seen = SetAsRead();
      EXPECT_TRUE(seen == new_set || (!is_written && seen == (has_old ? old_set : std::nullopt)));
      const Texts named = SetAsNamed();
      EXPECT_TRUE(named == new_files || named.empty() || (!is_written && named == old_files));
      ASSERT_TRUE(Write());
      EXPECT_EQ(SetAsNamed(), new_files);
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator("DB/IMPORT"), {}), 8);
      ASSERT_LT(changes, 200);
    }
  }
}

TEST_F(Writer, WhoReadsBesideItReadsOneSet) {
  BuildSmall(net_);
  net_.CreateAB("even");
  ASSERT_TRUE(Write());
  const auto even = SetAsRead();
  std::atomic<bool> is_done = false;
  std::thread writer([&] {
    for (int i = 0; i < 60; ++i) {
      EXPECT_TRUE(net_.ModifyAB(6, i % 2 != 0 ? "even" : "odd"));
      EXPECT_TRUE(net_.ModifyDep(3, i % 2 != 0 ? "D" : "F"));
      EXPECT_TRUE(Write());
    }
    is_done = true;
  });
  std::set<std::string> seen;
  while (!is_done) seen.insert(SetAsRead().value_or("none"));
  writer.join();
  seen.insert(SetAsRead().value_or("none"));
  EXPECT_LE(seen.size(), 2U);
  EXPECT_EQ(SetAsRead(), even);
}

std::string Faults(unsigned long net) {
  std::string text;
  for (const CExchangeFault& fault : CheckExchangeSet("DB/IMPORT", net)) {
    text += fault.file + ":" + std::to_string(fault.line) + (fault.is_fatal ? "! " : ": ") +
            fault.reason + "\n";
  }
  return text;
}

// A Dep is at home in the first group that lists it when the one it was assigned to let it go.
TEST_F(Writer, HomesAndNamesThatBecomeEqual) {
  const unsigned long first = net_.CreateNGrp("G");
  const unsigned long last = net_.CreateNGrp("H");
  const unsigned long dep = net_.CreateDep("D");
  ASSERT_TRUE(net_.LinkDepToNGrp(first, dep) && net_.LinkDepToNGrp(last, dep));
  ASSERT_TRUE(net_.DeleteDepFromNGrp(last, dep));
  ASSERT_TRUE(Write()) << report_.refused.front();
  OpenView view;
  ASSERT_EQ(view.Load(0x1A), 0);
  std::list<CNCCEntry> homes;
  EXPECT_EQ(view.GetListNOFromDep("D", homes), 0);
  ASSERT_FALSE(homes.empty());
  EXPECT_EQ(homes.front().id, first);
  net_.CreateAB("a b");
  net_.CreateAB("a_b");
  options_.blank = '_';
  EXPECT_FALSE(Write());
  EXPECT_EQ(report_.refused.size(), 1U);
  EXPECT_FALSE(CheckExchangeSet("DB/IMPORT", 0).empty());
  EXPECT_FALSE(CheckExchangeSet(nullptr, 5).empty());
}

TEST_F(Writer, ChecksTellEveryFileAndEveryLooseEnd) {
  SetTexts set = SampleSet();
  PutSet(set, 5);
  EXPECT_EQ(ListExchangeSets("DB\\IMPORT"), std::list<unsigned long>{5});
  EXPECT_EQ(Faults(5), "nn5.txt:0: AP 0004 is attached to no server of the set\n");
  set["un"] += "X 00050013 000500AA G\n";
  set["ul"] += "00050020 000500AB 000500AC P M\n";
  set["uc"] += "00050010 000500AD\n00070011 000700AE\n";
  set["ng"] += "000500AF 000500B1 A1\n0005000A 000500B0 G1\n";
  PutSet(set, 5);
  EXPECT_EQ(Faults(5),
            "nn5.txt:0: AP 0004 is attached to no server of the set\n"
            "un5.txt:0: Dep 0013: its home is not in the set: 00AA\n"
            "ul5.txt:0: user 0020: not in the set: Dep 00AB\n"
            "ul5.txt:0: user 0020: not in the set: node 00AC\n"
            "uc5.txt:0: Dep 00AD is not in the set\n"
            "ng5.txt:0: node group 000A: not in the set: Dep 00B0\n"
            "ng5.txt:0: node group 00AF is not in the set\n"
            "ng5.txt:0: node group 00AF: not in the set: node 00B1\n");
  set["an"] = "0005 x y\n" + set["an"];
  set["nn"] += "x\n";
  set["bc"] += "bad\n";
  set["uc"] += "bad\n";
  PutSet(set, 5);
  std::filesystem::remove("DB/IMPORT/gt5.way");
  EXPECT_EQ(Faults(5),
            "gt5.way:0! the file cannot be opened\n"
            "an5.txt:1! a hexadecimal number is missing in column 6\n"
            "nn5.txt:8! a letter is missing in column 2\n"
            "uc5.txt:7! a hexadecimal number is missing in column 4\n");
}

}  // namespace

#include "nccnet/exchange_writer.h"

#include "nccnet/exchange_check.h"
#include "nccnet/import_container.h"
#include "support/exchange.h"
#include "support/memory_net.h"
#include "support/network.h"
#include "support/transcript.h"

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

  Commands Known();
  void PlayExchange() { Play("exchange.txt", Known()); }

  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
  CExchangeReport report_;
  CExchangeOptions options_;
  SetTexts set_;  // what "sample" has put
};

std::string Lines(const std::list<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::string Faults(unsigned long net) {
  std::string text;
  for (const CExchangeFault& fault : CheckExchangeSet("DB/IMPORT", net)) {
    text += fault.file + ":" + std::to_string(fault.line) + (fault.is_fatal ? "! " : ": ") +
            fault.reason + "\n";
  }
  return text;
}

// What the transcripts can say: each "small" and "empty" begins a new database.
Commands Writer::Known() {
  Commands known = FileCommands();
  known.merge(NetworkCommands(net_));
  const auto begin = [this](const char* network) {
    return [this, network](const Words&) {
      NetAccess::UseEngines(net_, ncc::MemoryEngineFactory(std::make_shared<ncc::MemoryStore>()));
      EXPECT_TRUE(net_.Create("memory", "net", 0x1A));
      net_.Preferences()->next_id = 1;
      if (*network != '\0') Play("exchange.txt", NetworkCommands(net_), network);
      return "";
    };
  };
  known["small"] = begin("small");
  known["empty"] = begin("");
  known["close"] = [this](const Words&) { return net_.Close(), ""; };
  known["write"] = [this](const Words& words) {  // [CHARACTER for a blank]
    options_.blank = words.empty() ? '\0' : words[0][0];
    const bool is_written = Write();
    EXPECT_EQ(is_written, report_.refused.empty());
    return Lines(report_.refused);
  };
  known["left-out"] = [this](const Words&) { return Lines(report_.not_carried); };
  known["check"] = [](const Words& words) { return Faults(std::stoul(words[0])); };
  known["homes"] = [](const Words& words) {
    OpenView view;
    EXPECT_EQ(view.Load(0x1A), 0);
    return Answer<CNCCEntry>(
        [&](auto& list) { return view.GetListNOFromDep(words[0].c_str(), list); });
  };
  // The sample, with lines put behind those of its files: FILE LINES, "^" for before them.
  known["sample"] = [this](const Words& words) {
    if (words.empty()) set_ = SampleSet();
    for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
      std::string& text = set_[words[i]];
      text = words[i + 1][0] == '^' ? words[i + 1].substr(1) + text : text + words[i + 1];
    }
    PutSet(set_, 5);
    EXPECT_EQ(ListExchangeSets("DB\\IMPORT"), std::list<unsigned long>{5});
    return "";
  };
  return known;
}

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
  std::stable_partition(memberships.begin(), memberships.end(), [&](const CColAb& membership) {
    return membership.id.dep != user.primary.dep || membership.id.node != user.primary.node;
  });
  std::string text = Heads(std::list<CABEntry>{user}) + ":" + std::to_string(user.primary.dep) +
                     "@" + std::to_string(user.primary.node);
  for (const CColAb& membership : memberships)
    text += " " + std::to_string(membership.id.dep) + "@" + std::to_string(membership.id.node);
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
    const auto server = std::find_if(nodes.begin(), nodes.end(), [](const CNNEntry& entry) {
      return entry.type == kTypeServer;
    });
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
    for (const tag_WORD4& link : links) linked.push_back(link.second);
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

TEST_F(Writer, EveryFileAsItIsWritten) { PlayExchange(); }

TEST_F(Writer, ListsWhatIsInTheWay) {
  PlayExchange();
  EXPECT_FALSE(WriteExchangeSet(net_, "", {1, 2, "two words"}, report_, {'\t'}));
  EXPECT_EQ(report_.refused.size(), 3U);
}

TEST_F(Writer, ListsWhatItLeavesOut) { PlayExchange(); }

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
  Play("exchange.txt", NetworkCommands(net_), "small");
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
  Play("exchange.txt", NetworkCommands(net_), "small");
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

TEST_F(Writer, HomesAndNamesThatBecomeEqual) {
  PlayExchange();
  EXPECT_FALSE(CheckExchangeSet("DB/IMPORT", 0).empty());
  EXPECT_FALSE(CheckExchangeSet(nullptr, 5).empty());
}

TEST_F(Writer, ChecksTellEveryFileAndEveryLooseEnd) { PlayExchange(); }

}  // namespace

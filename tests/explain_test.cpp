// Explanations against what was generated: what is named is enough, and nothing goes without it.
#include "nccnet/explain.h"
#include "support/outputs.h"

#include <algorithm>
#include <random>
#include <sstream>

namespace {

using Reasons = std::vector<CReason>;

std::string TextOf(const Reasons& reasons) {
  std::ostringstream text;
  for (const CReason& reason : reasons) {
    text << int{reason.kind} << " " << reason.object << " " << reason.other << " " << reason.node
         << " " << std::hex << reason.mask << std::dec << " " << reason.file << "; ";
  }
  return text.str();
}

// Makes the fact true, or no more true. False for those that no operation of the library ends.
bool Set(CNCCNet& net, const CReason& fact, bool is_true) {
  const unsigned long object = fact.object;
  const unsigned long other = fact.other;
  CNNEntry node;
  switch (fact.kind) {
    case CReason::kFlags:
    case CReason::kRole: {
      if (!net.GetNNInfo(object, node)) return false;
      const unsigned long flags = is_true ? node.flags | fact.mask : node.flags & ~fact.mask;
      return net.RegAPP(object, flags, node.settings);
    }
    case CReason::kServerLink:
      return is_true ? net.LinkSrvToSrv(object, other) : net.DeleteLink(object, other);
    case CReason::kNodeInGroup:
      return is_true ? net.LinkNNToNGrp(other, object) : net.DeleteNNFromNGrp(other, object);
    case CReason::kDepInGroup:
      return is_true ? net.LinkDepToNGrp(other, object) : net.DeleteDepFromNGrp(other, object);
    case CReason::kDepLink:
      return is_true ? net.LinkDepToDep(object, other) : net.DeleteLinkDepToDep(object, other);
    case CReason::kUserInDep:
      return is_true && net.LinkABToDep(other, object, false);
    case CReason::kMembership: {
      std::list<CColAb> list;
      net.GetListAvailableColAb(object, other, list);
      list.remove_if([&](const CColAb& one) { return one.id.node == fact.node; });
      if (is_true) list.push_back({{fact.other, fact.node}, 0});
      net.SetListAvailableColAb(object, other, list, true);
      return true;
    }
    case CReason::kPrimary:
      return net.SetPrimaryCol(object, is_true ? CColId{fact.other, fact.node} : CColId{0, 0});
    default:
      return false;
  }
}

// Servers 1 to 4, three APs at each, node groups, Deps and users, tied at random.
class RandomNetwork {
  MemoryNet memory_;

 public:
  explicit RandomNetwork(unsigned seed) : net(memory_.Net()), random_(seed) {
    EXPECT_TRUE(net.Create("memory", "net", 0x1A)) << net.LastError();
    const unsigned long flags[] = {0, 0x0001, 0x0400, 0x1000, 0x1401, 0x8000, 0x9005, 0x41};
    for (int i = 0; i < 4; ++i) {
      const unsigned short value = static_cast<unsigned short>(Random(3));
      nodes.push_back(net.AddServer(("s" + std::to_string(i)).c_str(), flags[Random(8)], value));
    }
    for (int i = 0; i < 12; ++i) {
      const std::string name = "a" + std::to_string(i);
      nodes.push_back(net.AddAP(nodes[Random(4)], name.c_str(), flags[Random(8)]));
    }
    Numbers groups;
    Numbers deps;
    Numbers users;
    for (int i = 0; i < 6; ++i) {
      const std::string name = std::to_string(i);
      groups.push_back(net.CreateNGrp(("g" + name).c_str()));
      deps.push_back(net.CreateDep(("d" + name).c_str()));
      users.push_back(net.CreateAB(("u" + name).c_str()));
    }
    for (int i = 0; i < 14; ++i) net.LinkNNToNGrp(Any(groups), Any(nodes));
    for (int i = 0; i < 6; ++i) net.LinkDepToNGrp(Any(groups), Any(deps));
    for (int i = 0; i < 2; ++i) net.LinkDepToDep(Any(deps), Any(deps));
    for (int i = 0; i < 4; ++i) net.LinkABToDep(Any(deps), Any(users), Random(2) == 0);
    net.LinkSrvToSrv(nodes[0], nodes[1]);
    everyone = users;
  }

  std::size_t Random(std::size_t below) { return random_() % below; }

  CNCCNet& net;
  Numbers nodes;
  Numbers everyone;

 private:
  unsigned long Any(const Numbers& numbers) { return numbers[Random(numbers.size())]; }

  std::mt19937 random_;
};

class ExplainTest : public ::testing::Test {
 protected:
  ExplainTest() { std::filesystem::current_path(scratch_.Path()); }
  ~ExplainTest() override { std::filesystem::current_path(before_); }

  std::filesystem::path before_ = std::filesystem::current_path();
  ScratchFolder scratch_;
};

Files Generate(CNCCNet& net) {
  std::filesystem::remove_all("out");
  EXPECT_TRUE(net.GenAPDB("out", 2) && net.GenRoutingTables("out") && net.GenMAP("out", 2));
  return FilesBelow("out");
}

bool IsText(const std::string& path) { return path.ends_with(".txt"); }

CExplainedFile Explained(CNCCNet& net, const std::string& path) {
  CExplainedFile file;
  EXPECT_TRUE(ExplainFile(net, path.c_str(), 2, file)) << path << ": " << net.LastError();
  return file;
}

bool HasLine(const CExplainedFile& file, const std::string& text) {
  return std::ranges::any_of(file.lines, [&](const CExplainedLine& l) { return l.text == text; });
}

TEST_F(ExplainTest, SaysWhatTheGeneratorsWrite) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    RandomNetwork network(seed);
    for (const auto& [path, bytes] : Generate(network.net)) {
      if (path.ends_with(".dat")) continue;
      const CExplainedFile file = Explained(network.net, path);
      EXPECT_NE(file.object, 0U) << path;
      EXPECT_TRUE(file.has_lines) << path;
      std::string text;
      for (const CExplainedLine& line : file.lines) {
        EXPECT_FALSE(line.reasons.empty()) << path << ": " << line.text;
        const bool is_stamp = line.text.ends_with('=');
        text += line.text + (is_stamp ? "00000000\r\n" : "\r\n");
      }
      if (path.ends_with(".map")) continue;
      EXPECT_EQ(text, bytes) << path << " seed " << seed;
    }
  }
}

// Ends one fact after the other that explains the line, until it goes.
void ExpectToGo(RandomNetwork& network, const std::string& path, const std::string& text) {
  CNCCNet& net = network.net;
  for (int i = 0; i < 60; ++i) {
    const CExplainedFile file = Explained(net, path);
    const auto line = std::ranges::find(file.lines, text, &CExplainedLine::text);
    if (line == file.lines.end()) return;
    Reasons facts = line->reasons;
    std::erase_if(facts, [](const CReason& fact) {
      return fact.kind == CReason::kFileOf || fact.kind == CReason::kServerOfAP ||
             fact.kind == CReason::kAlways;
    });
    if (facts.empty()) return;  // the server of an AP
    const CReason fact = facts[network.Random(facts.size())];
    if (fact.kind == CReason::kRole && fact.object == 0) return;
    const auto revision = net.GetRevision();
    ASSERT_TRUE(Set(net, fact, false)) << TextOf({fact});
    ASSERT_GT(net.GetRevision(), revision) << "was not true: " << TextOf({fact});
    // Flags and memberships are no way among several.
    const bool is_way = fact.kind == CReason::kNodeInGroup || fact.kind == CReason::kDepInGroup ||
                        fact.kind == CReason::kDepLink;
    if (is_way) continue;
    EXPECT_FALSE(HasLine(Explained(net, path), text)) << path << ": " << TextOf({fact});
  }
  ADD_FAILURE() << path << " keeps " << text;
}

TEST_F(ExplainTest, LinesGoWithWhatTheyAreExplainedBy) {
  int lines = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    RandomNetwork network(seed);
    const Files files = Generate(network.net);
    std::vector<std::pair<std::string, std::string>> all;
    for (const auto& [path, bytes] : files) {
      if (!IsText(path)) continue;
      for (const CExplainedLine& line : Explained(network.net, path).lines)
        all.emplace_back(path, line.text);
    }
    for (int i = 0; i < 4 && !all.empty(); ++i) {
      const auto& [path, text] = all[network.Random(all.size())];
      if (!HasLine(Explained(network.net, path), text)) continue;
      ExpectToGo(network, path, text);
      EXPECT_TRUE(HasLine(Explained(network.net, path), text) ||
                  Generate(network.net)[path].find(text + "\r\n") == std::string::npos);
      ++lines;
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(lines, 150);
}

// Who sees whom, as the key centre's matrix has it.
std::vector<std::string> Matrix(CNCCNet& net, std::size_t nodes) {
  EXPECT_TRUE(net.CreateNmatrixFile("./"));
  const std::string bytes = ReadFile("NMATRIX.DAT");
  const std::size_t row = (nodes + 7) / 8;
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < nodes; ++i)
    rows.push_back(bytes.substr(20 + 13 * nodes + row * i, row));
  return rows;
}

TEST_F(ExplainTest, SightIsThatOfTheMatrixAndCanBeMended) {
  int mended = 0;
  for (unsigned seed = 1; seed <= 8; ++seed) {
    RandomNetwork network(seed);
    CNCCNet& net = network.net;
    const auto matrix = Matrix(net, network.nodes.size());
    std::ranges::sort(network.nodes);
    for (std::size_t i = 0; i < network.nodes.size(); ++i) {
      for (std::size_t j = 0; j < network.nodes.size(); ++j) {
        CSight sight;
        const unsigned long from = network.nodes[i];
        const unsigned long to = network.nodes[j];
        ASSERT_TRUE(ExplainSight(net, from, to, sight)) << net.LastError();
        const bool sees = (matrix[i][j / 8] >> j % 8 & 1) != 0;
        ASSERT_EQ(sight.is_there, sees) << seed << ": " << from << " " << to;
        EXPECT_EQ(sight.reasons.empty(), !sees);
        EXPECT_EQ(sight.missing.empty(), sees);
        if (sees) continue;
        ASSERT_FALSE(sight.mends.empty());
        for (const Reasons& mend : sight.mends) {
          ASSERT_TRUE(net.BeginBatch());
          for (const CReason& fact : mend) EXPECT_TRUE(Set(net, fact, true)) << TextOf(mend);
          CSight after;
          EXPECT_TRUE(ExplainSight(net, from, to, after));
          EXPECT_TRUE(after.is_there) << from << " " << to << " " << TextOf(mend);
          net.EndBatch(false);
          ++mended;
        }
      }
    }
  }
  EXPECT_GT(mended, 500);
}

// The lines that are named for a pair stand in the file of the one, and no others.
TEST_F(ExplainTest, LinesOfASightAreThoseOfTheFile) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    RandomNetwork network(seed);
    CNCCNet& net = network.net;
    const Files files = Generate(net);
    for (const unsigned long from : network.nodes) {
      char address[9];
      net.GetAddr4(from, address);
      const bool is_server = net.GetType(from) == kTypeServer;
      const std::string path =
          (is_server ? "out/MAP/apn" : "out/APDB/N/apn") + std::string(address) + ".txt";
      for (const unsigned long to : network.nodes) {
        CSight sight;
        ASSERT_TRUE(ExplainSight(net, from, to, sight));
        net.GetAddr8(to, address);
        for (const CSightLine& line : sight.lines) {
          std::istringstream text(files.at(path));
          bool is_there = false;
          for (std::string one; std::getline(text, one);) {
            const bool is_server_line = one.starts_with("0000 S S");
            is_there = is_there || (!is_server_line && one.starts_with(line.kind) &&
                                    one.find(" " + std::string(address) + "0 ") != one.npos);
          }
          EXPECT_EQ(is_there, sight.is_there && line.missing.empty())
              << path << " " << to << " " << line.kind;
        }
      }
    }
  }
}

TEST_F(ExplainTest, MembershipIsThatOfTheUsersAndCanBeMended) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    RandomNetwork network(seed);
    CNCCNet& net = network.net;
    for (const unsigned long user : network.everyone) {
      std::list<CColAb> list;
      net.GetListAvailableColAb(user, list);
      for (const unsigned long node : network.nodes) {
        CSight sight;
        ASSERT_TRUE(ExplainMembership(net, user, node, sight)) << net.LastError();
        const auto is_here = [&](const CColAb& one) { return one.id.node == node; };
        ASSERT_EQ(sight.is_there, std::any_of(list.begin(), list.end(), is_here));
        if (sight.is_there) continue;
        ASSERT_FALSE(sight.missing.empty());
        ASSERT_EQ(sight.mends.size(), 1U);
        ASSERT_TRUE(net.BeginBatch());
        for (const CReason& fact : sight.mends.front()) EXPECT_TRUE(Set(net, fact, true));
        std::list<CCol> possible;
        net.GetListColAb(user, possible);
        const unsigned long dep = sight.mends.front().back().other;
        EXPECT_TRUE(std::any_of(possible.begin(), possible.end(), [&](const CCol& one) {
          return one.id.node == node && one.id.dep == dep;
        })) << TextOf(sight.mends.front());
        net.EndBatch(false);
      }
    }
  }
}

TEST_F(ExplainTest, OtherFilesAreKnownByTheirNames) {
  RandomNetwork network(1);
  CNCCNet& net = network.net;
  EXPECT_EQ(Explained(net, "KC/AAA/001A0001.aaf").kind, CFileKind::kFullPackage);
  EXPECT_EQ(Explained(net, "NODE0005.TUN").kind, CFileKind::kEmpty);
  EXPECT_EQ(Explained(net, "APDB\\T\\node0005.tun").object, 5U);
  EXPECT_EQ(Explained(net, "NMATRIX.DAT").object, 0U);
  CExplainedFile file;
  for (const char* name : {"apn0099.txt", "apn1.txt", "node01.map", "001B0001.aaf", "node5.map",
                           "apu0001.txt", "readme.txt", ".txt", ""}) {
    EXPECT_FALSE(ExplainFile(net, name, 0, file)) << name;
    EXPECT_STRNE(net.LastError(), "");
  }
  CExplainedLine line;
  EXPECT_TRUE(ExplainLine(net, "apn0005.txt", 0, 1, line));
  EXPECT_FALSE(ExplainLine(net, "apn0005.txt", 0, 0, line));
  EXPECT_FALSE(ExplainLine(net, "apn0005.txt", 0, 999, line));
  CSight sight;
  EXPECT_FALSE(ExplainSight(net, 1, 0, sight));
  EXPECT_FALSE(ExplainMembership(net, 1, 1, sight));
}

}  // namespace

#include "core/last_error.h"
#include "support/exchange.h"

#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <stdexcept>

namespace {

using View = ExchangeTest;

constexpr char kSampleText[] =
    R"(net 5 gate 11 22 Gate
user ursula 32 t4 17@3 | 17@3
user walter 34 t4 0@0 |
user vera 33 t4 16@23 | 16@3 17@3 16@23
server east 2 t1 n1 f4 a1 c1 s9 b0 v0 | users | Deps 18 | groups | APs 23
server west 1 t1 n2 f0 a1 c1 s1 b0 v0 | users | Deps | groups | APs 3
AP a1 3 t2 n1 f10200 a1 c0 s1 b0 v0 | users 32 33 | Deps 16 17 18 15 | groups 10 11
AP a2 23 t2 n1 f5 a1 c0 s2 b89 v0 | users 33 | Deps 16 | groups 10
AP a3 4 t2 n1 f0 a1 c0 s7 b0 v0 | users | Deps | groups
node east 2 t1 n1 f0 a1 c1 s9 b0 v0
node west 1 t1 n2 f0 a1 c1 s1 b0 v0
node a1 3 t2 n1 f0 a1 c0 s1 b0 v0
node a2 23 t2 n1 f0 a1 c0 s2 b0 v0
node a3 4 t2 n1 f0 a1 c0 s7 b0 v0
group g 10 t7 n1 | nodes 3 23 | Deps 16
group h 11 t7 n2 | nodes 3 | Deps 18 16
Dep D 16 t3 home 10 k7 v0 | objects 10 11 | users 33
Dep E 17 t3 home 3 k2 v0 | objects 3 | users 32 33
Dep F 18 t3 home 2 k1 v0 | objects 2 11 | users
Dep C 15 t3 home 11 k7 v0 | objects 11 | users
link 5/16 | 7/68 5/17
link 5/17 | 5/16
link 7/68 | 5/16
)";

TEST_F(View, TellsWhatTheFilesSay) {
  PutSet(SampleSet(), 5);
  OpenView view;
  ASSERT_EQ(view.Load(5), 0) << ncc::LastErrorText();
  EXPECT_EQ(DescribeView(view), kSampleText);
  // The forms without a pointer append to what is there.
  EXPECT_EQ(Answer<CABEntry>([&](auto& list) { return view.GetListAb(list); }), " 32 34 33");
  EXPECT_EQ(Answer<CNNEntry>([&](auto& list) { return view.GetListNN(list); }), " 2 1 3 23 4");
  const auto with = [&](auto query, unsigned long mask) {
    return Answer<CNNEntry>([&](auto& list) { return (view.*query)(mask, list); });
  };
  EXPECT_EQ(with(&OpenView::GetListApInApp, 5), " 23");
  EXPECT_EQ(with(&OpenView::GetListApInApp1, 0x10001), " 3 23");
  EXPECT_EQ(with(&OpenView::GetListSrvInApp, 5), "");
  EXPECT_EQ(with(&OpenView::GetListSrvInApp1, 5), " 2");
  EXPECT_EQ(with(&OpenView::GetListSrvInApp, 0), " 2 1");
  unsigned long second = 0;
  unsigned long first = 0;
  EXPECT_EQ(view.GetGateInfo(second, first, nullptr), 0);
  EXPECT_EQ(second, 22U);
}

TEST_F(View, FindsByExactNameAndKind) {
  SetTexts set = SampleSet();
  set["nn"] += "x F A 0000000500010001 00050055\na1 F A 0000000500010001 00050056\n";
  PutSet(set, 5);
  OpenView view;
  ASSERT_EQ(view.Load(5), 0);
  struct {
    const char* name;
    unsigned long kind, id;  // 0 when it is not found
  } const cases[] = {{"east", 1, 2}, {"a1", 2, 3},      {"D", 3, 16},   {"vera", 4, 33},
                     {"h", 7, 11},   {"d", 3, 0},       {"east", 2, 0}, {"east", 5, 0},
                     {"Vera", 4, 0}, {"veranda", 4, 0}, {"", 4, 0},     {nullptr, 1, 0}};
  for (const auto& one : cases) {
    unsigned long id = 0;
    std::array<char, 52> name{};
    EXPECT_EQ(view.GetIdFromName(one.name, one.kind, id), one.id != 0 ? 0 : 85);
    EXPECT_EQ(id, one.id);
    if (id == 0) continue;
    EXPECT_EQ(view.GetNameFromId(id, one.kind, name.data()), 0);
    EXPECT_STREQ(name.data(), one.name);
  }
  CNNEntry node;
  EXPECT_EQ(view.GetSrvInfo("east", node), 0);
  EXPECT_EQ(node.flags, 4U);
  EXPECT_EQ(view.GetNNInfo(2, node), 0);
  EXPECT_EQ(node.flags, 0U);
  EXPECT_EQ(view.GetApInfo(2, node), 85);
  EXPECT_EQ(view.GetNNInfo(0x100000002, node), 85);
  // By name: a server first, then an AP; each relation as by identifier.
  const auto groups = [&](const char* name) {
    return Answer<CNGrpEntry>([&](auto& list) { return view.GetListNGrpFromNN(name, list); });
  };
  EXPECT_EQ(groups("a2") + groups("east") + groups("nobody"), " 1085:");
  EXPECT_EQ(Answer<CABEntry>([&](auto& l) { return view.GetListAbFromDep("E", l); }), " 32 33");
  EXPECT_EQ(Answer<CNCCEntry>([&](auto& l) { return view.GetListNOFromDep("x", l); }), "85:");
  std::list<tag_WORD4> links;
  EXPECT_EQ(view.GetListLinkedDep("D", links), 0);
  EXPECT_EQ(links.size(), 2U);
  EXPECT_EQ(view.GetListLinkedDep(tag_WORD4{7, 16}), nullptr);
  EXPECT_EQ(view.GetListColAb(34), nullptr);
  EXPECT_EQ(view.GetListColAb(1UL << 32 | 33), nullptr);
}

const std::string kLongName(51, 'n');
const std::string kZero(1, '\0');

struct Rule {
  const char* file;
  std::string line;  // appended to the file; with "=" in front, instead of it
  int result;
  const char* error;
};

const Rule kRules[] = {
    {"gt", "=N 5\nG 1\nL 2\nE G\nanything", 0, ""},
    {"gt", "=N5\n G1\n\n  L2\n E G", 0, ""},
    {"gt", "=", 22, "gt5.way:1: the file ends before its fourth line"},
    {"gt", "=N 5\nG 1\nL 2\n", 22, "gt5.way:4: the file ends before its fourth line"},
    {"gt", "=N 5\nG 1\nl 2\nE G", 22, "gt5.way:3: the letter is not L"},
    {"gt", "=N 5\nG 1\nL 2\nF G", 22, "gt5.way:4: the letter is not E"},
    {"gt", "=N 5\nG 4294967295\nL 4294967296\nE G", 22,
     "gt5.way:3: a number is too large in column 3"},
    {"gt", "=N 5\nG -1\nL 2\nE G", 22, "gt5.way:2: a number is missing in column 3"},
    {"an", "=", 22, "ul5.txt:1: the user is unknown"},
    {"an", "00050030 " + kLongName, 0, ""},
    {"an", "00050030 " + kLongName + "n", 22,
     "an5.txt:5: a name is longer than 51 bytes in column 10"},
    {"an", " 5  3F  x \t\r\n \t \n", 0, ""},
    {"an", "0005003fx", 0, ""},
    {"an", "00050030 two words", 22, "an5.txt:5: something follows the last field in column 14"},
    {"an", "00060030 x", 22, "an5.txt:5: a network number is not that of the set"},
    {"an", "000500300 x", 22, "an5.txt:5: something follows the last field in column 11"},
    {"an", "00050030", 22, "an5.txt:5: a name is missing in column 9"},
    {"an", "0x050030 x", 22, "an5.txt:5: a hexadecimal number is missing in column 2"},
    {"an", "-0050030 x", 22, "an5.txt:5: a hexadecimal number is missing in column 1"},
    {"an", "00050030 x" + kZero, 22, "an5.txt:5: a name holds a zero byte in column 11"},
    {"nn", "x F x 0000000500010001 00050030", 22, "nn5.txt:8: the kind letter is unknown"},
    {"nn", "x F a 0000000500010001 00050030", 22, "nn5.txt:8: the kind letter is unknown"},
    {"nn", "x F A 0000000600010001 00050030", 22,
     "nn5.txt:8: a network number is not that of the set"},
    {"nn", "x F A 0000000500010001 00060030", 22,
     "nn5.txt:8: a network number is not that of the set"},
    {"nn", "x F A 9999 5 1 1 5 30", 0, ""},
    {"nn", "x FA0000000500010001 00050030", 0, ""},
    {"nn", "x F A 0000000500010001 0005", 22,
     "nn5.txt:8: a hexadecimal number is missing in column 28"},
    {"bc", "0003 00050003 Z", 22, "bc5.txt:6: the application code is unknown"},
    {"bc", "001C 00050003 Z", 22, "bc5.txt:6: the application code is unknown"},
    {"bc", "0004 00050099 Z", 22, "bc5.txt:6: the node is unknown"},
    {"bc", "0004 0005000A Z", 22, "bc5.txt:6: the node is unknown"},
    {"bc", "0004 00050003", 22, "bc5.txt:6: a letter is missing in column 14"},
    {"un", "X 00050030 00050003 x", 22, "un5.txt:5: the kind letter is unknown"},
    {"un", "X 00060030 00050003 A", 22, "un5.txt:5: a network number is not that of the set"},
    {"un", "X 00050030 00060003 A", 22, "un5.txt:5: a network number is not that of the set"},
    {"ul", "00050099 00050010 00050003 P M", 22, "ul5.txt:5: the user is unknown"},
    {"ul", "00060021 00050010 00050003 P M", 22,
     "ul5.txt:5: a network number is not that of the set"},
    {"ul", "00050021 00060010 00050003 P M", 22,
     "ul5.txt:5: a network number is not that of the set"},
    {"ul", "00050021 00050010 00060003 P M", 22,
     "ul5.txt:5: a network number is not that of the set"},
    {"ul", "00050021 00050010 00050003 P", 22, "ul5.txt:5: a letter is missing in column 29"},
    {"ul", "00050021 00050010 00050003 PM", 0, ""},
    {"uc", "00880001 00990001", 0, ""},
    {"uc", "00050011", 22, "uc5.txt:5: a hexadecimal number is missing in column 9"},
    {"ng", "0007000A 00070003 A1", 22, "ng5.txt:7: a network number is not that of the set"},
    {"ng", "0005000A 00050003 A", 22, "ng5.txt:7: a letter is missing in column 20"},
    {"ng", "0005000A 00050003 A2", 22, "ng5.txt:7: the kind letter is not followed by 1"},
    {"ng", "0005000A 00050003 S1", 22, "ng5.txt:7: the kind letter is unknown"},
};

TEST_F(View, EveryFileIsReadByItsRules) {
  for (const Rule& one : kRules) {
    SetTexts set = SampleSet();
    const bool instead = one.line.starts_with('=');
    set[one.file] = instead ? one.line.substr(1) : set[one.file] + one.line;
    PutSet(set, 5);
    OpenView view;
    EXPECT_EQ(view.Load(5), one.result) << one.file << ": " << one.line;
    EXPECT_STREQ(ncc::LastErrorText(), one.error) << one.line;
    const bool whole_first_stage = one.result == 0 || std::string("uc ng").find(one.file) < 5;
    EXPECT_EQ(view.GetNet(), whole_first_stage ? 5 : 0) << one.line;
  }
}

TEST_F(View, MissingFilesAndLetterCase) {
  SetTexts set = SampleSet();
  PutSet(set, 5);
  OpenView view;
  for (auto& [file, text] : set) {
    const std::string path = "DB/IMPORT/" + SetFileName(file, 5);
    std::filesystem::remove(path);
    EXPECT_EQ(view.Load(5), 4) << file;
    std::filesystem::create_directory(path);
    EXPECT_EQ(view.Load(5), 4) << file;
    std::filesystem::remove(path);
    std::string upper = SetFileName(file, 5);
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    WriteFile("DB/IMPORT/" + upper, text);
    EXPECT_EQ(view.Load(5), 0) << file;
    if (file != "gt") text.clear();
  }
  PutSet(set, 6);
  OpenView other;
  EXPECT_EQ(other.Load(6), 0);
  EXPECT_TRUE(other.GetListAb()->empty());
  EXPECT_EQ(other.Load(0x100000006), -4);
}

TEST_F(View, CountsLoadsAndRereadsTheFiles) {
  PutSet(SampleSet(), 5);
  OpenView view;
  EXPECT_EQ(view.Load(5), 0);
  EXPECT_EQ(view.Load(5), 0);
  EXPECT_EQ(DescribeView(view), kSampleText);
  EXPECT_EQ(view.UnLoad(), 1);
  EXPECT_EQ(view.GetNet(), 5);

  // A reload that fails: what was read before stays, tables of links too; the count as well.
  SetTexts broken = SampleSet();
  broken["an"] = "00050020 ursula\nbad\n";
  PutSet(broken, 5);
  EXPECT_EQ(view.Load(5), 22);
  EXPECT_EQ(view.GetNet(), 5);
  EXPECT_EQ(Answer<CABEntry>([&](auto& list) { return view.GetListAb(list); }), " 32");
  EXPECT_EQ(Answer<CABEntry>([&](auto& list) { return view.GetListAbFromNN(3, list); }), "83: 32");
  EXPECT_EQ(Answer<CNNEntry>([&](auto& list) { return view.GetListApFromSrv(1, list); }), "83:");
  EXPECT_EQ(Answer<CDepEntry>([&](auto& list) { return view.GetListDepFromNN(3, list); }), "83:");
  EXPECT_EQ(Answer<CNGrpEntry>([&](auto& list) { return view.GetListNGrpFromNN(3, list); }), "83:");
  EXPECT_EQ(Answer<CNGrpEntry>([&](auto& list) { return view.GetListNGrpFromNN(4, list); }), "");
  EXPECT_EQ(Answer<CNCCEntry>([&](auto& list) { return view.GetListNOFromDep(16, list); }), "83:");

  PutSet(SampleSet(), 5);
  EXPECT_EQ(view.Load(5), 0);
  EXPECT_EQ(DescribeView(view), kSampleText);
  EXPECT_EQ(view.UnLoad(), 1);
  EXPECT_EQ(view.UnLoad(), 0);
  EXPECT_EQ(DescribeView(view), "net 0 gate 11 22 Gate\n");
  PutSet(SampleSet(), 6);
  EXPECT_EQ(view.Load(6), 22);  // its lines are of network 5
  EXPECT_EQ(view.GetNet(), 0);
  try {
    view.UnLoad();
    ADD_FAILURE() << "the count fell below zero";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "");
  }
  EXPECT_EQ(view.LoadNet(5), 0);
  EXPECT_EQ(view.LoadNet(6), -4);
  EXPECT_EQ(Answer<CNNEntry>([&](auto& list) { return view.GetListApFromSrv(2, list); }), "");
}

TEST_F(View, AWrongNetworkLeavesTheLockEntered) {
  using namespace std::chrono_literals;
  PutSet(SampleSet(), 5);
  OpenView view;
  ASSERT_EQ(view.Load(5), 0);
  EXPECT_EQ(view.Load(6), -4);
  EXPECT_EQ(view.Load(0), -4);
  auto other = std::async(std::launch::async, [&] { return view.UnLoad(); });
  EXPECT_EQ(other.wait_for(200ms), std::future_status::timeout);
  EXPECT_TRUE(view.UnLock());
  EXPECT_EQ(other.wait_for(200ms), std::future_status::timeout);
  EXPECT_TRUE(view.UnLock());
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(view.Load(0), -4);  // and is destroyed so
}

TEST_F(View, MakesTheLastLevelOfItsFolderOnly) {
  EXPECT_NO_THROW(OpenView("made"));
  EXPECT_TRUE(std::filesystem::is_directory("made"));
  PutSet(SampleSet(), 5, "made");
  OpenView view("made\\");
  EXPECT_EQ(view.Load(5), 0);
  std::filesystem::remove_all("DB");
  for (const char* path : {static_cast<const char*>(nullptr), "no\\where", "made\\gt5.way"}) {
    try {
      const OpenView other(path);
      ADD_FAILURE() << "there was no folder";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "Import dir doesn't exist and cannot be created");
    }
  }
}

TEST_F(View, HostileFilesAreRefusedOrRead) {
  std::mt19937 random(7);
  const auto below = [&](std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
  };
  const auto spoil = [&](std::string text) {
    const std::size_t at = below(text.size());
    const std::string inserted[] = {std::string(below(90'000), static_cast<char>(below(256))),
                                    "00050001", " \r\n"};
    if (below(4) == 0) text[at] = static_cast<char>(below(256));
    if (below(4) == 0) text.erase(at, below(12));
    return text.insert(std::min(at, text.size()), inserted[below(3)]);
  };
  const SetTexts good = SampleSet();
  PutSet(good, 5);
  OpenView view;
  for (int round = 0; round < 300; ++round) {
    const auto& [file, text] = *std::next(good.begin(), static_cast<int>(below(good.size())));
    PutSet({{file, spoil(text)}}, 5);
    const int result = view.Load(5);
    EXPECT_TRUE(result == 0 || result == 22) << result;
    EXPECT_NE(DescribeView(view), "");
    PutSet({{file, text}}, 5);
  }
}

}  // namespace

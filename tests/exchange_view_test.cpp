#include "core/last_error.h"
#include "support/exchange.h"
#include "support/outputs.h"

#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <sstream>
#include <stdexcept>

namespace {

using View = ExchangeTest;

// What is expected of the sample, without the ends of lines of its files.
std::string Expected(const char* section) {
  std::string text = LoadGolden("exchange_set.txt").at(section);
  std::erase(text, '\r');
  return text;
}

const std::string kSampleText = Expected("view");

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
  for (const auto& object : cases) {
    unsigned long id = 0;
    std::array<char, 52> name{};
    EXPECT_EQ(view.GetIdFromName(object.name, object.kind, id), object.id != 0 ? 0 : 85);
    EXPECT_EQ(id, object.id);
    if (id == 0) continue;
    EXPECT_EQ(view.GetNameFromId(id, object.kind, name.data()), 0);
    EXPECT_STREQ(name.data(), object.name);
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

TEST_F(View, EveryFileIsReadByItsRules) {
  std::istringstream rules(LoadGolden("exchange_set.txt").at("rules"));
  int count = 0;
  for (std::string file, line, error; std::getline(rules, file, '|'); ++count) {
    std::getline(std::getline(rules, line, '|'), error, '\r');
    rules.ignore();
    SetTexts set = SampleSet();
    set[file] = line.starts_with('=') ? line.substr(1) : set[file] + line;
    PutSet(set, 5);
    OpenView view;
    EXPECT_EQ(view.Load(5), error.empty() ? 0 : 22) << file << ": " << line;
    EXPECT_EQ(ncc::LastErrorText(), error) << line;
    const bool whole_first_stage = error.empty() || file == "uc" || file == "ng";
    EXPECT_EQ(view.GetNet(), whole_first_stage ? 5 : 0) << line;
  }
  EXPECT_GT(count, 40);
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

// Which files a change can touch, by those that are composed after it.
#include "support/changed_files.h"

#include <algorithm>
#include <iterator>

namespace {

class AffectedNodesTest : public ChangedFilesTest {
 protected:
  struct Case {
    const char* what;
    std::function<void()> change;
    // Of APs node directories, user directories and stamp lists; of servers maps.
    std::string nodes, users, lists, maps;
  };

  // A control centre by one that is the same, but behind the other APs.
  void Replace(unsigned long id, const std::vector<unsigned long>& groups) {
    const CNNEntry centre = Entry(net_, id);
    const std::uint32_t number = centre.number;
    net_.BeginBatch();
    EXPECT_TRUE(net_.DeleteAP(9, centre.name));
    AddAPAs(net_, CIdentity{id, number}, 9, centre.name, kFlagNCC);
    for (const unsigned long group : groups) net_.LinkNNToNGrp(group, id);
    EXPECT_TRUE(net_.EndBatch());
  }

  std::vector<Case> SomeNodes();
  std::vector<Case> AllNodes();

  const std::string all_ = " 000C 000D 000E 000F 0010 1002F";
};

// The nodes, and users, whose files of a kind were composed.
std::string Composed(const Outcome& outcome, const std::string& before, const std::string& after) {
  std::string nodes;
  for (std::string path : outcome.composed) {
    std::replace(path.begin(), path.end(), '\\', '/');
    if (!path.starts_with(before) || !path.ends_with(after)) continue;
    nodes += " " + path.substr(before.size(), path.size() - before.size() - after.size());
  }
  return nodes;
}

// What single changes touch.
std::vector<AffectedNodesTest::Case> AffectedNodesTest::SomeNodes() {
  return {{"an AP that an AP and a server see", [&] { net_.ModifyAP(0x1002F, "1"); }, " 1002F", "",
           " 1002F", " 10 11"},
          {"one that most see", [&] { net_.ModifyAP(0xF, "2"); }, " 000C 000D 000E 000F", "",
           " 000E 000F", " 10 11 9"},
          {"one that nobody sees", [&] { net_.ModifyAP(0x10, "3"); }, " 0010", "", "", " 10"},
          {"a server", [&] { net_.ModifyServer(0xBUL, "4"); }, " 000C 000D 000E 000F 1002F", "", "",
           " 10 11 9"},
          {"a user", [&] { net_.ModifyAB(0x19, "5"); }, "", all_, all_, ""},
          {"a link of Deps", [&] { net_.DeleteLinkDepToDep(0x18, 0x16); },
           " 000C 000D 000E 000F 1002F", "", " 1002F", " 10 11 9"},
          {"a node of a group", [&] { net_.LinkNNToNGrp(0x14, 0x10); }, " 0010 1002F", "",
           " 0010 1002F", " 11"},
          {"what was taken back",
           [&] {
             net_.ModifyAP(0xF, "6");
             net_.Undo(net_.GetRevision());
           },
           "", "", "", ""},
          {"a user who came and went",
           [&] {
             net_.CreateAB("7");
             net_.DeleteAB("7");
           },
           "", "", "", " 10 11 9"},
          {"a membership of a Dep that is not there",
           [&] {
             net_.SetListAvailableColAb(0x19UL, 0x50, {{{0x50, 9}, 0}}, true);
           },
           "", all_, all_, ""},
          {"that Dep", [&] { CreateDepAs(net_, 0x50, "8"); }, "", all_, "", " 10 11 9"}};
}

std::vector<AffectedNodesTest::Case> AffectedNodesTest::AllNodes() {
  return {{"the control centre", [&] { net_.ModifyAP(0xC, "8"); }, all_, all_, all_, " 10 11 9"},
          {"the preferences",
           [&] {
             net_.Preferences()->value_20 = 9;
             net_.SaveNetInfo();
           },
           all_, all_, all_, " 10 11 9"},
          {"a second control centre",
           [&] {
             net_.RegAPP(0xE, kFlagNCC, 2);
             Replace(0xC, {0x11, 0x12});
             Replace(0xE, {0x11});
             EXPECT_EQ(net_.GetNCC(), 0xCU);
           },
           all_, all_, all_, " 10 11 9"},
          {"the first one is behind it now, but as it was",
           [&] {
             Replace(0xC, {0x11, 0x12});
             EXPECT_EQ(net_.GetNCC(), 0xEU);
           },
           all_, all_, all_, " 10 11 9"},
          {"nobody knows",
           [&] {
             net_.SetHistoryRule({CHistoryRule::kNone});
             net_.ModifyAP(0x10, "10");
           },
           all_, all_, all_, " 10 11 9"}};
}

TEST_F(AffectedNodesTest, NothingIsComposedThatAChangeCannotTouch) {
  Update(Writing::kChanged);
  std::vector<Case> changes = SomeNodes();
  std::ranges::move(AllNodes(), std::back_inserter(changes));
  for (const auto& [what, change, nodes, users, lists, maps] : changes) {
    change();
    const Outcome outcome = Update(Writing::kChanged);
    EXPECT_EQ(Composed(outcome, "APDB/N/apn", ".txt"), nodes) << what;
    EXPECT_EQ(Composed(outcome, "APDB/A/apa", ".txt"), users) << what;
    EXPECT_EQ(Composed(outcome, "APDB/R/apn", ".crg"), lists) << what;
    EXPECT_EQ(Composed(outcome, "MAP/node", ".map"), maps) << what;
    EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "") << what;
  }
}

// The positions of a list behind the first 64 are stored in rows of their own.
TEST_F(AffectedNodesTest, AChangeFarBackInAListIsFound) {
  unsigned long last = 0;
  net_.BeginBatch();
  for (int i = 0; i < 70; ++i) {
    last = net_.AddAP(0xA, ("AP " + std::to_string(i)).c_str(), 0);
    net_.LinkNNToNGrp(0x14, last);
  }
  ASSERT_TRUE(net_.EndBatch());
  Update(Writing::kChanged);
  ASSERT_TRUE(net_.DeleteNNFromNGrp(0x14, last));
  const Outcome outcome = Update(Writing::kChanged);
  EXPECT_NE(Composed(outcome, "APDB/U/apu", ".txt").find(" 1002F"), std::string::npos);
  EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "");
}

TEST_F(AffectedNodesTest, ARevisionOfAnotherDatabaseTellsNothing) {
  net_.ModifyAP(0xE, "one");
  Update(Writing::kChanged);
  MemoryNet other;
  ASSERT_TRUE(other.Create());
  BuildOutputNetwork(other.Net());
  other.Net().ModifyAP(0xE, "other");
  ASSERT_EQ(other.Net().GetRevision(), net_.GetRevision());
  other.Net().ModifyAP(0x10, "later");
  subject_ = &other.Net();
  Update(Writing::kChanged);
  EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "");
}

}  // namespace

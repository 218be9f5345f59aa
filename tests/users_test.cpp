// Users, their place in Deps and their collectives.
#include "support/integrity.h"
#include "support/net_access.h"
#include "support/network.h"

namespace {

using Numbers = std::vector<unsigned long>;

const std::string kTooLong(52, 'x');

// The sample with Deps d and e (7, 8), users u and v (9, 10) and a node group (11) of the nodes
// 5, 1, 6 that holds d; e has a group (12) without nodes.
class Users : public SampleTest {
 protected:
  void SetUp() override {
    SampleTest::SetUp();
    ASSERT_TRUE(net_.CreateDep("d") == 7 && net_.CreateDep("e") == 8);
    ASSERT_TRUE(net_.CreateAB("u") == 9 && net_.CreateAB("v") == 10);
    ASSERT_TRUE(net_.CreateNGrp("g") == 11 && net_.CreateNGrp("empty") == 12);
    for (const unsigned long node : {5UL, 1UL, 6UL}) ASSERT_TRUE(net_.LinkNNToNGrp(11, node));
    ASSERT_TRUE(net_.LinkDepToNGrp(11, 7) && net_.LinkDepToNGrp(12, 8));
  }

  Numbers Primary(unsigned long user) {
    const CColId primary = net_.GetPrimaryCol(user);
    return {primary.dep, primary.node};
  }
  void SetMemberships(unsigned long dep, const std::list<CColAb>& list, bool remove) {
    net_.SetListAvailableColAb(9, dep, list, remove);
    EXPECT_STREQ(net_.LastError(), "");
  }
};

TEST_F(Users, LinkingByNameCreatesWhatIsMissingAndListsOnceMore) {
  EXPECT_TRUE(net_.LinkABToDep("new Dep", "new user", true));
  EXPECT_EQ(net_.GetType(13), kTypeDep);
  EXPECT_EQ(net_.GetType(14), kTypeAB);
  EXPECT_TRUE(net_.LinkABToDep("NEW DEP", "u", true));
  EXPECT_TRUE(net_.LinkABToDep("New Dep", "NEW user", true));
  EXPECT_TRUE(net_.LinkABToDep(13, 14, true));
  EXPECT_EQ(UserIds(net_, 13), (Numbers{14, 9, 14, 14}));
  EXPECT_EQ(net_.Preferences()->next_id, 15U);
  const std::string before = Describe(net_);
  for (const char* bad : {kTooLong.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(net_.LinkABToDep(bad, "other", true));
    EXPECT_FALSE(net_.LinkABToDep("other", bad, true));
    EXPECT_EQ(net_.CreateAB(bad) + net_.CreateDep(bad) + net_.CreateNGrp(bad), 0U);
  }
  for (const Numbers& ids : {Numbers{99, 9}, {7, 99}, {9, 7}, {0x100000007, 9}, {7, 1}, {1, 9}}) {
    EXPECT_FALSE(net_.LinkABToDep(ids[0], ids[1], true)) << ids[0] << " " << ids[1];
  }
  EXPECT_EQ(Describe(net_), before);
  Reopen();
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Users, TheFirstLinkToADepWithNodesGivesThePrimaryCollective) {
  ASSERT_TRUE(net_.LinkABToDep(8, 9, true));
  EXPECT_EQ(Primary(9), (Numbers{0, 0})) << "the group is empty";
  ASSERT_TRUE(net_.LinkABToDep(7, 9, true) && net_.LinkABToDep("d", "v", false));
  EXPECT_EQ(Primary(9), (Numbers{7, 5}));
  EXPECT_EQ(Memberships(net_, 9), (Numbers{7, 5, 0, 7, 1, 0, 7, 6, 0}));
  EXPECT_EQ(Primary(10), (Numbers{7, 5}));
  EXPECT_EQ(Memberships(net_, 10), Numbers());
  ASSERT_TRUE(net_.LinkNNToNGrp(12, 2) && net_.LinkABToDep("e", "u", false));
  net_.DeleteAllAb(7);
  EXPECT_EQ(Primary(9), (Numbers{7, 5})) << "neither a later link nor unlinking changes it";
  const struct {
    CColId set;
    Numbers after_linking;
  } cases[] = {{{0, 3}, {0, 3}}, {{7, 0}, {7, 0}}, {{77, 88}, {77, 88}}, {{0, 0}, {8, 2}}};
  for (const auto& [set, after_linking] : cases) {
    EXPECT_TRUE(net_.SetPrimaryCol("V", set));
    EXPECT_TRUE(net_.LinkABToDep("e", "v", false));
    EXPECT_EQ(Primary(10), after_linking);
  }
  EXPECT_EQ(net_.GetPrimaryCol("V").node, 2U);
  EXPECT_EQ(net_.GetPrimaryCol("d").dep + net_.GetPrimaryCol(nullptr).dep, 0U);
  EXPECT_EQ(Primary(7), (Numbers{0, 0})) << "a Dep is no user";
  EXPECT_FALSE(net_.SetPrimaryCol(7, {1, 1}) || net_.SetPrimaryCol("d", {1, 1}));
}

TEST_F(Users, UnlinkingTakesOnePlaceAndAllMembershipsOfTheDep) {
  ASSERT_TRUE(net_.LinkNNToNGrp(12, 2) && net_.LinkABToDep(8, 9, true));
  ASSERT_TRUE(net_.LinkABToDep(7, 9, true) && net_.LinkABToDep(7, 10, true));
  ASSERT_TRUE(net_.LinkABToDep(7, 9, true));
  const std::string pair = DescribeItem(4, {200, 9}, "u") + DescribeItem(6, {100, 9}, "u");
  const std::string other = DescribeItem(4, {200, 10}, "v") + DescribeItem(6, {100, 10}, "v");
  EXPECT_EQ(Items(net_, 7), pair + other + pair);
  EXPECT_EQ(Memberships(net_, 9).size(), 3U * 7);
  net_.DeleteABFromDep("D", "U");
  EXPECT_EQ(Items(net_, 7), other + pair) << "the first place goes";
  EXPECT_EQ(Memberships(net_, 9), (Numbers{8, 2, 0}));
  EXPECT_EQ(Memberships(net_, 10).size(), 3U * 3);
  const std::string before = Describe(net_);
  net_.DeleteABFromDep("e", "v");
  net_.DeleteABFromDep(8, 10);
  net_.DeleteABFromDep(nullptr, "v");
  net_.DeleteABFromDep("d", nullptr);
  net_.DeleteAllAb(9);
  EXPECT_EQ(Describe(net_), before) << "who is not there is not taken out";
  ASSERT_TRUE(net_.LinkDepToDep(7UL, 8UL));
  net_.DeleteAllAb(7);
  EXPECT_EQ(UserIds(net_, 7), Numbers());
  EXPECT_EQ(LinkedDepIds(net_, 7), Numbers{8}) << "items of other kinds stay";
  EXPECT_EQ(net_.GetType(9), kTypeAB);
  EXPECT_EQ(Memberships(net_, 10), Numbers());
}

TEST_F(Users, SettingMembershipsBringsOneDepIntoLine) {
  const std::list<CColAb> start = {{{7, 5}, 1}, {{7, 6}, 2}};
  const struct {
    const char* what;
    std::list<CColAb> list;
    bool remove;
    Numbers stored;
  } cases[] = {
      {"nothing wanted, kept", {}, false, {7, 5, 1, 8, 5, 9, 7, 6, 2}},
      {"nothing wanted, removed", {}, true, {8, 5, 9}},
      {"a kind", {{{7, 6}, 7}}, false, {7, 5, 1, 8, 5, 9, 7, 6, 7}},
      {"a kind, others removed", {{{7, 6}, 7}}, true, {8, 5, 9, 7, 6, 7}},
      {"new ones in list order", {{{7, 3}, 0}, {{7, 2}, 4}}, true, {8, 5, 9, 7, 3, 0, 7, 2, 4}},
      {"the last of several counts",
       {{{7, 5}, 3}, {{7, 2}, 4}, {{7, 5}, 6}, {{7, 1}, 0}, {{7, 2}, 5}},
       true,
       {7, 5, 6, 8, 5, 9, 7, 1, 0, 7, 2, 5}},
      {"other Deps' elements", {{{8, 5}, 1}, {{8, 2}, 1}, {{7, 5}, 8}}, true, {7, 5, 8, 8, 5, 9}}};
  for (const auto& [what, list, remove, stored] : cases) {
    SetMemberships(7, {}, true);
    SetMemberships(8, {}, true);
    SetMemberships(7, {start.front()}, true);
    SetMemberships(8, {{{8, 5}, 9}}, true);
    SetMemberships(7, {start.back()}, false);
    net_.SetListAvailableColAb("U", 7, list, remove);
    EXPECT_EQ(Memberships(net_, 9), stored) << what;
  }
  const std::string before = Describe(net_);
  for (const unsigned long unknown : {7UL, 0UL, 0x100000009UL}) {
    net_.SetListAvailableColAb(unknown, 7, start, true);
    EXPECT_STRNE(net_.LastError(), "");
  }
  net_.SetListAvailableColAb(nullptr, 7, start, true);
  net_.SetListAvailableColAb(9, 0x100000007, start, true);
  EXPECT_EQ(Describe(net_), before);
  DropAndReopen();
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Users, CollectivesAreListedByStoreAndByPossibility) {
  ASSERT_TRUE(net_.LinkNNToNGrp(12, 2) && net_.LinkABToDep(8, 9, true));
  ASSERT_TRUE(net_.LinkABToDep(7, 9, true) && net_.LinkABToDep(7, 9, false));
  const auto nodes = [](const auto& list) {
    Numbers numbers;
    for (const auto& one : list) numbers.push_back(one.id.dep * 10 + one.id.node);
    return numbers;
  };
  using Fill = std::function<unsigned long(std::list<CColAb>&)>;
  using FillPairs = std::function<unsigned long(std::list<CCol>&)>;
  const std::pair<Fill, Numbers> stored[] = {
      {[&](auto& list) { return net_.GetListAvailableColAb("U", list); }, {82, 75, 71, 76}},
      {[&](auto& list) { return net_.GetListAvailableColAb("u", 7, list); }, {75, 71, 76}},
      {[&](auto& list) { return net_.GetListAvailableColAb(9, 8, list); }, {82}},
      {[&](auto& list) { return net_.GetListAvailableColAb(9, 0x100000008, list); }, {}},
      {[&](auto& list) { return net_.GetListAvailableColAb(10, list); }, {}},
      {[&](auto& list) { return net_.GetListAvailableColAb("d", list); }, {}}};
  for (const auto& [fill, expected] : stored) EXPECT_EQ(nodes(Filled<CColAb>(fill)), expected);
  const std::pair<FillPairs, Numbers> pairs[] = {
      {[&](auto& list) { return net_.GetListAvailableColAb(9, list); }, {82, 75, 71, 76}},
      {[&](auto& list) { return net_.GetListAvailableColAb(99, list); }, {}},
      {[&](auto& list) { return net_.GetListColAb(9, list); }, {75, 71, 76, 82}},
      {[&](auto& list) { return net_.GetListColAb(9, 8, list); }, {82}},
      {[&](auto& list) { return net_.GetListColAb(10, list); }, {}},
      {[&](auto& list) { return net_.GetListColAb(10, 7, list); }, {}},
      {[&](auto& list) { return net_.GetListColAb(9, 99, list); }, {}}};
  for (const auto& [fill, expected] : pairs) EXPECT_EQ(nodes(Filled<CCol>(fill)), expected);
}

TEST_F(Users, ARenameReachesTheDepsAndRefusesTakenNames) {
  ASSERT_TRUE(net_.LinkABToDep("d", "u", false) && net_.LinkABToDep("e", "u", false));
  ASSERT_TRUE(net_.CheckABName("U") && !net_.CheckABName("d") && !net_.CheckABName(nullptr));
  EXPECT_FALSE(net_.CheckAB(9, 9) || net_.CheckAB(0, 0));
  const std::string before = Describe(net_);
  for (const char* bad : {"u", "U", "V", kTooLong.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(net_.ModifyAB(9, bad) || net_.ModifyAB("u", bad));
  }
  EXPECT_FALSE(net_.ModifyAB("d", "w") || net_.ModifyAB(7, "w") || net_.ModifyAB(nullptr, "w"));
  EXPECT_EQ(Describe(net_), before);
  ASSERT_TRUE(net_.ModifyAB("U", "d")) << "a Dep's name is free for a user";
  for (const unsigned long dep : {7UL, 8UL}) {
    EXPECT_EQ(Items(net_, dep), DescribeItem(4, {200, 9}, "d") + DescribeItem(6, {100, 9}, "d"));
  }
  TDBObjId id;
  CABEntry entry;
  EXPECT_TRUE(net_.GetAB("D", id) && id == (TDBObjId{200, 9}));
  EXPECT_TRUE(net_.GetABInfo("d", entry) && entry.id == 9 && net_.GetABInfo(9, entry));
  EXPECT_STREQ(entry.name, "d");
  EXPECT_FALSE(net_.GetAB("u", id) || net_.GetAB(7, id) || net_.GetABInfo(7, entry));
  EXPECT_EQ(Ids(Filled<CABEntry>([&](auto& list) { return net_.GetListAB("e", list); })),
            Numbers{9});
  EXPECT_EQ(FindFaults(net_), "");
}

}  // namespace

// Deps and their links, node groups, and the search for loose objects.
#include "support/integrity.h"
#include "support/net_access.h"
#include "support/network.h"

#include <chrono>
#include <future>
#include <thread>

namespace {

using Numbers = std::vector<unsigned long>;
using Lists = std::vector<Numbers>;

// The sample with Deps Red, Green, Blue (7, 8, 9), users u and v (10, 11) and node groups g and h
// (12, 13).
class Groups : public SampleTest {
 protected:
  void SetUp() override {
    SampleTest::SetUp();
    for (const char* dep : {"Red", "Green", "Blue"}) ASSERT_NE(net_.CreateDep(dep), 0U);
    ASSERT_TRUE(net_.CreateAB("u") == 10 && net_.CreateAB("v") == 11);
    ASSERT_TRUE(net_.CreateNGrp("g") == 12 && net_.CreateNGrp("h") == 13);
  }

  static std::string DepPair(std::uint32_t id, const std::string& name) {
    return DescribeItem(3, {200, id}, name) + DescribeItem(6, {100, id}, name);
  }
  Numbers FreeDeps() {
    return Ids(Filled<CDepEntry>([&](auto& list) { return net_.GetListDepFree(list); }));
  }
  std::uint32_t GroupOf(unsigned long dep) {
    CDepEntry entry;
    EXPECT_TRUE(net_.GetDepInfo(dep, entry));
    return entry.ngrp_id;
  }
};

TEST_F(Groups, DepsAreLinkedOnceAndKeepTheRecordItems) {
  bool changed = false;
  EXPECT_TRUE(net_.LinkDepToDep(7, 8, &changed) && changed);
  EXPECT_TRUE(net_.LinkDepToDep(8, 7, &changed) && !changed);
  EXPECT_TRUE(net_.LinkDepToDep("RED", "green")) << "linked already: the spelling is lost";
  EXPECT_EQ(Items(net_, 7), DepPair(8, "Green"));
  EXPECT_EQ(Items(net_, 8), DepPair(7, "Red"));
  EXPECT_TRUE(net_.DeleteLinkDepToDep("green", "red") && net_.DeleteLinkDepToDep(7, 8));
  EXPECT_EQ(LinkedDepIds(net_, 7), Numbers());
  EXPECT_EQ(Items(net_, 7), DescribeItem(6, {100, 8}, "Green"));
  EXPECT_TRUE(net_.LinkDepToDep("RED", "gREEN"));
  EXPECT_EQ(Items(net_, 7), DescribeItem(6, {100, 8}, "Green") + DepPair(8, "gREEN"));
  EXPECT_EQ(Items(net_, 8), DescribeItem(6, {100, 7}, "Red") + DepPair(7, "RED"));
  EXPECT_TRUE(net_.ModifyDep("green", "Olive"));
  EXPECT_EQ(Items(net_, 7), DescribeItem(6, {100, 8}, "Olive") +
                                DescribeItem(3, {200, 8}, "Olive") +
                                DescribeItem(6, {100, 8}, "gREEN"));
  EXPECT_TRUE(net_.LinkDepToDep(9, 9, &changed) && changed);
  EXPECT_TRUE(net_.LinkDepToDep(9, 9, &changed) && !changed);
  EXPECT_EQ(Items(net_, 9), DepPair(9, "Blue"));
  changed = true;
  EXPECT_FALSE(net_.LinkDepToDep(7, 10, &changed) || net_.LinkDepToDep("Red", nullptr));
  EXPECT_TRUE(changed) << "left alone";
  EXPECT_FALSE(net_.DeleteLinkDepToDep(7, 99) || net_.DeleteLinkDepToDep("Red", "Green"));
  const std::string before = Describe(net_);
  Reopen();
  EXPECT_EQ(Describe(net_), before);
  EXPECT_TRUE(net_.DeleteDep("Olive") && net_.DeleteDep(9));
  EXPECT_EQ(Items(net_, 7), "");
  EXPECT_EQ(FindFaults(net_), "");
}

TEST_F(Groups, LinkingAllDepsTakesNoLockAndPilesUpRecordItems) {
  ASSERT_TRUE(net_.LinkDepToDep(7, 7) && net_.LinkABToDep(7, 10, false));
  std::promise<void> held, release;
  std::thread holder([&] {
    NetAccess::Lock(net_);
    held.set_value();
    release.get_future().wait();
    NetAccess::UnLock(net_);
  });
  held.get_future().wait();
  auto linking = std::async(std::launch::async, [&] { return net_.LinkAllDeps(); });
  EXPECT_EQ(linking.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  release.set_value();
  holder.join();
  EXPECT_FALSE(linking.get());
  EXPECT_STREQ(net_.LastError(), "");
  EXPECT_FALSE(net_.LinkAllDeps());
  EXPECT_EQ(LinkedDepIds(net_, 7), (Numbers{8, 9})) << "and no more with itself";
  EXPECT_EQ(LinkedDepIds(net_, 9), (Numbers{7, 8}));
  EXPECT_EQ(UserIds(net_, 7), Numbers{10});
  const std::string records = DescribeItem(6, {100, 7}, "Red") + DescribeItem(6, {100, 9}, "Blue");
  EXPECT_EQ(Items(net_, 8), records + DepPair(7, "Red") + DepPair(9, "Blue"));
  EXPECT_EQ(ReleaseHeldLevels(net_), 0);
}

TEST_F(Groups, ListsAndNamesOfDeps) {
  std::list<CDepEntry> list(5);
  EXPECT_EQ(net_.GetListDep(7, list), 5U) << "the size of its copy";
  EXPECT_EQ(list.size(), 5U);
  EXPECT_EQ(net_.GetListDep(list), 3U);
  EXPECT_EQ(list.front().kind, 0);
  EXPECT_TRUE(net_.LinkDepToNGrp(12, 8));
  EXPECT_EQ(FreeDeps(), (Numbers{7, 9}));
  EXPECT_TRUE(net_.CheckDepName("rED") && !net_.CheckDepName("u") && net_.CheckNGrpName("G"));
  EXPECT_FALSE(net_.ModifyDep(7, "RED") || net_.ModifyDep("red", "Blue"));
  EXPECT_FALSE(net_.ModifyNGrp(12, "G") || net_.ModifyNGrp("g", "h") || net_.ModifyNGrp(7, "x"));
  EXPECT_FALSE(net_.ModifyDep(7, nullptr) || net_.ModifyDep(7, std::string(52, 'x').c_str()));
  const Numbers types = {kTypeServer, kTypeAP, kTypeDep, kTypeAB, kTypeNGrp, kTypeNone};
  const Numbers ids = {1, 4, 7, 10, 12, 14};
  for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(net_.GetType(ids[i]), types[i]) << ids[i];
  TDBObjId folder{200, 8};
  CDepEntry dep;
  EXPECT_TRUE(net_.GetDepInfo(folder, dep) && dep.id == 8 && dep.ngrp_id == 12);
  EXPECT_TRUE(net_.GetDepInfo("GREEN", dep) && net_.GetDep("green", folder));
  EXPECT_FALSE(net_.GetDepInfo("g", dep) || net_.GetDep(10, folder));
  EXPECT_EQ(net_.GetAPP(7), 0xFFFFFFFFU);
}

TEST_F(Groups, OrdinalsAreNeverGivenAgain) {
  EXPECT_TRUE(net_.DeleteNGrp("G"));
  EXPECT_EQ(net_.CreateNGrp("g"), 14U);
  TDBObjId folder{200, 13};
  CNGrpEntry entry;
  EXPECT_TRUE(net_.GetNGrpInfo(folder, entry) && entry.number == 2);
  EXPECT_TRUE(net_.GetNGrpInfo("g", entry) && entry.number == 3);
  Reopen();
  EXPECT_TRUE(net_.GetNGrpInfo(14, entry) && entry.number == 3 && entry.type == kTypeNGrp);
  EXPECT_FALSE(net_.GetNGrp(12, folder) || net_.GetNGrpInfo(12, entry));
}

TEST_F(Groups, TakingANodeOutEndsMembershipsAtItForUsersOfTheGroupsDeps) {
  for (const unsigned long node : {5UL, 1UL}) ASSERT_TRUE(net_.LinkNNToNGrp(12, node));
  ASSERT_TRUE(net_.LinkNNToNGrp(12, 5) && net_.LinkNNToNGrp(13, 5));
  ASSERT_TRUE(net_.LinkDepToNGrp(12, 7) && net_.LinkDepToNGrp(13, 8));
  ASSERT_TRUE(net_.LinkABToDep(7, 10, true) && net_.LinkABToDep(8, 10, true));
  ASSERT_TRUE(net_.LinkABToDep(8, 11, true));
  EXPECT_EQ(NodesOfGroup(net_, 12), (Numbers{5, 1}));
  EXPECT_EQ(GroupsOfNode(net_, 5), (Numbers{12, 13}));
  EXPECT_TRUE(net_.DeleteNNFromNGrp(12, 5));
  EXPECT_EQ(Memberships(net_, 10), (Numbers{7, 1, 0})) << "those of other Deps at the node as well";
  EXPECT_EQ(Memberships(net_, 11), (Numbers{8, 5, 0})) << "in no Dep of the group";
  EXPECT_EQ(NodesOfGroup(net_, 12), Numbers{1});
  EXPECT_EQ(GroupsOfNode(net_, 5), Numbers{13});
  net_.SetListAvailableColAb(10, 7, {{{7, 6}, 1}}, false);
  EXPECT_TRUE(net_.DeleteNNFromNGrp(12, 6)) << "also for a node that was not in it";
  EXPECT_EQ(Memberships(net_, 10), (Numbers{7, 1, 0}));
  EXPECT_FALSE(net_.DeleteNNFromNGrp(12, 7) || net_.DeleteNNFromNGrp(5, 12));
  EXPECT_FALSE(net_.LinkNNToNGrp(12, 7) || net_.LinkNNToNGrp(1, 5) || net_.LinkDepToNGrp(12, 5));
  EXPECT_EQ(FindFaults(net_), "");
}

TEST_F(Groups, ADepNamesTheLastGroupAndLosesItsMembershipsWithAny) {
  ASSERT_TRUE(net_.LinkNNToNGrp(12, 5) && net_.LinkDepToNGrp(12, 7));
  ASSERT_TRUE(net_.LinkABToDep(7, 10, true) && net_.LinkDepToNGrp(13, 7));
  EXPECT_EQ(GroupOf(7), 13U);
  EXPECT_EQ(GroupsOfDep(net_, 7), (Numbers{12, 13}));
  EXPECT_TRUE(net_.DeleteDepFromNGrp(12, 7));
  EXPECT_EQ(GroupOf(7), 13U);
  EXPECT_EQ(Memberships(net_, 10), Numbers());
  EXPECT_EQ(DepsOfGroup(net_, 12), Numbers());
  net_.SetListAvailableColAb(10, 7, {{{7, 6}, 1}}, false);
  EXPECT_TRUE(net_.DeleteDepFromNGrp(12, 7)) << "also for a Dep that is not in it";
  EXPECT_EQ(Memberships(net_, 10), Numbers());
  EXPECT_TRUE(net_.DeleteNGrp(13));
  EXPECT_EQ(GroupOf(7), 0U);
  EXPECT_EQ(GroupsOfDep(net_, 7), Numbers());
  EXPECT_FALSE(net_.DeleteDepFromNGrp(13, 7) || net_.DeleteDepFromNGrp(12, 10));
  EXPECT_EQ(FreeDeps(), (Numbers{7, 8, 9}));
}

TEST_F(Groups, ChecksFindWhatIsLooseAndOnlyWhatIsWanted) {
  ASSERT_TRUE(net_.DeleteLink(1, 3) && net_.LinkNNToNGrp(12, 4) && net_.LinkNNToNGrp(12, 2));
  ASSERT_TRUE(net_.LinkDepToNGrp(12, 7) && net_.LinkABToDep(7, 10, true));
  ASSERT_TRUE(net_.LinkDepToNGrp(13, 8) && net_.SetPrimaryCol(11, {7, 0}));
  const auto expect = [](const char* what, const Lists& expected, auto check) {
    for (unsigned wanted = 0; wanted < 1U << expected.size(); ++wanted) {
      const Numbers kept = {0};  // results are appended
      EXPECT_EQ(check(wanted, expected, kept), "") << what << ", wanted " << wanted;
    }
  };
  const auto compare = []<class Entry>(std::vector<std::list<Entry>>& lists, unsigned wanted,
                                       const Lists& expected, Numbers kept) {
    std::string wrong;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      Numbers all = kept;
      if ((wanted >> i & 1) != 0) all.insert(all.end(), expected[i].begin(), expected[i].end());
      if (Ids(lists[i]) != all) wrong += DescribeList("found", Ids(lists[i]));
    }
    return wrong;
  };
  const auto at = [](auto& lists, unsigned wanted, unsigned i) {
    return (wanted >> i & 1) != 0 ? &lists[i] : nullptr;
  };
  expect("users", {{11}, {11}, {11}}, [&](unsigned w, const Lists& all, const Numbers& kept) {
    std::vector<std::list<CABEntry>> l(3, std::list<CABEntry>(1));
    EXPECT_EQ(net_.CheckAnomaliesAB(at(l, w, 0), at(l, w, 1), at(l, w, 2)), 0);
    return compare(l, w, all, kept);
  });
  expect("servers", {{3}, {1, 3}, {1, 3}}, [&](unsigned w, const Lists& all, const Numbers& kept) {
    std::vector<std::list<CNNEntry>> l(3, std::list<CNNEntry>(1));
    EXPECT_EQ(net_.CheckAnomaliesSrv(at(l, w, 0), at(l, w, 1), at(l, w, 2)), 0);
    return compare(l, w, all, kept);
  });
  expect("APs", {{5, 6}, {5, 6}}, [&](unsigned w, const Lists& all, const Numbers& kept) {
    std::vector<std::list<CNNEntry>> l(2, std::list<CNNEntry>(1));
    EXPECT_EQ(net_.ChechAnomaliesAP(at(l, w, 0), at(l, w, 1)), 0);
    return compare(l, w, all, kept);
  });
  ASSERT_EQ(net_.CreateNGrp("third"), 14U);
  expect("groups", {{13, 14}, {14}}, [&](unsigned w, const Lists& all, const Numbers& kept) {
    std::vector<std::list<CNGrpEntry>> l(2, std::list<CNGrpEntry>(1));
    EXPECT_EQ(net_.CheckAnomaliesNGrp(at(l, w, 0), at(l, w, 1)), 0);
    return compare(l, w, all, kept);
  });
  expect("Deps", {{8, 9}, {9}}, [&](unsigned w, const Lists& all, const Numbers& kept) {
    std::vector<std::list<CDepEntry>> l(2, std::list<CDepEntry>(1));
    EXPECT_EQ(net_.CheckAnomaliesDep(at(l, w, 0), at(l, w, 1)), 0);
    return compare(l, w, all, kept);
  });
}

}  // namespace

// Addresses, types and applications of nodes.
#include "support/network.h"

#include <algorithm>

namespace {

using Nodes = SampleTest;
using Numbers = std::vector<unsigned long>;

TEST(Addresses, HaveFourDigitsOrMore) {
  CNCCNet net;
  char text[32];
  EXPECT_STREQ(net.GetNetAddr(text), "0000");
  EXPECT_EQ(net.GetAddr4(10, text), text);
  EXPECT_STREQ(text, "000A");
  net.Preferences()->net_number = 1;
  EXPECT_STREQ(net.GetAddr8(10, text), "0001000A");
  net.Preferences()->net_number = 0xABCDE;
  EXPECT_STREQ(net.GetNetAddr(text), "ABCDE");
  EXPECT_STREQ(net.GetAddr8(0xFFFFFFFF, text), "ABCDEFFFFFFFF");
  EXPECT_STREQ(net.GetAddr4(0xFFFF, text), "FFFF");
}

TEST_F(Nodes, TypesAndRoles) {
  EXPECT_EQ(net_.GetType(1), kTypeServer);
  EXPECT_EQ(net_.GetType(4), kTypeAP);
  for (const unsigned long none : {0UL, 7UL, 0xFFFFFFFEUL, 0xFFFFFFFFUL, 0x100000001UL}) {
    EXPECT_EQ(net_.GetType(none), kTypeNone) << none;
  }
  EXPECT_EQ(net_.GetNCC(), 5U) << "the first server's, though 6 has the bit as well";
  EXPECT_EQ(net_.GetKC(), 6U);
  EXPECT_EQ(net_.GetAP(0x44UL), 6U);
  EXPECT_EQ(net_.GetAP(0UL), 4U);
  EXPECT_EQ(net_.GetAP(0x80000000UL), 0U);
  EXPECT_TRUE(net_.ChangeSrv("a1", "A"));
  EXPECT_EQ(net_.GetAP(0UL), 5U) << "the server's order, not that of identifiers";
  EXPECT_TRUE(net_.RegSrv(1, 0x44, 0) && net_.DeleteAP("A", "a2"));
  EXPECT_EQ(net_.GetNCC(), 6U) << "a server is no NCC";
  EXPECT_TRUE(net_.DeleteServer("B"));
  EXPECT_EQ(net_.GetNCC(), 0U);
}

TEST_F(Nodes, RegisteringReplacesFlagsAndSettings) {
  ASSERT_TRUE(net_.RegAPP(4, 0x44, 0x5A));
  ASSERT_TRUE(net_.RegAPP(4, 0xC0000040, 0x5B));
  ASSERT_TRUE(net_.RegAPP(2, 0x10, 1)) << "a server is found as well";
  ASSERT_TRUE(net_.RegSrv(3, 0x20, 2));
  EXPECT_EQ(Entry(net_, 4).flags, 0xC0000040U);
  EXPECT_EQ(Entry(net_, 4).settings, 0x5B);
  EXPECT_EQ(Entry(net_, 2).flags, 0x10U);
  EXPECT_EQ(Entry(net_, 2).attribute, 1U);
  EXPECT_EQ(Entry(net_, 3).settings, 2);
  EXPECT_EQ(net_.GetKC(), 4U);
  const std::string before = Describe(net_);
  EXPECT_FALSE(net_.RegSrv(4, 1, 1)) << "an AP is no server";
  EXPECT_FALSE(net_.RegAPP(77, 1, 1) || net_.RegAPP(0x100000004, 1, 1) || net_.RegSrv(0, 1, 1));
  EXPECT_FALSE(net_.RegAPP(0xFFFFFFFE, 1, 1)) << "the network record is no node";
  Reopen();
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Nodes, TheNameTableIsWholeWhateverTheFlags) {
  std::list<std::string> names{"kept"};
  EXPECT_EQ(net_.GetAPP(5, names), 4U);
  EXPECT_EQ(net_.GetAPP(77, names), 0xFFFFFFFFU);
  ASSERT_EQ(names.size(), 35U);
  EXPECT_EQ(names.front(), "kept");
  const std::vector<std::string> all(std::next(names.begin()), names.end());
  for (std::size_t i = 0; i < 17; ++i) {
    EXPECT_EQ(all[i], all[i + 17]);
    EXPECT_EQ(std::count(all.begin(), all.end(), all[i]), 2) << all[i] << " is unique";
    EXPECT_FALSE(all[i].empty());
  }
  EXPECT_EQ(net_.GetAPP(2), 3U);
  EXPECT_EQ(net_.GetAPP(0x100000005), 0xFFFFFFFFU);
}

TEST_F(Nodes, SelectionsByMaskKeepTheOrderOfTheLists) {
  ASSERT_TRUE(net_.RegSrv(1, 0x6, 0) && net_.RegSrv(3, 0x80000001, 0));
  using Select = int (CNCCNet::*)(unsigned int, std::list<CNNEntry>&);
  const struct {
    const char* what;
    Select select;
    unsigned int mask;
    Numbers ids;
  } cases[] = {{"servers, none asked", &CNCCNet::GetListSrvInApps, 0, {1, 2, 3}},
               {"servers, all of two", &CNCCNet::GetListSrvInApps, 0x3, {2}},
               {"servers, top bit", &CNCCNet::GetListSrvInApps, 0x80000000, {3}},
               {"servers, any of none", &CNCCNet::GetListSrvInApps1, 0, {}},
               {"servers, any of two", &CNCCNet::GetListSrvInApps1, 0x3, {1, 2, 3}},
               {"APs, none asked", &CNCCNet::GetListApInApps, 0, {4, 5, 6}},
               {"APs, all of two", &CNCCNet::GetListApInApps, 0x44, {6}},
               {"APs, any of two", &CNCCNet::GetListApInApps1, 0x5, {4, 5, 6}},
               {"APs, any of one", &CNCCNet::GetListApInApps1, 0x40, {6}}};
  for (const auto& [what, select, mask, ids] : cases) {
    std::list<CNNEntry> list(2);
    EXPECT_EQ((net_.*select)(mask, list), static_cast<int>(ids.size())) << what;
    EXPECT_EQ(Ids(list), ids) << what;
  }
}

}  // namespace

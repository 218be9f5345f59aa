#include "support/network.h"

#include <cstring>

namespace {

using Servers = SampleTest;
using Numbers = std::vector<unsigned long>;

TEST_F(Servers, EntryAsAddServerWritesIt) {
  net_.Preferences()->node_settings = 0x5A;
  ASSERT_EQ(net_.AddServer("S", 0x80000001, 0xFFFF), 7U);
  std::string image("S", 1);
  image.resize(52, '\0');
  image += std::string("\x07\0\0\0\x01\x04\0\0\0\x01\0\0\x80\x01", 14);
  image += std::string("\0\0\0\0\0\0\0\0\x5A\xFF\xFF", 11);
  EXPECT_EQ(Image(net_, 7), image);
}

TEST_F(Servers, TakenNamesAreRefusedAndMoveNoCounter) {
  const std::string before = Describe(net_);
  for (const char* taken : {"A", "a"}) {
    EXPECT_EQ(net_.AddServer(taken, 0, 0), 0U);
    EXPECT_TRUE(net_.CheckServerName(taken));
    EXPECT_FALSE(net_.ModifyServer("B", taken));
    EXPECT_FALSE(net_.ModifyServer(1, taken)) << "its own name is taken as well";
  }
  EXPECT_FALSE(net_.ModifyServer("missing", "x"));
  EXPECT_FALSE(net_.ModifyServer(4, "x")) << "an AP is no server";
  EXPECT_FALSE(net_.CheckServerName("a1"));
  EXPECT_EQ(Describe(net_), before);
  EXPECT_NE(net_.AddServer("a1", 0, 0), 0U) << "an AP's name is free for servers";
}

TEST_F(Servers, OnlyAsciiLettersFold) {
  const char* upper = "\xC0[";  // capital and small letter of code page 1251; '[' is no letter
  EXPECT_NE(net_.AddServer(upper, 0, 0), 0U);
  EXPECT_FALSE(net_.CheckServerName("\xE0["));
  EXPECT_FALSE(net_.CheckServerName("\xC0{"));
  EXPECT_NE(net_.AddServer("\xE0[", 0, 0), 0U);
  EXPECT_EQ(net_.GetServer(upper), 7U);
}

TEST_F(Servers, NumbersAndIdentifiersAreNeverGivenAgain) {
  EXPECT_TRUE(net_.DeleteServer("C"));
  EXPECT_EQ(net_.AddServer("C", 0, 0), 7U);
  EXPECT_EQ(Entry(net_, 7).number, 4U);
  EXPECT_TRUE(net_.DeleteServer(7));
  Reopen();
  EXPECT_EQ(net_.AddServer("D", 0, 0), 8U);
  EXPECT_EQ(Entry(net_, 8).number, 5U);
  EXPECT_EQ(ServerIds(net_), (Numbers{1, 2, 8}));
}

TEST_F(Servers, TheOrderIsThatOfAddingNotOfIdentifiers) {
  net_.Preferences()->next_id = 100;
  ASSERT_EQ(net_.AddServer("late", 0, 0), 100U);
  net_.Preferences()->next_id = 50;
  ASSERT_EQ(net_.AddServer("later", 0, 0), 50U);
  ASSERT_EQ(net_.AddAP("later", "twin", 0x80), 51U);
  ASSERT_EQ(net_.AddAP("late", "twin", 0x80), 52U);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ServerIds(net_), (Numbers{1, 2, 3, 100, 50}));
    EXPECT_EQ(net_.GetAP("twin"), 52U);
    EXPECT_EQ(net_.GetAP(0x80UL), 52U);
    Reopen();
  }
}

TEST_F(Servers, LinksAreSymmetricOrderedAndSingle) {
  EXPECT_EQ(LinkIds(net_, 1), (Numbers{2, 3}));
  EXPECT_EQ(LinkIds(net_, 2), (Numbers{1}));
  EXPECT_TRUE(net_.LinkSrvToSrv("B", "A"));
  EXPECT_EQ(LinkIds(net_, 1), (Numbers{2, 3}));
  EXPECT_TRUE(net_.DeleteLink("b", "a"));
  EXPECT_TRUE(net_.DeleteLink("B", "A")) << "not linked any more";
  EXPECT_EQ(LinkIds(net_, 1), (Numbers{3}));
  EXPECT_EQ(LinkIds(net_, 2), Numbers{});
  EXPECT_TRUE(net_.LinkSrvToSrv(2, 1));
  EXPECT_EQ(LinkIds(net_, 1), (Numbers{3, 2}));

  const std::string before = Describe(net_);
  EXPECT_FALSE(net_.LinkSrvToSrv("A", "a"));
  EXPECT_FALSE(net_.LinkSrvToSrv(1, 1));
  EXPECT_FALSE(net_.LinkSrvToSrv("A", "a1"));
  EXPECT_FALSE(net_.LinkSrvToSrv(1, 4));
  EXPECT_FALSE(net_.LinkSrvToSrv(77, 1));
  EXPECT_FALSE(net_.DeleteLink("missing", "A"));
  EXPECT_FALSE(net_.DeleteLink(1, 77));
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Servers, DeletingAServerTakesItsApsAndLinksAlong) {
  EXPECT_FALSE(net_.DeleteServer("missing"));
  EXPECT_FALSE(net_.DeleteServer(4)) << "an AP is no server";
  EXPECT_TRUE(net_.DeleteServer("a"));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ServerIds(net_), (Numbers{2, 3}));
    EXPECT_EQ(LinkIds(net_, 2), Numbers{});
    EXPECT_EQ(LinkIds(net_, 3), Numbers{});
    for (const unsigned long gone : {1UL, 4UL, 5UL}) EXPECT_EQ(net_.GetType(gone), kTypeNone);
    EXPECT_FALSE(net_.CheckAPName("a1"));
    EXPECT_EQ(net_.GetAP("a2"), 0U);
    EXPECT_EQ(net_.GetType(6), kTypeAP);
    Reopen();
  }
}

TEST_F(Servers, RenamingKeepsPlaceLinksAndTheBytesBehindTheName) {
  ASSERT_TRUE(net_.ModifyServer("B", "longer name"));
  ASSERT_TRUE(net_.ModifyServer("LONGER NAME", "Z"));
  EXPECT_EQ(Image(net_, 2).substr(0, 13), std::string("Z\0nger name\0\0", 13));
  EXPECT_EQ(ServerIds(net_), (Numbers{1, 2, 3}));
  EXPECT_EQ(LinkIds(net_, 2), (Numbers{1}));
  EXPECT_EQ(ApIds(net_, 2), (Numbers{6}));
  EXPECT_EQ(net_.GetServer("z"), 2U);
  EXPECT_EQ(net_.GetServer("B"), 0U);
  EXPECT_NE(net_.AddServer("B", 0, 0), 0U) << "the old name is free again";
}

TEST_F(Servers, LookUpsLeaveTheResultOfAMissAlone) {
  TDBObjId id{1, 2};
  CNNEntry entry;
  EXPECT_FALSE(net_.GetServer("a1", id));
  EXPECT_FALSE(net_.GetServer(4, id));
  EXPECT_FALSE(net_.GetServer(0UL, id));
  EXPECT_EQ(id, (TDBObjId{1, 2}));
  EXPECT_FALSE(net_.GetServerInfo("missing", entry));
  EXPECT_FALSE(net_.GetServerInfo(4, entry));
  EXPECT_EQ(entry.type, kTypeNone);
  EXPECT_TRUE(net_.GetServer("b", id));
  EXPECT_EQ(id, (TDBObjId{200, 2}));
  EXPECT_TRUE(net_.GetServerInfo(id, entry));
  EXPECT_STREQ(entry.name, "B");
  EXPECT_EQ(entry.value, 20U);

  std::list<CNNEntry> filled(3);
  EXPECT_EQ(net_.GetListLinkedSrv("missing", filled), 0U);
  EXPECT_TRUE(filled.empty());
  filled.resize(3);
  EXPECT_EQ(net_.GetListServer(filled), 3U);
  EXPECT_EQ(Ids(filled), (Numbers{1, 2, 3}));
}

// Names of 51 bytes are whole; longer ones and null pointers change nothing, wherever they stand.
TEST_F(Servers, NamesAreAtMostFiftyOneBytes) {
  const std::string longest(51, 'n');
  const std::string too_long(52, 'n');
  const unsigned long server = net_.AddServer(longest.c_str(), 0, 0);
  const unsigned long ap = net_.AddAP(server, longest.c_str(), 0);
  ASSERT_TRUE(net_.ModifyServer("C", std::string(51, 'c').c_str()));
  EXPECT_EQ(Entry(net_, server).name, longest);
  EXPECT_EQ(net_.GetServer(longest.c_str()), server);
  EXPECT_EQ(net_.GetAP(longest.c_str()), ap);
  Reopen();
  EXPECT_EQ(net_.GetAP(longest.c_str(), longest.c_str()), ap);

  const std::string before = Describe(net_);
  const auto revision = net_.GetRevision();
  for (const char* bad : {too_long.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(net_.AddServer(bad, 0, 0), 0U);
    EXPECT_STRNE(net_.LastError(), "");
    EXPECT_EQ(net_.AddAP(1, bad, 0), 0U);
    EXPECT_EQ(net_.AddAP(bad, "x", 0), 0U);
    EXPECT_FALSE(net_.ModifyServer(1, bad));
    EXPECT_FALSE(net_.ModifyServer(bad, "x"));
    EXPECT_FALSE(net_.ModifyAP(4, bad));
    EXPECT_FALSE(net_.ModifyAP(bad, "x"));
    EXPECT_FALSE(net_.ChangeSrv(4, 77) || net_.ChangeSrv("a1", bad) || net_.ChangeSrv(bad, 2));
    EXPECT_FALSE(net_.DeleteServer(bad) || net_.DeleteAP(1, bad) || net_.DeleteAP(bad, "a1"));
    EXPECT_FALSE(net_.LinkSrvToSrv(bad, "A") || net_.DeleteLink("A", bad));
    EXPECT_FALSE(net_.CheckServerName(bad) || net_.CheckAPName(bad));
    EXPECT_EQ(net_.GetServer(bad), 0U);
    EXPECT_EQ(net_.GetAP(bad), 0U);
    EXPECT_EQ(net_.GetAP("A", bad), 0U);
  }
  EXPECT_EQ(Describe(net_), before);
  EXPECT_EQ(net_.GetRevision(), revision);
}

}  // namespace

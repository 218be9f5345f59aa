#include "support/network.h"

namespace {

using Aps = SampleTest;
using Numbers = std::vector<unsigned long>;

TEST_F(Aps, EntryAsAddApWritesIt) {
  net_.Preferences()->node_settings = 0x5A;
  ASSERT_EQ(net_.AddAP("a", "p", 0x80000044), 7U);
  std::string image("p", 1);
  image.resize(52, '\0');
  image += std::string("\x07\0\0\0\x02\x03\0\0\0\x44\0\0\x80\0", 14);
  image += std::string("\0\0\0\0\x01\0\0\0\x5A\0\0", 11);
  EXPECT_EQ(Image(net_, 7), image);
  EXPECT_EQ(Entry(net_, 1).ap_count, 3U);
}

TEST_F(Aps, OrdinalsComeFromTheCounterAndCanRepeat) {
  EXPECT_TRUE(net_.DeleteAP("A", "a1"));
  EXPECT_EQ(net_.AddAP("A", "a3", 0), 7U);
  EXPECT_EQ(Entry(net_, 5).number, 2U);
  EXPECT_EQ(Entry(net_, 7).number, 2U);
  EXPECT_EQ(Entry(net_, 1).ap_count, 2U);
  EXPECT_TRUE(net_.ChangeSrv("a3", "B"));
  EXPECT_EQ(Entry(net_, 7).number, 2U) << "moving keeps the ordinal";
  EXPECT_EQ(net_.AddAP("B", "b3", 0), 8U);
  EXPECT_EQ(Entry(net_, 8).number, 3U);
}

TEST_F(Aps, AddingUnderAnUnknownServerMovesNoCounter) {
  const std::string before = Describe(net_);
  TDBObjId nowhere{200, 77};
  TDBObjId ap{200, 4};
  TDBObjId record{100, 1};
  EXPECT_EQ(net_.AddAP("a1", "x", 0), 0U);
  EXPECT_EQ(net_.AddAP(77, "x", 0), 0U);
  EXPECT_EQ(net_.AddAP(4, "x", 0), 0U) << "an AP is no server";
  EXPECT_EQ(net_.AddAP(0x100000001, "x", 0), 0U);
  for (TDBObjId* id : {&nowhere, &ap, &record}) EXPECT_EQ(net_.AddAP(*id, "x", 0), 0U);
  EXPECT_EQ(Describe(net_), before);
  TDBObjId server{200, 2};
  EXPECT_EQ(net_.AddAP(server, "", 0), 7U) << "only the length of a name is looked at";
}

TEST_F(Aps, DuplicateNamesAreFoundInRootOrder) {
  ASSERT_EQ(net_.AddAP("C", "Same", 0), 7U);
  ASSERT_EQ(net_.AddAP("B", "same", 0), 8U);
  ASSERT_EQ(net_.AddAP("B", "SAME", 0), 9U);
  TDBObjId id;
  EXPECT_EQ(net_.GetAP("same"), 8U);
  EXPECT_TRUE(net_.GetAP("SAME", id));
  EXPECT_EQ(id, (TDBObjId{200, 8}));
  EXPECT_EQ(net_.GetAP("c", "sAME"), 7U);
  EXPECT_EQ(net_.GetAP("A", "same"), 0U);
  EXPECT_TRUE(net_.ModifyAP("same", "other")) << "the first of them";
  EXPECT_EQ(net_.GetAP("same"), 9U);
  EXPECT_TRUE(net_.ChangeSrv("same", "A"));
  EXPECT_EQ(Entry(net_, 9).server_id, 1U);
  EXPECT_TRUE(net_.ChangeSrv(8, 3));
  EXPECT_TRUE(net_.ModifyAP(9, "third") && net_.ModifyAP(8, "SAmE") == false);
  EXPECT_TRUE(net_.DeleteAP("C", "same"));
  EXPECT_EQ(net_.GetAP("same"), 0U);
}

TEST_F(Aps, RenamingRefusesEveryTakenNameItsOwnIncluded) {
  const std::string before = Describe(net_);
  for (const char* taken : {"a1", "A1", "b1"}) EXPECT_FALSE(net_.ModifyAP("a1", taken)) << taken;
  EXPECT_FALSE(net_.ModifyAP(4, "a1"));
  EXPECT_FALSE(net_.ModifyAP("missing", "x"));
  EXPECT_FALSE(net_.ModifyAP(1, "x")) << "a server is no AP here";
  EXPECT_EQ(Describe(net_), before);
  EXPECT_TRUE(net_.CheckAPName("B1"));
  EXPECT_FALSE(net_.CheckAPName("A")) << "only a server has this name";
  EXPECT_TRUE(net_.ModifyAP("A1", "A")) << "a server's name is free for APs";
  EXPECT_EQ(net_.GetAP("a"), 4U);
  EXPECT_EQ(net_.GetAP("a1"), 0U);
  EXPECT_EQ(ApIds(net_, 1), (Numbers{4, 5}));
}

TEST_F(Aps, MovingGoesToTheEndAlsoOfTheSameServer) {
  EXPECT_TRUE(net_.ChangeSrv("a1", 1));
  EXPECT_EQ(ApIds(net_, 1), (Numbers{5, 4}));
  EXPECT_EQ(Entry(net_, 1).ap_count, 2U);
  EXPECT_TRUE(net_.ChangeSrv("A2", "b"));
  EXPECT_EQ(ApIds(net_, 1), (Numbers{4}));
  EXPECT_EQ(ApIds(net_, 2), (Numbers{6, 5}));
  EXPECT_EQ(Entry(net_, 1).ap_count, 1U);
  EXPECT_EQ(Entry(net_, 2).ap_count, 2U);
  EXPECT_EQ(Entry(net_, 5).server_id, 2U);
  EXPECT_EQ(net_.GetAPServerID(5), 2U);

  const std::string before = Describe(net_);
  EXPECT_FALSE(net_.ChangeSrv("missing", 1));
  EXPECT_FALSE(net_.ChangeSrv("a1", 77));
  EXPECT_FALSE(net_.ChangeSrv("a1", "missing"));
  EXPECT_FALSE(net_.ChangeSrv(4, 5)) << "an AP is no server";
  EXPECT_FALSE(net_.ChangeSrv(2, 1)) << "a server is no AP";
  EXPECT_FALSE(net_.ChangeSrv(0x100000004, 2));
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Aps, DeletingLooksOnlyUnderTheNamedServer) {
  EXPECT_FALSE(net_.DeleteAP("B", "a1"));
  EXPECT_FALSE(net_.DeleteAP("missing", "a1"));
  EXPECT_FALSE(net_.DeleteAP(4, "a1"));
  EXPECT_EQ(net_.AddAP("A", "A1", 0), 7U);
  TDBObjId server{200, 1};
  EXPECT_TRUE(net_.DeleteAP(server, "a1")) << "the first of two";
  EXPECT_EQ(net_.GetType(4), kTypeNone);
  EXPECT_EQ(net_.GetAP("a1"), 7U);
  EXPECT_EQ(ApIds(net_, 1), (Numbers{5, 7}));
  EXPECT_EQ(Entry(net_, 1).ap_count, 2U);
}

TEST_F(Aps, LookUpsByIdentifierFindServersToo) {
  TDBObjId id{1, 2};
  CNNEntry entry;
  EXPECT_FALSE(net_.GetAP(77, id));
  EXPECT_FALSE(net_.GetNN(0UL, id));
  EXPECT_FALSE(net_.GetAP(0x100000004, id));
  EXPECT_FALSE(net_.GetAP(0xFFFFFFFFUL, id)) << "the root folder is no node";
  EXPECT_FALSE(net_.GetNN(0xFFFFFFFEUL, id)) << "the network folder is no node";
  EXPECT_FALSE(net_.GetAP("A", id));
  EXPECT_FALSE(net_.GetAP(2, 4, id)) << "under another server";
  EXPECT_FALSE(net_.GetAP(1, 1, id));
  EXPECT_FALSE(net_.GetAP("B", "a1", id));
  EXPECT_EQ(id, (TDBObjId{1, 2}));
  EXPECT_TRUE(net_.GetAP(1, 5, id));
  EXPECT_EQ(id, (TDBObjId{200, 5}));
  EXPECT_TRUE(net_.GetAP(3, id));
  EXPECT_EQ(id, (TDBObjId{200, 3}));
  EXPECT_TRUE(net_.GetNN(6, id));
  EXPECT_EQ(id, (TDBObjId{200, 6}));
  EXPECT_TRUE(net_.GetAPInfo(3, entry));
  EXPECT_EQ(entry.type, kTypeServer);
  EXPECT_TRUE(net_.GetAPInfo("B1", entry));
  EXPECT_EQ(entry.id, 6U);
  EXPECT_FALSE(net_.GetAPInfo("B", entry));
  EXPECT_FALSE(net_.GetNNInfo(77, entry));
  EXPECT_EQ(entry.id, 6U) << "a miss leaves the entry alone";
  EXPECT_EQ(net_.GetAPServerID(1), 0U);
  EXPECT_EQ(net_.GetAPServerID(77), 0U);
}

TEST_F(Aps, ListsAreEmptiedAndOrdered) {
  ASSERT_TRUE(net_.ChangeSrv(6, 1) && net_.ChangeSrv(4, 3));
  ASSERT_EQ(net_.AddAP("B", "b2", 0), 7U);
  std::list<CNNEntry> list(5);
  EXPECT_EQ(net_.GetListAP("A", list), 2U);
  EXPECT_EQ(Ids(list), (Numbers{5, 6}));
  EXPECT_EQ(net_.GetListAP(list), 4U);
  EXPECT_EQ(Ids(list), (Numbers{4, 5, 6, 7})) << "ascending, whatever their servers";
  EXPECT_EQ(net_.GetListAP("missing", list), 0U);
  EXPECT_TRUE(list.empty());
  list.resize(2);
  EXPECT_EQ(net_.GetListAP(4, list), 0U) << "an AP is no server";
  EXPECT_TRUE(list.empty());
}

}  // namespace

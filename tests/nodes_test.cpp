// What the random operations do not reach of servers and APs (images, names, order, misses), and
// their addresses, types and applications.
#include "support/memory_net.h"
#include "support/network.h"

#include <algorithm>
#include <cstring>

namespace {

using Nodes = SampleTest;
using Numbers = std::vector<unsigned long>;

TEST_F(Nodes, EntryAsAddServerWritesIt) {
  net_.Preferences()->node_settings = 0x5A;
  ASSERT_EQ(net_.AddServer("S", 0x80000001, 0xFFFF), 7U);
  std::string image("S", 1);
  image.resize(52, '\0');
  image += std::string("\x07\0\0\0\x01\x04\0\0\0\x01\0\0\x80\x01", 14);
  image += std::string("\0\0\0\0\0\0\0\0\x5A\xFF\xFF", 11);
  EXPECT_EQ(Image(net_, 7), image);
}

TEST_F(Nodes, OnlyAsciiLettersFold) {
  const char* upper = "\xC0[";  // capital and small letter of code page 1251; '[' is no letter
  EXPECT_NE(net_.AddServer(upper, 0, 0), 0U);
  EXPECT_FALSE(net_.CheckServerName("\xE0["));
  EXPECT_FALSE(net_.CheckServerName("\xC0{"));
  EXPECT_NE(net_.AddServer("\xE0[", 0, 0), 0U);
  EXPECT_EQ(net_.GetServer(upper), 7U);
}

TEST_F(Nodes, TheOrderIsThatOfAddingNotOfIdentifiers) {
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

TEST_F(Nodes, LookUpsLeaveTheResultOfAMissAlone) {
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

// A caller that speaks UTF-8 makes the same database as one that speaks code page 1251, finds the
// same in it, and is understood or refused.
TEST(Names, InUtf8) {
  using Call = std::function<unsigned long(CNCCNet&, const char* one, const char* two)>;
  const std::vector<Call> calls = {
      [](auto& net, auto one, auto) { return net.AddServer(one, 4, 0); },
      [](auto& net, auto one, auto two) { return net.ModifyServer(one, two); },
      [](auto& net, auto, auto two) { return net.GetServer(two); },
      [](auto& net, auto one, auto two) { return net.AddAP(two, one, 0); },
      [](auto& net, auto one, auto two) { return net.GetAP(two, one) + net.GetAP(one); },
      [](auto& net, auto one, auto two) { return net.ModifyAP(one, two); },
      [](auto& net, auto one, auto two) { return net.LinkABToDep(one, two, false); },
      [](auto& net, auto, auto two) { return net.CreateDep(two); },
      [](auto& net, auto one, auto two) { return net.LinkDepToDep(one, two); },
      [](auto& net, auto one, auto two) { return net.ModifyAB(two, one); },
      [](auto& net, auto one, auto) { return net.CreateNGrp(one); },
      [](auto& net, auto one, auto) { return net.CheckNGrpName(one); }};
  MemoryNet utf8_net, bytes_net;
  CNCCNet& utf8 = utf8_net.Net();
  CNCCNet& bytes = bytes_net.Net();
  ASSERT_TRUE(utf8_net.Create() && bytes_net.Create() &&
              utf8.SetTextEncoding(CTextEncoding::kUtf8));
  for (const Call& call : calls) {
    const unsigned long result = call(utf8, "Новый №1", "Ёлка");
    EXPECT_NE(result, 0U) << &call - calls.data() << ": " << utf8.LastError();
    EXPECT_EQ(result, call(bytes, "\xCD\xEE\xE2\xFB\xE9 \xB9\x31", "\xA8\xEB\xEA\xE0"));
  }
  CDepEntry dep;
  ASSERT_TRUE(utf8.GetDepInfo("Ёлка", dep));
  EXPECT_EQ(Utf8NameOf(dep), "Ёлка");
  EXPECT_EQ(utf8.AddServer("Ёлка", 0, 0), 0U);
  EXPECT_STREQ(utf8.LastError(), "the name \"Ёлка\" is taken by another server or this one");
  CExchangeReport report;
  EXPECT_FALSE(WriteExchangeSet(utf8, "set", {1, 2, "\xA8"}, report));
  EXPECT_NE(report.refused.front().find("UTF-8"), std::string::npos);
  EXPECT_FALSE(WriteExchangeSet(utf8, "set", {1, 2, "Ёлка"}, report));
  EXPECT_EQ(report.refused.front(), "node group \"Новый №1\" (0006): the name holds a blank");

  const std::uint64_t revision = utf8.GetRevision();
  for (const char* name : {"Ω", "\xA8\xEB", "\xE0\x90\x90", "\xC0\x80", "\xED\xA0\x80", "\xD0"}) {
    EXPECT_EQ(utf8.CreateAB(name), 0U);
    EXPECT_EQ(utf8.GetServer(name), 0U);
    EXPECT_NE(std::string(utf8.LastError()).find("code page 1251"), std::string::npos);
  }
  EXPECT_EQ(utf8.GetRevision(), revision);
  for (int byte = 0; byte < 256; ++byte) {
    const std::string name(1, static_cast<char>(byte));
    EXPECT_EQ(Cp1251FromUtf8(Utf8FromCp1251(name)), name);
  }
  EXPECT_EQ(Utf8FromCp1251("\x88\x98\xBF"), "€\xC2\x98ї");
  ASSERT_TRUE(utf8.SetTextEncoding(CTextEncoding::kCp1251));
  EXPECT_EQ(Describe(utf8), Describe(bytes));
}

// Names of 51 bytes are whole; longer ones and null pointers change nothing, wherever they stand.
TEST_F(Nodes, NamesAreAtMostFiftyOneBytes) {
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

TEST_F(Nodes, EntryAsAddApWritesIt) {
  net_.Preferences()->node_settings = 0x5A;
  ASSERT_EQ(net_.AddAP("a", "p", 0x80000044), 7U);
  std::string image("p", 1);
  image.resize(52, '\0');
  image += std::string("\x07\0\0\0\x02\x03\0\0\0\x44\0\0\x80\0", 14);
  image += std::string("\0\0\0\0\x01\0\0\0\x5A\0\0", 11);
  EXPECT_EQ(Image(net_, 7), image);
  EXPECT_EQ(Entry(net_, 1).ap_count, 3U);
}

TEST_F(Nodes, AddingUnderAnUnknownServerMovesNoCounter) {
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

TEST_F(Nodes, DuplicateNamesAreFoundInRootOrder) {
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

TEST_F(Nodes, LookUpsByIdentifierFindServersToo) {
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

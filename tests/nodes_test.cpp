// What the random operations do not reach of the network's objects: misses, order, roles,
// addresses, the table of applications, and what takes no lock.
#include "support/memory_net.h"
#include "support/network.h"
#include "support/no_memory.h"

#include <algorithm>
#include <future>
#include <thread>

namespace {

using Nodes = SampleTest;
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

TEST_F(Nodes, AMissLeavesTheResultAlone) {
  TDBObjId id{1, 2};
  CNNEntry entry;
  EXPECT_FALSE(net_.GetServer("a1", id) || net_.GetServer(4, id) || net_.GetServer(0UL, id));
  EXPECT_FALSE(net_.GetServerInfo("missing", entry) || net_.GetServerInfo(4, entry));
  EXPECT_FALSE(net_.GetAP(77, id) || net_.GetNN(0UL, id) || net_.GetAP(0x100000004, id));
  EXPECT_FALSE(net_.GetAP(0xFFFFFFFFUL, id)) << "the root folder is no node";
  EXPECT_FALSE(net_.GetNN(0xFFFFFFFEUL, id)) << "the network folder is no node";
  EXPECT_FALSE(net_.GetAP("A", id) || net_.GetAP(1, 1, id) || net_.GetAP("B", "a1", id));
  EXPECT_FALSE(net_.GetAP(2, 4, id)) << "under another server";
  EXPECT_FALSE(net_.GetServer(nullptr, id) || net_.GetAP(nullptr, id) || net_.GetAB(nullptr, id));
  EXPECT_FALSE(net_.CheckServerName(nullptr) || net_.CheckAPName(nullptr));
  EXPECT_FALSE(net_.CheckABName(nullptr) || net_.CheckDepName(nullptr));
  EXPECT_FALSE(net_.GetAPInfo("B", entry) || net_.GetNNInfo(77, entry));
  EXPECT_EQ(id, (TDBObjId{1, 2}));
  EXPECT_EQ(entry.type, kTypeNone);
  EXPECT_TRUE(net_.GetAPInfo(3, entry)) << "by identifier a server is found as well";
  EXPECT_EQ(entry.type, kTypeServer);
  EXPECT_EQ(net_.GetAPServerID(1) + net_.GetAPServerID(77) + net_.GetAP("A", nullptr), 0U);

  std::list<CNNEntry> filled(3);
  EXPECT_EQ(net_.GetListLinkedSrv("missing", filled), 0U);
  EXPECT_TRUE(filled.empty());
  std::list<CDepEntry> by_value(5);
  EXPECT_EQ(net_.GetListDep(7, by_value), 5U) << "the size of its copy";
  EXPECT_EQ(by_value.size(), 5U);
  TDBObjId nowhere{200, 77}, ap{200, 4}, record{100, 1};
  for (TDBObjId* wrong : {&nowhere, &ap, &record}) EXPECT_EQ(net_.AddAP(*wrong, "x", 0), 0U);
  TDBObjId server{200, 2};
  EXPECT_EQ(net_.AddAP(server, "", 0), 7U) << "only the length of a name is looked at";
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

TEST_F(Nodes, AnIdentifierInUseFailsTheWholeOperation) {
  const std::string before = Describe(net_);
  const CNetPref kept = *net_.Preferences();
  const auto revision = net_.GetRevision();
  for (const std::uint32_t taken : {0U, 5U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    net_.Preferences()->next_id = taken;
    EXPECT_TRUE(IsRefused(net_, net_.AddAP("B", "x", 0) + net_.AddServer("x", 0, 0))) << taken;
    EXPECT_EQ(net_.Preferences()->next_id, taken);
    *net_.Preferences() = kept;
  }
  EXPECT_EQ(Describe(net_), before);
  EXPECT_EQ(net_.GetRevision(), revision);
}

TEST_F(Nodes, AListThatCannotBeFilledIsEmpty) {
  std::list<CNNEntry> list;
  unsigned long size = 0;
  for (long allowed = 0; size != 3; ++allowed) {
    AllowAllocations(allowed);
    size = net_.GetListServer(list);
    AllowAllocations(-1);
    EXPECT_EQ(list.size(), size) << allowed;
    EXPECT_TRUE(size == 3 || (size == 0 && CString(net_.LastError()) == "out of memory"));
  }
}

TEST_F(Nodes, LinkingAllDepsTakesNoLock) {
  ASSERT_TRUE(net_.CreateDep("Red") == 7 && net_.CreateDep("Green") == 8);
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
  EXPECT_EQ(LinkedDepIds(net_, 7), Numbers{8});
  EXPECT_EQ(ReleaseHeldLevels(net_), 0);
}

}  // namespace

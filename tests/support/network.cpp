#include "network.h"

#include <cstring>

namespace {

std::string Hex(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
  }
  return text;
}

template <class Result>
unsigned long Number(Result result) {
  return static_cast<unsigned long>(result);
}

std::string DescribeStored(CNCCNet& net, const CNNEntry& node) {
  const bool server = node.type == kTypeServer;
  return DescribeNode(Image(net, node.id), server ? net.GetServer(node.name) : net.GetAP(node.name),
                      net.GetType(node.id), net.GetAPServerID(node.id));
}

}  // namespace

std::string DescribePreferences(const CNetPref& preferences) {
  std::string bytes(sizeof preferences, '\0');
  std::memcpy(bytes.data(), &preferences, sizeof preferences);
  return "preferences " + Hex(bytes) + "\n";
}

std::string DescribeNode(const std::string& image, unsigned long found_by_name, unsigned long type,
                         unsigned long server) {
  return Hex(image) + " " + image.c_str() + " finds " + std::to_string(found_by_name) + ", type " +
         std::to_string(type) + ", of " + std::to_string(server) + "\n";
}

std::string DescribeList(const char* title, const std::vector<unsigned long>& ids) {
  std::string text = title;
  for (const unsigned long id : ids) text += " " + std::to_string(id);
  return text + "\n";
}

std::string Describe(CNCCNet& net) {
  std::string text = DescribePreferences(*net.Preferences());
  std::list<CNNEntry> servers;
  std::list<CNNEntry> aps;
  net.GetListServer(servers);
  for (const CNNEntry& server : servers) {
    text += DescribeStored(net, server) + DescribeList(" links", LinkIds(net, server.id));
    net.GetListAP(server.id, aps);
    for (const CNNEntry& ap : aps) text += " ap " + DescribeStored(net, ap);
  }
  net.GetListAP(aps);
  return text + DescribeList("all aps", Ids(aps));
}

void BuildSample(CNCCNet& net) {
  ASSERT_EQ(net.AddServer("A", 0, 10), 1U) << net.LastError();
  ASSERT_EQ(net.AddServer("B", 0x3, 20), 2U);
  ASSERT_EQ(net.AddServer("C", 0, 30), 3U);
  ASSERT_TRUE(net.LinkSrvToSrv("A", "B") && net.LinkSrvToSrv("A", "C"));
  ASSERT_EQ(net.AddAP("A", "a1", 0x1), 4U);
  ASSERT_EQ(net.AddAP("A", "a2", 0x4), 5U);
  ASSERT_EQ(net.AddAP("B", "b1", 0x44), 6U);
}

const std::vector<Operation>& SampleChanges() {
  static const std::vector<Operation> changes = {
      {"AddServer", [](CNCCNet& net) { return net.AddServer("D", 1, 2); }},
      {"DeleteServer", [](CNCCNet& net) { return Number(net.DeleteServer("A")); }},
      {"DeleteServer id", [](CNCCNet& net) { return Number(net.DeleteServer(2)); }},
      {"ModifyServer", [](CNCCNet& net) { return Number(net.ModifyServer("A", "other")); }},
      {"ModifyServer id", [](CNCCNet& net) { return Number(net.ModifyServer(2, "other")); }},
      {"LinkSrvToSrv", [](CNCCNet& net) { return Number(net.LinkSrvToSrv("B", "C")); }},
      {"LinkSrvToSrv id", [](CNCCNet& net) { return Number(net.LinkSrvToSrv(2, 3)); }},
      {"DeleteLink", [](CNCCNet& net) { return Number(net.DeleteLink("B", "A")); }},
      {"DeleteLink id", [](CNCCNet& net) { return Number(net.DeleteLink(3, 1)); }},
      {"AddAP", [](CNCCNet& net) { return net.AddAP("B", "b2", 0); }},
      {"AddAP id", [](CNCCNet& net) { return net.AddAP(2, "b2", 0); }},
      {"ModifyAP", [](CNCCNet& net) { return Number(net.ModifyAP("a1", "other")); }},
      {"ModifyAP id", [](CNCCNet& net) { return Number(net.ModifyAP(4, "other")); }},
      {"ChangeSrv", [](CNCCNet& net) { return Number(net.ChangeSrv("a1", "B")); }},
      {"ChangeSrv name, id", [](CNCCNet& net) { return Number(net.ChangeSrv("a1", 2)); }},
      {"ChangeSrv id", [](CNCCNet& net) { return Number(net.ChangeSrv(4, 2)); }},
      {"DeleteAP", [](CNCCNet& net) { return Number(net.DeleteAP("A", "a1")); }},
      {"DeleteAP id", [](CNCCNet& net) { return Number(net.DeleteAP(1, "a1")); }},
      {"RegAPP", [](CNCCNet& net) { return Number(net.RegAPP(4, 0x40, 9)); }},
      {"RegSrv", [](CNCCNet& net) { return Number(net.RegSrv(1, 0x40, 9)); }},
      {"batch",
       [](CNCCNet& net) {
         if (!net.BeginBatch()) return 0UL;
         net.AddServer("D", 1, 2);
         net.DeleteAP("A", "a2");
         return Number(net.EndBatch(true));
       }},
  };
  return changes;
}

const std::vector<Operation>& SampleQueries() {
  static TDBObjId id;
  static CNNEntry entry;
  static std::list<CNNEntry> list;
  static const std::vector<Operation> queries = {
      {"GetServer", [](CNCCNet& net) { return net.GetServer("A"); }},
      {"GetServer name", [](CNCCNet& net) { return Number(net.GetServer("A", id)); }},
      {"GetServer id", [](CNCCNet& net) { return Number(net.GetServer(1, id)); }},
      {"GetServerInfo", [](CNCCNet& net) { return Number(net.GetServerInfo("A", entry)); }},
      {"GetServerInfo id", [](CNCCNet& net) { return Number(net.GetServerInfo(1, entry)); }},
      {"GetServersCount", [](CNCCNet& net) { return net.GetServersCount(); }},
      {"GetListServer", [](CNCCNet& net) { return net.GetListServer(list); }},
      {"GetListLinkedSrv", [](CNCCNet& net) { return net.GetListLinkedSrv("A", list); }},
      {"GetListLinkedSrv id", [](CNCCNet& net) { return net.GetListLinkedSrv(1, list); }},
      {"CheckServerName", [](CNCCNet& net) { return Number(net.CheckServerName("A")); }},
      {"GetAP", [](CNCCNet& net) { return net.GetAP("a1"); }},
      {"GetAP of server", [](CNCCNet& net) { return net.GetAP("A", "a1"); }},
      {"GetAP mask", [](CNCCNet& net) { return net.GetAP(0UL); }},
      {"GetAP name, folder", [](CNCCNet& net) { return Number(net.GetAP("a1", id)); }},
      {"GetAP id, folder", [](CNCCNet& net) { return Number(net.GetAP(4, id)); }},
      {"GetAP ids, folder", [](CNCCNet& net) { return Number(net.GetAP(1, 4, id)); }},
      {"GetAP names, folder", [](CNCCNet& net) { return Number(net.GetAP("A", "a1", id)); }},
      {"GetAPInfo", [](CNCCNet& net) { return Number(net.GetAPInfo("a1", entry)); }},
      {"GetAPInfo id", [](CNCCNet& net) { return Number(net.GetAPInfo(4, entry)); }},
      {"GetAPServerID", [](CNCCNet& net) { return net.GetAPServerID(4); }},
      {"GetListAP", [](CNCCNet& net) { return net.GetListAP("A", list); }},
      {"GetListAP id", [](CNCCNet& net) { return net.GetListAP(1, list); }},
      {"GetListAP all", [](CNCCNet& net) { return net.GetListAP(list); }},
      {"CheckAPName", [](CNCCNet& net) { return Number(net.CheckAPName("a1")); }},
      {"GetNN", [](CNCCNet& net) { return Number(net.GetNN(4, id)); }},
      {"GetNNInfo", [](CNCCNet& net) { return Number(net.GetNNInfo(4, entry)); }},
      {"GetNCC", [](CNCCNet& net) { return net.GetNCC(); }},
      {"GetKC", [](CNCCNet& net) { return net.GetKC(); }},
      {"GetType", [](CNCCNet& net) { return Number(net.GetType(1)); }, kTypeNone},
      {"GetAPP", [](CNCCNet& net) { return net.GetAPP(4); }, 0xFFFFFFFF},
      {"GetListSrvInApps", [](CNCCNet& net) { return Number(net.GetListSrvInApps(0, list)); }},
      {"GetListSrvInApps1", [](CNCCNet& net) { return Number(net.GetListSrvInApps1(1, list)); }},
      {"GetListApInApps", [](CNCCNet& net) { return Number(net.GetListApInApps(0, list)); }},
      {"GetListApInApps1", [](CNCCNet& net) { return Number(net.GetListApInApps1(1, list)); }},
  };
  return queries;
}

void ExpectEverythingRefused(CNCCNet& net, const std::string& when) {
  for (const auto* table : {&SampleChanges(), &SampleQueries()}) {
    for (const Operation& operation : *table) {
      EXPECT_EQ(operation.run(net), operation.refused) << when << ": " << operation.name;
      EXPECT_STRNE(net.LastError(), "") << when << ": " << operation.name;
    }
  }
  std::list<std::string> names;
  EXPECT_EQ(net.GetAPP(1, names), 0xFFFFFFFF) << when;
  EXPECT_EQ(names.size(), 17U) << when;
  std::list<CNNEntry> filled(3);
  EXPECT_EQ(net.GetListServer(filled), 0U) << when;
  EXPECT_TRUE(filled.empty()) << when;
  EXPECT_FALSE(net.EndBatch()) << when;
  net.SaveNetInfo();
  EXPECT_STRNE(net.LastError(), "") << when;
}

std::vector<unsigned long> ServerIds(CNCCNet& net) {
  std::list<CNNEntry> list;
  const unsigned long size = net.GetListServer(list);
  EXPECT_EQ(size, list.size());
  return Ids(list);
}

std::vector<unsigned long> ApIds(CNCCNet& net, unsigned long server) {
  std::list<CNNEntry> list;
  const unsigned long size = net.GetListAP(server, list);
  EXPECT_EQ(size, list.size());
  return Ids(list);
}

std::vector<unsigned long> LinkIds(CNCCNet& net, unsigned long server) {
  std::list<CNNEntry> list;
  const unsigned long size = net.GetListLinkedSrv(server, list);
  EXPECT_EQ(size, list.size());
  return Ids(list);
}

std::string Image(CNCCNet& net, unsigned long id) {
  CNNEntry entry;
  if (!net.GetNNInfo(id, entry)) return {};
  std::string bytes(sizeof entry, '\0');
  std::memcpy(bytes.data(), static_cast<const void*>(&entry), sizeof entry);
  return bytes;
}

CNNEntry Entry(CNCCNet& net, unsigned long id) {
  CNNEntry entry;
  EXPECT_TRUE(net.GetNNInfo(id, entry)) << "no node " << id;
  return entry;
}

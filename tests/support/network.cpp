#include "network.h"

#include "net_access.h"

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

template <class Entry>
std::string Bytes(const Entry& entry) {
  return {reinterpret_cast<const char*>(&entry), sizeof entry};
}

// A line for a user, a Dep or a node group.
template <class Entry>
std::string DescribeEntry(CNCCNet& net, const Entry& entry,
                          bool (CNCCNet::*find)(const char*, TDBObjId&)) {
  TDBObjId found;
  (net.*find)(entry.name, found);
  return DescribeNode(Bytes(entry), found.number, net.GetType(entry.id), 0);
}

std::string DescribeUsers(CNCCNet& net) {
  std::string text;
  std::list<CABEntry> users;
  net.GetListAB(users);
  for (const CABEntry& user : users) {
    text += DescribeEntry(net, user, &CNCCNet::GetAB);
    text += DescribeList(" memberships", Memberships(net, user.id));
    text += DescribeList(" possible", PossibleMemberships(net, user.id));
  }
  return text;
}

std::string DescribeDeps(CNCCNet& net) {
  std::string text;
  std::list<CDepEntry> deps;
  net.GetListDep(deps);
  for (const CDepEntry& dep : deps) {
    text += DescribeEntry(net, dep, &CNCCNet::GetDep);
    text += DescribeList(" users", UserIds(net, dep.id));
    text += DescribeList(" Deps", LinkedDepIds(net, dep.id));
    text += DescribeList(" groups", GroupsOfDep(net, dep.id)) + Items(net, dep.id);
  }
  return text;
}

std::string DescribeGroups(CNCCNet& net) {
  std::string text;
  std::list<CNGrpEntry> groups;
  net.GetListNGrp(groups);
  for (const CNGrpEntry& group : groups) {
    text += DescribeEntry(net, group, &CNCCNet::GetNGrp);
    text += DescribeList(" nodes", NodesOfGroup(net, group.id));
    text += DescribeList(" Deps", DepsOfGroup(net, group.id));
  }
  return text;
}

std::string DescribeLoose(CNCCNet& net) {
  std::list<CABEntry> users[3];
  std::list<CNNEntry> servers[3], aps[2], all_aps;
  std::list<CNGrpEntry> groups[2];
  std::list<CDepEntry> deps[2], free_deps;
  net.CheckAnomaliesAB(&users[0], &users[1], &users[2]);
  net.CheckAnomaliesSrv(&servers[0], &servers[1], &servers[2]);
  net.ChechAnomaliesAP(&aps[0], &aps[1]);
  net.CheckAnomaliesNGrp(&groups[0], &groups[1]);
  net.CheckAnomaliesDep(&deps[0], &deps[1]);
  net.GetListAP(all_aps);
  net.GetListDepFree(free_deps);
  std::string text = DescribeList("loose", Ids(all_aps));
  const auto append = [&](const auto& lists) {
    for (const auto& list : lists) text += DescribeList("loose", Ids(list));
  };
  append(users);
  append(servers);
  append(aps);
  append(groups);
  append(deps);
  return text + DescribeList("loose", Ids(free_deps));
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

std::string DescribeItem(std::uint8_t kind, const TDBObjId& object, const std::string& name) {
  return " item " + std::to_string(kind) + " of " + std::to_string(object.space) + " " +
         std::to_string(object.number) + " " + name + "\n";
}

std::string Describe(CNCCNet& net) {
  std::string text = DescribePreferences(*net.Preferences());
  std::list<CNNEntry> servers;
  std::list<CNNEntry> aps;
  net.GetListServer(servers);
  for (const CNNEntry& server : servers) {
    text += DescribeStored(net, server) + DescribeList(" links", LinkIds(net, server.id)) +
            DescribeList(" groups", GroupsOfNode(net, server.id));
    net.GetListAP(server.id, aps);
    for (const CNNEntry& ap : aps) {
      text += " ap " + DescribeStored(net, ap);
      text += DescribeList("  groups", GroupsOfNode(net, ap.id));
    }
  }
  return text + DescribeUsers(net) + DescribeDeps(net) + DescribeGroups(net) + DescribeLoose(net);
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
      {"CreateAB", [](CNCCNet& net) { return net.CreateAB("u"); }},
      {"CreateDep", [](CNCCNet& net) { return net.CreateDep("d"); }},
      {"CreateNGrp", [](CNCCNet& net) { return net.CreateNGrp("g"); }},
      {"LinkABToDep", [](CNCCNet& net) { return Number(net.LinkABToDep("d", "u", true)); }},
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
  return Ids(Filled<CNNEntry>([&](auto& list) { return net.GetListServer(list); }));
}

std::vector<unsigned long> ApIds(CNCCNet& net, unsigned long server) {
  return Ids(Filled<CNNEntry>([&](auto& list) { return net.GetListAP(server, list); }));
}

std::vector<unsigned long> LinkIds(CNCCNet& net, unsigned long server) {
  return Ids(Filled<CNNEntry>([&](auto& list) { return net.GetListLinkedSrv(server, list); }));
}

std::vector<unsigned long> UserIds(CNCCNet& net, unsigned long dep) {
  return Ids(Filled<CABEntry>([&](auto& list) { return net.GetListAB(dep, list); }));
}

std::vector<unsigned long> LinkedDepIds(CNCCNet& net, unsigned long dep) {
  return Ids(Filled<CDepEntry>([&](auto& list) { return net.GetListLinkedDep(dep, list); }));
}

std::vector<unsigned long> GroupsOfDep(CNCCNet& net, unsigned long dep) {
  return Ids(Filled<CNGrpEntry>([&](auto& list) { return net.GetListNGrpFromDep(dep, list); }));
}

std::vector<unsigned long> GroupsOfNode(CNCCNet& net, unsigned long node) {
  return Ids(Filled<CNGrpEntry>([&](auto& list) { return net.GetListNGrpFromNN(node, list); }));
}

std::vector<unsigned long> NodesOfGroup(CNCCNet& net, unsigned long group) {
  return Ids(Filled<CNNEntry>([&](auto& list) { return net.GetListNN(group, list); }));
}

std::vector<unsigned long> DepsOfGroup(CNCCNet& net, unsigned long group) {
  return Ids(Filled<CDepEntry>([&](auto& list) { return net.GetListDepFromNGrp(group, list); }));
}

std::vector<unsigned long> Memberships(CNCCNet& net, unsigned long user) {
  std::vector<unsigned long> numbers;
  const auto list =
      Filled<CColAb>([&](auto& filled) { return net.GetListAvailableColAb(user, filled); });
  for (const CColAb& one : list) {
    numbers.insert(numbers.end(), {one.id.dep, one.id.node, one.kind});
  }
  return numbers;
}

std::vector<unsigned long> PossibleMemberships(CNCCNet& net, unsigned long user) {
  std::vector<unsigned long> numbers;
  const auto list = Filled<CCol>([&](auto& filled) { return net.GetListColAb(user, filled); });
  for (const CCol& one : list) numbers.insert(numbers.end(), {one.id.dep, one.id.node});
  return numbers;
}

std::string Items(CNCCNet& net, unsigned long id) {
  std::string text;
  const auto base = NetAccess::HDBase(net);
  const auto folder =
      CHDBFolderManager(*base).FolderOpen({ncc::kFolderSpace, static_cast<std::uint32_t>(id)});
  const auto& entries = folder->Entries();
  for (auto at = entries.First(); at != ncc::kNoPosition; at = entries.Next(at)) {
    text += DescribeItem(entries.At(at).Kind(), entries.At(at).Object(),
                         std::string(folder->EntryName(at)));
  }
  return text;
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

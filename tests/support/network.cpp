#include "network.h"

#include "model.h"
#include "net_access.h"

#include <fstream>

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

template <class Entry>
std::string Bytes(const Entry& entry) {
  return {reinterpret_cast<const char*>(&entry), sizeof entry};
}

// For each object of a list a line, and what `more` says of it.
template <class Entry, class List, class More>
std::string DescribeAll(CNCCNet& net, bool (CNCCNet::*find)(const char*, TDBObjId&), List list,
                        More more) {
  std::string text;
  for (const Entry& entry : Filled<Entry>(list)) {
    TDBObjId found;
    (net.*find)(entry.name, found);
    text += DescribeNode(Bytes(entry), found.number, net.GetType(entry.id), 0) + more(entry.id);
  }
  return text;
}

std::string DescribePeople(CNCCNet& net) {
  const auto of_user = [&](unsigned long id) {
    return DescribeList(" memberships", Memberships(net, id)) +
           DescribeList(" possible", PossibleMemberships(net, id));
  };
  const auto of_dep = [&](unsigned long id) {
    return DescribeList(" users", UserIds(net, id)) + DescribeList(" Deps", LinkedDepIds(net, id)) +
           DescribeList(" groups", GroupsOfDep(net, id)) + Items(net, id);
  };
  const auto of_group = [&](unsigned long id) {
    return DescribeList(" nodes", NodesOfGroup(net, id)) +
           DescribeList(" Deps", DepsOfGroup(net, id));
  };
  const auto users = [&](auto& list) { return net.GetListAB(list); };
  const auto deps = [&](auto& list) { return net.GetListDep(list); };
  const auto groups = [&](auto& list) { return net.GetListNGrp(list); };
  return DescribeAll<CABEntry>(net, &CNCCNet::GetAB, users, of_user) +
         DescribeAll<CDepEntry>(net, &CNCCNet::GetDep, deps, of_dep) +
         DescribeAll<CNGrpEntry>(net, &CNCCNet::GetNGrp, groups, of_group);
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

Operation Named(const char* name, unsigned long (*run)(CNCCNet&)) { return {name, run}; }

template <class... Each>
std::vector<Operation> ListOf(const Each&... each) {
  return {each...};
}

}  // namespace

std::string DescribePreferences(const CNetPref& preferences) {
  return "preferences " + Hex(Bytes(preferences)) + "\n";
}

std::string DescribeNode(const std::string& image, unsigned long found_by_name, unsigned long type,
                         unsigned long server) {
  return Hex(image) + " " + image.c_str() + " finds " + std::to_string(found_by_name) + ", type " +
         std::to_string(type) + ", of " + std::to_string(server) + "\n";
}

std::string DescribeList(const char* title, const Numbers& ids) {
  std::string text = title;
  for (const unsigned long id : ids) text += " " + std::to_string(id);
  return text + "\n";
}

std::string DescribeNote(unsigned long id, const std::string& key, const std::string& value) {
  return "note of " + std::to_string(id) + " " + key + ": " + value + "\n";
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
  std::list<unsigned long> noted;
  std::list<CNote> notes;
  ListNoted(net, noted);
  for (const unsigned long id : noted) {
    ListNotes(net, id, notes);
    for (const CNote& note : notes) text += DescribeNote(id, note.key, note.value);
  }
  for (const std::uint8_t type : {kTypeAB, kTypeDep, kTypeNGrp})
    text += DescribeList("added", ListByAdding(net, type));
  return text + DescribePeople(net) + DescribeLoose(net);
}

void BuildSample(CNCCNet& net) {
  ASSERT_EQ(net.AddServer("A", 0, 10), 1U) << net.LastError();
  ASSERT_EQ(net.AddServer("B", 0x3, 20), 2U);
  ASSERT_EQ(net.AddServer("C", 0, 30), 3U);
  ASSERT_TRUE(net.LinkSrvToSrv("A", "B") && net.LinkSrvToSrv("A", "C"));
  ASSERT_EQ(net.AddAP("A", "a1", 0x1), 4U);
  ASSERT_EQ(net.AddAP("A", "a2", 0x4), 5U);
  ASSERT_EQ(net.AddAP("B", "b1", 0x44), 6U);
  ASSERT_TRUE(SetNote(net, 5, "k", "text"));
}

void BuildPeople(CNCCNet& net) {
  ASSERT_TRUE(net.CreateDep("d") == 7 && net.CreateDep("e") == 8 && net.CreateAB("u") == 9);
  ASSERT_TRUE(net.CreateAB("v") == 10 && net.CreateNGrp("g") == 11 && net.CreateAB("w") == 12);
  ASSERT_EQ(net.CreateDep("f"), 13U);
  ASSERT_TRUE(net.LinkNNToNGrp(11, 5) && net.LinkDepToNGrp(11, 7) && net.LinkDepToNGrp(11, 8));
  ASSERT_TRUE(net.LinkABToDep(7, 9, true) && net.LinkDepToDep(7UL, 8UL));
  ASSERT_TRUE(net.LinkABToDep(7, 10, true));
}

const std::vector<Operation>& SampleChanges() {
  static const std::vector<Operation> changes = [] {
    std::vector<Operation> list;
    std::ifstream in(NCCNET_GOLDEN "/operations.txt");
    for (std::string line; std::getline(in, line) && line.find('"') != std::string::npos;) {
      const Step step = StepOf(line);
      list.push_back({step.Text(), [step](CNCCNet& net) { return step.Run(net); }});
    }
    list.push_back({"batch", [one = list.front().run, other = list.back().run](CNCCNet& net) {
                      if (!net.BeginBatch()) return 0UL;
                      one(net);
                      other(net);
                      return static_cast<unsigned long>(net.EndBatch(true));
                    }});
    return list;
  }();
  return changes;
}

#define QUERY(query) \
  Named(#query, [](CNCCNet& net) { return static_cast<unsigned long>(net.query); })

const std::vector<Operation>& SampleQueries() {
  static TDBObjId id;
  static CNNEntry entry;
  static CABEntry user;
  static std::list<CNNEntry> list;
  static std::list<CABEntry> users;
  static std::list<CDepEntry> deps;
  static const auto queries = ListOf(
      QUERY(GetServer("B")), QUERY(GetServer("B", id)), QUERY(GetServer(3, id)),
      QUERY(GetServerInfo("B", entry)), QUERY(GetServerInfo(3, entry)), QUERY(GetServersCount()),
      QUERY(GetListServer(list)), QUERY(GetListLinkedSrv("A", list)),
      QUERY(GetListLinkedSrv(1, list)), QUERY(CheckServerName("A")), QUERY(GetAP("a2")),
      QUERY(GetAP("A", "a2")), QUERY(GetAP(0UL)), QUERY(GetAP("a2", id)), QUERY(GetAP("b1", id)),
      QUERY(GetAP(6, id)), QUERY(GetAP(2, 6, id)), QUERY(GetAP("A", "a2", id)),
      QUERY(GetAPInfo("a1", entry)), QUERY(GetAPInfo(4, entry)), QUERY(GetAPServerID(4)),
      QUERY(GetListAP("A", list)), QUERY(GetListAP(1, list)), QUERY(GetListAP(list)),
      QUERY(CheckAPName("b1")), QUERY(GetNN(6, id)), QUERY(GetNNInfo(4, entry)), QUERY(GetNCC()),
      QUERY(GetKC()), QUERY(GetType(1) != kTypeNone), QUERY(GetAPP(4) != 0xFFFFFFFF),
      QUERY(GetListSrvInApps(0, list)), QUERY(GetListSrvInApps1(1, list)),
      QUERY(GetListApInApps(0, list)), QUERY(GetListApInApps1(1, list)), QUERY(GetAB("V", id)),
      QUERY(GetABInfo("v", user)), QUERY(GetNGrp(11, id)), QUERY(GetListAB(users)),
      QUERY(GetListAB(7, users)), QUERY(GetListLinkedDep(7, deps)), QUERY(GetListDepFree(deps)));
  return queries;
}

void ExpectEverythingRefused(CNCCNet& net, const std::string& when) {
  for (const auto* table : {&SampleChanges(), &SampleQueries()}) {
    for (const Operation& operation : *table) {
      EXPECT_TRUE(IsRefused(net, operation.run(net))) << when << ": " << operation.name;
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

#define IDS(function, Kind, query)                                              \
  Numbers function(CNCCNet& net, unsigned long id) {                            \
    return Ids(Filled<Kind>([&](std::list<Kind>& list) { return net.query; })); \
  }

IDS(ApIds, CNNEntry, GetListAP(id, list))
IDS(LinkIds, CNNEntry, GetListLinkedSrv(id, list))
IDS(UserIds, CABEntry, GetListAB(id, list))
IDS(LinkedDepIds, CDepEntry, GetListLinkedDep(id, list))
IDS(GroupsOfDep, CNGrpEntry, GetListNGrpFromDep(id, list))
IDS(GroupsOfNode, CNGrpEntry, GetListNGrpFromNN(id, list))
IDS(NodesOfGroup, CNNEntry, GetListNN(id, list))
IDS(DepsOfGroup, CDepEntry, GetListDepFromNGrp(id, list))

Numbers ServerIds(CNCCNet& net) {
  return Ids(Filled<CNNEntry>([&](auto& list) { return net.GetListServer(list); }));
}

Numbers Memberships(CNCCNet& net, unsigned long user) {
  Numbers numbers;
  const auto list =
      Filled<CColAb>([&](auto& filled) { return net.GetListAvailableColAb(user, filled); });
  for (const CColAb& membership : list) {
    numbers.insert(numbers.end(), {membership.id.dep, membership.id.node, membership.kind});
  }
  return numbers;
}

Numbers PossibleMemberships(CNCCNet& net, unsigned long user) {
  Numbers numbers;
  const auto list = Filled<CCol>([&](auto& filled) { return net.GetListColAb(user, filled); });
  for (const CCol& collective : list)
    numbers.insert(numbers.end(), {collective.id.dep, collective.id.node});
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
  return net.GetNNInfo(id, entry) ? Bytes(entry) : std::string();
}

CNNEntry Entry(CNCCNet& net, unsigned long id) {
  CNNEntry entry;
  EXPECT_TRUE(net.GetNNInfo(id, entry)) << "no node " << id;
  return entry;
}

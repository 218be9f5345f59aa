// The search for loose objects: present in the database, but not tied into the structure.

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/operation.h"
#include "core/walk.h"
#include "structure/collectives.h"

#include <list>
#include <vector>

using namespace ncc;

namespace {

template <class Entry, class Loose>
void Collect(const NetState& net, const std::vector<std::uint32_t>& numbers, std::list<Entry>* list,
             Loose loose) {
  if (list == nullptr) return;
  for (const std::uint32_t number : numbers) {
    const CHDBRecord& record = *net.base->FindRecord(number);
    if (loose(record)) AppendEntry(record, *list);
  }
}

bool HasItemOfType(const NetState& net, const CHDBRecord& record, std::uint8_t type) {
  bool found = false;
  WalkEntries(*OpenFolder(net, record.Number()), [&](const CHDBFolderEntry& entry, std::uint32_t) {
    found = entry.Kind() == type;
    return !found;
  });
  return found;
}

// Numbers of all nodes that some membership names: one pass over the users, whatever asks.
IdSet NodesInMemberships(const NetState& net) {
  IdSet nodes;
  net.base->RecSelect(kTypeAB).ForEach([&](std::uint32_t user) {
    const PairList& pairs = net.base->FindRecord(user)->Pairs();
    for (auto at = pairs.First(); at != kNoPosition; at = pairs.Next(at))
      nodes.Insert(pairs.At(at).second);
  });
  return nodes;
}

template <class Entry>
void CollectNamedByNoUser(const NetState& net, const std::vector<std::uint32_t>& numbers,
                          std::list<Entry>* list) {
  if (list == nullptr) return;
  const IdSet named = NodesInMemberships(net);
  Collect(net, numbers, list,
          [&](const CHDBRecord& node) { return !named.Contains(node.Number()); });
}

}  // namespace

int CNCCNet::CheckAnomaliesAB(std::list<CABEntry>* in_no_dep, std::list<CABEntry>* no_primary,
                              std::list<CABEntry>* no_membership) {
  NetState& net = *state_;
  return Run(net, 0, [&] {
    const auto users = NumbersOf(net, kTypeAB);
    Collect(net, users, in_no_dep,
            [&](const CHDBRecord& user) { return DepsOf(net, FolderOf(user)).empty(); });
    Collect(net, users, no_primary, [](const CHDBRecord& user) {
      const CColId primary = EntryOf<CABEntry>(user).primary;
      return primary.dep == 0 || primary.node == 0;
    });
    Collect(net, users, no_membership,
            [](const CHDBRecord& user) { return user.Pairs().Size() == 0; });
    return 0;
  });
}

int CNCCNet::CheckAnomaliesSrv(std::list<CNNEntry>* unconnected, std::list<CNNEntry>* in_no_group,
                               std::list<CNNEntry>* no_membership) {
  NetState& net = *state_;
  return Run(net, 0, [&] {
    const auto servers = RootObjects(net, kTypeServer);
    Collect(net, servers, unconnected, [&](const CHDBRecord& server) {
      return server.List(kServerLinks).Size() == 0 && !HasItemOfType(net, server, kTypeAP);
    });
    Collect(net, servers, in_no_group,
            [](const CHDBRecord& server) { return server.List(kGroupsOfNode).Size() == 0; });
    CollectNamedByNoUser(net, servers, no_membership);
    return 0;
  });
}

int CNCCNet::ChechAnomaliesAP(std::list<CNNEntry>* in_no_group,
                              std::list<CNNEntry>* no_membership) {
  NetState& net = *state_;
  return Run(net, 0, [&] {
    const auto aps = NumbersOf(net, kTypeAP);
    Collect(net, aps, in_no_group,
            [](const CHDBRecord& ap) { return ap.List(kGroupsOfNode).Size() == 0; });
    CollectNamedByNoUser(net, aps, no_membership);
    return 0;
  });
}

int CNCCNet::CheckAnomaliesNGrp(std::list<CNGrpEntry>* no_node, std::list<CNGrpEntry>* no_dep) {
  NetState& net = *state_;
  return Run(net, 0, [&] {
    const auto groups = NumbersOf(net, kTypeNGrp);
    Collect(net, groups, no_node,
            [](const CHDBRecord& group) { return group.List(kNodesOfGroup).Size() == 0; });
    Collect(net, groups, no_dep,
            [](const CHDBRecord& group) { return group.List(kDepsOfGroup).Size() == 0; });
    return 0;
  });
}

int CNCCNet::CheckAnomaliesDep(std::list<CDepEntry>* no_user, std::list<CDepEntry>* in_no_group) {
  NetState& net = *state_;
  return Run(net, 0, [&] {
    const auto deps = NumbersOf(net, kTypeDep);
    Collect(net, deps, no_user,
            [&](const CHDBRecord& dep) { return !HasItemOfType(net, dep, kTypeAB); });
    Collect(net, deps, in_no_group,
            [](const CHDBRecord& dep) { return dep.List(kGroupsOfDep).Size() == 0; });
    return 0;
  });
}

#include "network/neighbour.h"

#include <list>
#include <utility>

#include <fmt/format.h>

#include "console/failure.h"
#include "nccnet/records.h"

namespace ncc::tool {
namespace {

// The number that a Dep has for its home is a node group's only where the kind says so.
Object ObjectOf(const CDepEntry& entry) {
  Object dep = ObjectFrom(entry);
  if (entry.kind != kTypeNGrp) {
    dep.home_node = dep.group;
    dep.group = 0;
  }
  return dep;
}

template <class Entry>
Object ObjectOf(const Entry& entry) {
  return ObjectFrom(entry);
}

template <class Entry>
std::vector<Object> ObjectsOf(const std::list<Entry>& entries) {
  std::vector<Object> objects;
  objects.reserve(entries.size());
  for (const Entry& entry : entries) objects.push_back(ObjectOf(entry));
  return objects;
}

template <class Entry>
std::optional<Object> Found(int result, const Entry& entry) {
  return result == 0 ? std::optional(ObjectOf(entry)) : std::nullopt;
}

}  // namespace

Neighbour::Neighbour(const std::string& folder, std::uint32_t network) : net_(folder) {
  if (net_.Load(network) == 0) return;
  throw Failure(fmt::format("network {} cannot be loaded: {}", network, CNCCNet().LastError()),
                "'nccadm exchange check' lists what is wrong with each of its files.");
}

Gate Neighbour::GateData() const {
  unsigned long second = 0;
  unsigned long first = 0;
  char name[kMaxNameLength + 1] = {};
  net_.GetGateInfo(second, first, name);
  return {static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second), name};
}

std::uint32_t Neighbour::Number() { return static_cast<std::uint32_t>(net_.GetNet()); }

std::vector<Object> Neighbour::All(Kind kind) {
  switch (kind) {
    case Kind::kServer:
      return ObjectsOf(*net_.GetListSm());
    case Kind::kAp:
      return ObjectsOf(*net_.GetListAp());
    case Kind::kGroup:
      return ObjectsOf(*net_.GetListNGrp());
    case Kind::kDep:
      return ObjectsOf(*net_.GetListDep());
    case Kind::kUser:
      return ObjectsOf(*net_.GetListAb());
  }
  return {};
}

std::optional<Object> Neighbour::ById(Kind kind, std::uint32_t narrow) {
  // The library's overloads tell an identifier from a name by the wider type.
  const unsigned long id = narrow;
  CNNEntry node;
  CNGrpEntry group;
  CDepEntry dep;
  CABEntry user;
  switch (kind) {
    case Kind::kServer:
      return Found(net_.GetSrvInfo(id, node), node);
    case Kind::kAp:
      return Found(net_.GetApInfo(id, node), node);
    case Kind::kGroup:
      return Found(net_.GetNGrpInfo(id, group), group);
    case Kind::kDep:
      return Found(net_.GetDepInfo(id, dep), dep);
    case Kind::kUser:
      return Found(net_.GetAbInfo(id, user), user);
  }
  return std::nullopt;
}

template <class Entry>
std::vector<Object> Neighbour::Collect(int (CImportNet::*query)(unsigned long, std::list<Entry>&)
                                           const,
                                       std::uint32_t id) {
  std::list<Entry> entries;
  has_gaps_ |= (net_.*query)(id, entries) == kExchangeDangling;
  return ObjectsOf(entries);
}

std::vector<Object> Neighbour::Related(Relation relation, std::uint32_t id) {
  switch (relation) {
    case Relation::kApsOfServer:
      return Collect<CNNEntry>(&CImportNet::GetListApFromSrv, id);
    case Relation::kLinksOfServer:
      return {};
    case Relation::kGroupsOfNode:
      return Collect<CNGrpEntry>(&CImportNet::GetListNGrpFromNN, id);
    case Relation::kNodesOfGroup:
      return NodesOf(id);
    case Relation::kDepsOfGroup:
      return Collect<CDepEntry>(&CImportNet::GetListDepFromNGrp, id);
    case Relation::kGroupsOfDep:
      return GroupsOf(id);
    case Relation::kUsersOfDep:
      return Collect<CABEntry>(&CImportNet::GetListAbFromDep, id);
    case Relation::kLinksOfDep:
      return LinksOf(id);
  }
  return {};
}

std::vector<Object> Neighbour::LinksOf(std::uint32_t dep) {
  std::vector<Object> linked;
  std::list<tag_WORD4> pairs;
  net_.GetListLinkedDep(tag_WORD4{Number(), dep}, pairs);
  for (const tag_WORD4 pair : pairs) {
    if (pair.first != Number()) {
      Object& foreign = linked.emplace_back();
      foreign.kind = Kind::kDep;
      foreign.name = AddressText(pair.first, pair.second);
      foreign.id = pair.second;
      foreign.network = pair.first;
    } else if (auto object = ById(Kind::kDep, pair.second)) {
      linked.push_back(std::move(*object));
    } else {
      has_gaps_ = true;
    }
  }
  return linked;
}

std::vector<Object> Neighbour::GroupsOf(std::uint32_t dep) {
  std::vector<Object> groups;
  std::list<CNCCEntry> related;
  has_gaps_ |= net_.GetListNOFromDep(static_cast<unsigned long>(dep), related) == kExchangeDangling;
  for (const CNCCEntry& entry : related) {
    if (entry.type != kTypeNGrp) continue;
    if (auto group = ById(Kind::kGroup, entry.id)) groups.push_back(std::move(*group));
  }
  return groups;
}

// A group's list of nodes ends at the first that is no AP; a node's list of groups knows servers
// too.
std::vector<Object> Neighbour::NodesOf(std::uint32_t group) {
  std::list<CNNEntry> aps;
  if (net_.GetListNNFromNGrp(static_cast<unsigned long>(group), aps) != kExchangeDangling) {
    return ObjectsOf(aps);
  }
  if (!nodes_of_groups_) {
    nodes_of_groups_.emplace();
    for (const Object& node : ServersAndAps()) {
      for (const Object& listing : Related(Relation::kGroupsOfNode, node.id)) {
        (*nodes_of_groups_)[listing.id].push_back(node);
      }
    }
  }
  return (*nodes_of_groups_)[group];
}

std::vector<Membership> Neighbour::MembershipsOf(std::uint32_t user) {
  std::list<CColAb> stored;
  net_.GetListColAb(static_cast<unsigned long>(user), stored);
  return MembershipsFrom(stored);
}

}  // namespace ncc::tool

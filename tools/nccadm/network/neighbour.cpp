#include "network/neighbour.h"

#include <list>

#include <fmt/format.h>

namespace ncc::tool {
namespace {

// The library's overloads tell an identifier from a name by the wider type.
unsigned long Wide(std::uint32_t id) { return id; }

std::string Address(std::uint32_t network, std::uint32_t id) {
  return fmt::format("{:04X}{:04X}", network, id);
}

std::vector<Node> NodesFrom(const std::list<CNNEntry>& entries) {
  std::vector<Node> nodes;
  nodes.reserve(entries.size());
  for (const CNNEntry& entry : entries) nodes.push_back(NodeFrom(entry));
  return nodes;
}

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
std::vector<Object> ObjectsFrom(const std::list<Entry>& entries) {
  std::vector<Object> objects;
  objects.reserve(entries.size());
  for (const Entry& entry : entries) objects.push_back(ObjectOf(entry));
  return objects;
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
std::string Neighbour::AddressOf(std::uint32_t id) { return Address(Number(), id); }

std::vector<Node> Neighbour::Servers() { return NodesFrom(*net_.GetListSm()); }
std::vector<Node> Neighbour::Aps() { return NodesFrom(*net_.GetListAp()); }

std::vector<Node> Neighbour::ApsOf(std::uint32_t server) {
  std::list<CNNEntry> entries;
  Note(net_.GetListApFromSrv(Wide(server), entries));
  return NodesFrom(entries);
}

std::vector<Node> Neighbour::LinkedServers(std::uint32_t) { return {}; }

std::optional<Node> Neighbour::NodeById(std::uint32_t id) {
  CNNEntry entry;
  if (net_.GetSrvInfo(Wide(id), entry) != 0 && net_.GetApInfo(Wide(id), entry) != 0) {
    return std::nullopt;
  }
  return NodeFrom(entry);
}

std::vector<Object> Neighbour::Objects(Kind kind) {
  if (kind == Kind::kUser) return ObjectsFrom(*net_.GetListAb());
  if (kind == Kind::kDep) return ObjectsFrom(*net_.GetListDep());
  return ObjectsFrom(*net_.GetListNGrp());
}

std::optional<Object> Neighbour::ObjectById(Kind kind, std::uint32_t id) {
  CABEntry user;
  CDepEntry dep;
  CNGrpEntry group;
  if (kind == Kind::kUser && net_.GetAbInfo(Wide(id), user) == 0) return ObjectOf(user);
  if (kind == Kind::kDep && net_.GetDepInfo(Wide(id), dep) == 0) return ObjectOf(dep);
  if (kind == Kind::kGroup && net_.GetNGrpInfo(Wide(id), group) == 0) return ObjectOf(group);
  return std::nullopt;
}

std::vector<Object> Neighbour::UsersOf(std::uint32_t dep) {
  std::list<CABEntry> users;
  Note(net_.GetListAbFromDep(Wide(dep), users));
  return ObjectsFrom(users);
}

std::vector<Object> Neighbour::LinkedDeps(std::uint32_t dep) {
  std::vector<Object> linked;
  std::list<tag_WORD4> pairs;
  net_.GetListLinkedDep(tag_WORD4{Number(), dep}, pairs);
  for (const tag_WORD4 pair : pairs) {
    if (pair.first != Number()) {
      Object& foreign = linked.emplace_back();
      foreign.kind = Kind::kDep;
      foreign.name = Address(pair.first, pair.second);
      foreign.id = pair.second;
      foreign.network = pair.first;
    } else if (auto object = ObjectById(Kind::kDep, pair.second)) {
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
  Note(net_.GetListNOFromDep(Wide(dep), related));
  for (const CNCCEntry& entry : related) {
    if (entry.type != kTypeNGrp) continue;
    if (auto group = ObjectById(Kind::kGroup, entry.id)) groups.push_back(std::move(*group));
  }
  return groups;
}

std::vector<Object> Neighbour::DepsOf(std::uint32_t group) {
  std::list<CDepEntry> deps;
  Note(net_.GetListDepFromNGrp(Wide(group), deps));
  return ObjectsFrom(deps);
}

// A group's list of nodes ends at the first that is no AP; a node's list of groups knows servers
// too.
const std::vector<Node>& Neighbour::AllNodesOf(std::uint32_t group) {
  if (!nodes_of_groups_) {
    nodes_of_groups_.emplace();
    for (const Node& node : ServersAndAps()) {
      std::list<CNGrpEntry> groups;
      Note(net_.GetListNGrpFromNN(Wide(node.id), groups));
      for (const CNGrpEntry& entry : groups) (*nodes_of_groups_)[entry.id].push_back(node);
    }
  }
  return (*nodes_of_groups_)[group];
}

std::vector<Node> Neighbour::NodesOf(std::uint32_t group) {
  std::list<CNNEntry> aps;
  if (net_.GetListNNFromNGrp(Wide(group), aps) == kExchangeDangling) return AllNodesOf(group);
  return NodesFrom(aps);
}

std::vector<Membership> Neighbour::MembershipsOf(std::uint32_t user) {
  std::vector<Membership> memberships;
  std::list<CColAb> stored;
  net_.GetListColAb(Wide(user), stored);
  for (const CColAb& one : stored) memberships.push_back({one.id.dep, one.id.node, one.kind});
  return memberships;
}

}  // namespace ncc::tool

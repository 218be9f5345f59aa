#include "network/network.h"

#include <utility>

#include "nccnet/identity.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

std::vector<std::uint32_t> IdsOf(View& view, Relation relation, std::uint32_t id) {
  const std::vector<Object> objects = view.Related(relation, id);
  std::vector<std::uint32_t> ids;
  ids.reserve(objects.size());
  for (const Object& object : objects) ids.push_back(object.id);
  return ids;
}

// All objects of a kind, in the order in which they were added.
std::vector<Object> ByAdding(CNCCNet& net, View& view, Kind kind, std::uint8_t type) {
  std::unordered_map<unsigned long, Object> objects;
  for (Object& object : view.All(kind)) objects.emplace(object.id, std::move(object));
  std::vector<Object> ordered;
  ordered.reserve(objects.size());
  for (const unsigned long id : ListByAdding(net, type)) {
    ordered.push_back(std::move(objects.at(id)));
  }
  return ordered;
}

// Only an object that is in several groups can have an order of its own.
void LoadGroups(CNCCNet& net, View& view, Network& network) {
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> of_deps;
  for (Object& entry : ByAdding(net, view, Kind::kGroup, kTypeNGrp)) {
    GroupView& group = network.groups.emplace_back();
    group.nodes = IdsOf(view, Relation::kNodesOfGroup, entry.id);
    group.deps = IdsOf(view, Relation::kDepsOfGroup, entry.id);
    for (const std::uint32_t node : group.nodes) {
      network.groups_of_nodes[node].push_back(entry.id);
    }
    for (const std::uint32_t dep : group.deps) of_deps[dep].push_back(entry.id);
    group.entry = std::move(entry);
  }
  std::erase_if(network.groups_of_nodes, [](const auto& node) { return node.second.size() < 2; });
  for (auto& [node, groups] : network.groups_of_nodes) {
    groups = IdsOf(view, Relation::kGroupsOfNode, node);
  }
  for (DepView& dep : network.deps) {
    dep.groups = std::move(of_deps[dep.entry.id]);
    if (dep.groups.size() > 1) dep.groups = IdsOf(view, Relation::kGroupsOfDep, dep.entry.id);
  }
}

}  // namespace

std::size_t Network::ApCount() const {
  std::size_t count = 0;
  for (const ServerView& server : servers) count += server.aps.size();
  return count;
}

Network LoadNetwork(CNCCNet& net) {
  OwnView view(net);
  Network network;
  network.preferences = ReadPreferences(net);
  for (Object& entry : view.All(Kind::kServer)) {
    ServerView& server = network.servers.emplace_back();
    server.aps = view.Related(Relation::kApsOfServer, entry.id);
    server.linked = IdsOf(view, Relation::kLinksOfServer, entry.id);
    server.entry = std::move(entry);
  }
  return network;
}

Network LoadWholeNetwork(CNCCNet& net) {
  OwnView view(net);
  Network network = LoadNetwork(net);
  for (Object& entry : ByAdding(net, view, Kind::kDep, kTypeDep)) {
    DepView& dep = network.deps.emplace_back();
    dep.links = IdsOf(view, Relation::kLinksOfDep, entry.id);
    dep.users = IdsOf(view, Relation::kUsersOfDep, entry.id);
    dep.entry = std::move(entry);
  }
  for (Object& entry : ByAdding(net, view, Kind::kUser, kTypeAB)) {
    UserView& user = network.users.emplace_back();
    user.memberships = view.MembershipsOf(entry.id);
    user.entry = std::move(entry);
  }
  LoadGroups(net, view, network);
  network.notes = AllNotes(net);
  return network;
}

}  // namespace ncc::tool

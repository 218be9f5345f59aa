#include "network/network.h"

#include <unordered_map>
#include <utility>

namespace ncc::tool {
namespace {

template <class Items>
std::vector<std::uint32_t> IdsOf(const Items& items) {
  std::vector<std::uint32_t> ids;
  ids.reserve(items.size());
  for (const auto& item : items) ids.push_back(item.id);
  return ids;
}

// Only an object that is in several groups can have an order of its own.
void LoadGroups(CNCCNet& net, Network& network) {
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> of_deps;
  for (Object& entry : ListObjects(net, Kind::kGroup)) {
    GroupView& group = network.groups.emplace_back();
    group.nodes = IdsOf(ListNodesOf(net, entry.id));
    group.deps = IdsOf(ListDepsOf(net, entry.id));
    for (const std::uint32_t node : group.nodes) {
      network.groups_of_nodes[node].push_back(entry.id);
    }
    for (const std::uint32_t dep : group.deps) of_deps[dep].push_back(entry.id);
    group.entry = std::move(entry);
  }
  std::erase_if(network.groups_of_nodes, [](const auto& node) { return node.second.size() < 2; });
  for (auto& [node, groups] : network.groups_of_nodes) {
    groups = IdsOf(ListGroupsOfNode(net, node));
  }
  for (DepView& dep : network.deps) {
    dep.groups = std::move(of_deps[dep.entry.id]);
    if (dep.groups.size() > 1) dep.groups = IdsOf(ListGroupsOfDep(net, dep.entry.id));
  }
}

}  // namespace

std::size_t Network::ApCount() const {
  std::size_t count = 0;
  for (const ServerView& server : servers) count += server.aps.size();
  return count;
}

Network LoadNetwork(CNCCNet& net) {
  Network network;
  network.preferences = ReadPreferences(net);
  for (Node& entry : ListServers(net)) {
    ServerView& server = network.servers.emplace_back();
    server.aps = ListApsOf(net, entry.id);
    for (const Node& linked : ListLinked(net, entry.id)) server.linked.push_back(linked.id);
    server.entry = std::move(entry);
  }
  return network;
}

Network LoadWholeNetwork(CNCCNet& net) {
  Network network = LoadNetwork(net);
  for (Object& entry : ListObjects(net, Kind::kDep)) {
    DepView& dep = network.deps.emplace_back();
    dep.links = IdsOf(ListLinkedDeps(net, entry.id));
    dep.users = IdsOf(ListUsersOf(net, entry.id));
    dep.entry = std::move(entry);
  }
  for (Object& entry : ListObjects(net, Kind::kUser)) {
    UserView& user = network.users.emplace_back();
    user.memberships = ListMemberships(net, entry.id);
    user.entry = std::move(entry);
  }
  LoadGroups(net, network);
  return network;
}

}  // namespace ncc::tool

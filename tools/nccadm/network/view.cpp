#include "network/view.h"

#include <iterator>

#include "network/nodes.h"

namespace ncc::tool {

std::vector<Node> View::ServersAndAps() {
  std::vector<Node> nodes = Servers();
  std::vector<Node> aps = Aps();
  nodes.insert(nodes.end(), std::make_move_iterator(aps.begin()),
               std::make_move_iterator(aps.end()));
  return nodes;
}

std::uint32_t OwnView::Number() { return ReadPreferences(net_).net_number; }
std::string OwnView::AddressOf(std::uint32_t id) { return tool::AddressOf(net_, id); }

std::vector<Node> OwnView::Servers() { return ListServers(net_); }
std::vector<Node> OwnView::Aps() { return ListAps(net_); }
std::vector<Node> OwnView::ApsOf(std::uint32_t server) { return ListApsOf(net_, server); }
std::vector<Node> OwnView::LinkedServers(std::uint32_t server) { return ListLinked(net_, server); }
std::optional<Node> OwnView::NodeById(std::uint32_t id) { return tool::NodeById(net_, id); }

std::vector<Object> OwnView::Objects(Kind kind) { return ListObjects(net_, kind); }
std::optional<Object> OwnView::ObjectById(Kind kind, std::uint32_t id) {
  return tool::ObjectById(net_, kind, id);
}
std::vector<Object> OwnView::UsersOf(std::uint32_t dep) { return ListUsersOf(net_, dep); }
std::vector<Object> OwnView::LinkedDeps(std::uint32_t dep) { return ListLinkedDeps(net_, dep); }
std::vector<Object> OwnView::GroupsOf(std::uint32_t dep) { return ListGroupsOfDep(net_, dep); }
std::vector<Object> OwnView::DepsOf(std::uint32_t group) { return ListDepsOf(net_, group); }
std::vector<Node> OwnView::NodesOf(std::uint32_t group) { return ListNodesOf(net_, group); }
std::vector<Membership> OwnView::MembershipsOf(std::uint32_t user) {
  return ListMemberships(net_, user);
}

}  // namespace ncc::tool

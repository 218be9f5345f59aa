// What goes with a server or an AP when it is deleted.
#include <algorithm>
#include <set>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "network/nodes.h"
#include "network/objects.h"

namespace ncc::tool {
namespace {

std::string Count(std::size_t count, const std::string& word) {
  return fmt::format("{} {}{}", count, word, count == 1 ? "" : "s");
}

template <class Items>
std::string Named(const Items& items) {
  constexpr std::size_t kMostNamed = 10;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::min(items.size(), kMostNamed); ++i) {
    names.push_back(Quoted(items[i]));
  }
  const std::size_t more = items.size() - names.size();
  return fmt::format("{}{}", fmt::join(names, ", "),
                     more == 0 ? "" : fmt::format(" and {} more", more));
}

std::vector<Object> GroupsOf(CNCCNet& net, const std::vector<Node>& nodes) {
  std::vector<Object> groups;
  for (const Node& node : nodes) {
    for (Object& group : ListGroupsOfNode(net, node.id)) {
      if (!HasId(groups, group.id)) groups.push_back(std::move(group));
    }
  }
  return groups;
}

// Memberships and primary collectives stay, and name a node that is gone.
void AddOrphans(CNCCNet& net, const std::vector<Node>& nodes, std::vector<std::string>& parts) {
  std::set<std::uint32_t> ids;
  for (const Node& node : nodes) ids.insert(node.id);
  std::size_t memberships = 0;
  std::size_t primaries = 0;
  for (const Object& user : ListObjects(net, Kind::kUser)) {
    for (const Membership& one : ListMemberships(net, user.id)) memberships += ids.count(one.node);
    primaries += ids.count(user.primary_node);
  }
  if (memberships > 0) parts.push_back("the node of " + Count(memberships, "membership"));
  if (primaries > 0) parts.push_back("the node of " + Count(primaries, "primary collective"));
}

}  // namespace

std::string LossOf(CNCCNet& net, const Node& node) {
  std::vector<Node> nodes;
  if (node.is_server) nodes = ListApsOf(net, node.id);
  std::vector<std::string> parts;
  if (!nodes.empty()) {
    parts.push_back(fmt::format("{} ({})", Count(nodes.size(), "AP"), Named(nodes)));
  }
  nodes.push_back(node);
  for (const Node& one : nodes) {
    if ((one.flags & kFlagNCC) != 0) parts.push_back(fmt::format("the NCC ({})", Quoted(one)));
    if ((one.flags & kFlagKC) != 0) parts.push_back(fmt::format("the KC ({})", Quoted(one)));
  }
  const std::vector<Node> linked = node.is_server ? ListLinked(net, node.id) : std::vector<Node>();
  if (!linked.empty()) {
    parts.push_back(fmt::format("{} (to {})", Count(linked.size(), "link"), Named(linked)));
  }
  const std::vector<Object> groups = GroupsOf(net, nodes);
  if (!groups.empty()) {
    parts.push_back(
        fmt::format("places in {} ({})", CountOf(groups.size(), Kind::kGroup), Named(groups)));
  }
  AddOrphans(net, nodes, parts);
  if (parts.empty()) return {};
  return fmt::format("with the {} {} would go: {}", node.is_server ? "server" : "AP", Quoted(node),
                     fmt::join(parts, "; "));
}

}  // namespace ncc::tool

#include "network/loss.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "nccnet/records.h"

namespace ncc::tool {
namespace {

std::string QuotedNames(const std::vector<Object>& objects) {
  constexpr std::size_t kMostNamed = 10;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::min(objects.size(), kMostNamed); ++i) {
    names.push_back(Quoted(objects[i]));
  }
  const std::size_t more = objects.size() - names.size();
  return fmt::format("{}{}", fmt::join(names, ", "),
                     more == 0 ? "" : fmt::format(" and {} more", more));
}

std::vector<Object> GroupsOf(View& view, const std::vector<Object>& nodes) {
  std::vector<Object> groups;
  for (const Object& node : nodes) {
    for (Object& group : view.Related(Relation::kGroupsOfNode, node.id)) {
      if (!HasId(groups, group.id)) groups.push_back(std::move(group));
    }
  }
  return groups;
}

// Memberships and primary collectives stay, and name a node that is gone.
void AddOrphans(View& view, const std::vector<Object>& nodes, std::vector<std::string>& parts) {
  std::set<std::uint32_t> ids;
  for (const Object& node : nodes) ids.insert(node.id);
  std::size_t memberships = 0;
  std::size_t primaries = 0;
  for (const Object& user : view.All(Kind::kUser)) {
    for (const Membership& membership : view.MembershipsOf(user.id))
      memberships += ids.count(membership.node);
    primaries += ids.count(user.primary_node);
  }
  if (memberships > 0) parts.push_back("the node of " + CountText(memberships, "membership"));
  if (primaries > 0) parts.push_back("the node of " + CountText(primaries, "primary collective"));
}

std::string LossOfNode(View& view, const Object& node) {
  std::vector<Object> nodes;
  std::vector<Object> linked;
  if (node.IsServer()) {
    nodes = view.Related(Relation::kApsOfServer, node.id);
    linked = view.Related(Relation::kLinksOfServer, node.id);
  }
  std::vector<std::string> parts;
  if (!nodes.empty()) {
    parts.push_back(fmt::format("{} ({})", CountOf(nodes.size(), Kind::kAp), QuotedNames(nodes)));
  }
  nodes.push_back(node);
  for (const Object& object : nodes) {
    if ((object.flags & kFlagNCC) != 0)
      parts.push_back(fmt::format("the NCC ({})", Quoted(object)));
    if ((object.flags & kFlagKC) != 0) parts.push_back(fmt::format("the KC ({})", Quoted(object)));
  }
  if (!linked.empty()) {
    parts.push_back(
        fmt::format("{} (to {})", CountText(linked.size(), "link"), QuotedNames(linked)));
  }
  const std::vector<Object> groups = GroupsOf(view, nodes);
  if (!groups.empty()) {
    parts.push_back(fmt::format("places in {} ({})", CountOf(groups.size(), Kind::kGroup),
                                QuotedNames(groups)));
  }
  AddOrphans(view, nodes, parts);
  if (parts.empty()) return {};
  return fmt::format("with the {} {} would go: {}", WordOf(node.kind), Quoted(node),
                     fmt::join(parts, "; "));
}

}  // namespace

std::string LossOf(View& view, const Object& object) {
  if (object.IsNode()) return LossOfNode(view, object);
  if (object.kind == Kind::kUser) return {};
  const bool is_dep = object.kind == Kind::kDep;
  const std::size_t count =
      view.Related(is_dep ? Relation::kUsersOfDep : Relation::kDepsOfGroup, object.id).size();
  if (count == 0) return {};
  return fmt::format("the {} {} has {}; memberships {} would be deleted with it",
                     WordOf(object.kind), Quoted(object),
                     CountOf(count, is_dep ? Kind::kUser : Kind::kDep),
                     is_dep ? "of it" : "of those");
}

std::size_t CountLost(View& view, std::uint32_t dep,
                      const std::function<bool(const Membership&)>& is_lost) {
  std::set<std::uint32_t> seen;  // a user can stand in a Dep more than once
  std::size_t count = 0;
  for (const Object& user : view.Related(Relation::kUsersOfDep, dep)) {
    if (!seen.insert(user.id).second) continue;
    const std::vector<Membership> all = view.MembershipsOf(user.id);
    count += static_cast<std::size_t>(std::count_if(all.begin(), all.end(), is_lost));
  }
  return count;
}

}  // namespace ncc::tool

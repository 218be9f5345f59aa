#include "generate/visible_nodes.h"

#include "core/find.h"
#include "core/links.h"
#include "core/walk.h"

namespace ncc {

std::vector<std::uint32_t> ListOf(const NetState& net, std::uint32_t object, std::uint8_t type,
                                  int list) {
  std::vector<std::uint32_t> numbers;
  if (const CHDBRecord* record = FindObject(net, object, type); record != nullptr)
    WalkIds(*record, list, [&](const TDBObjId& id) { numbers.push_back(id.number); });
  return numbers;
}

std::vector<std::uint32_t> LinkedDeps(const NetState& net, std::uint32_t dep) {
  std::vector<std::uint32_t> linked;
  if (FindObject(net, dep, kTypeDep) == nullptr) return linked;
  WalkEntries(*OpenFolder(net, dep), [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == kTypeDep) linked.push_back(entry.Object().number);
    return true;
  });
  return linked;
}

namespace {

// Goes on from Deps to those of their groups that `is_next(group, where the Dep came from)` takes,
// and to the nodes of these.
template <class IsNext>
void AddHomes(const NetState& net, const Ways::Came& deps, Ways& ways, IsNext is_next) {
  for (const auto& [dep, from] : deps) {
    for (const std::uint32_t home : ListOf(net, dep, kTypeDep, kGroupsOfDep)) {
      if (!is_next(home, from) || !ways.homes.try_emplace(home, dep).second) continue;
      for (const std::uint32_t node : ListOf(net, home, kTypeNGrp, kNodesOfGroup))
        ways.nodes.try_emplace(node, home);
    }
  }
}

}  // namespace

Ways FindWays(const NetState& net, const std::vector<std::uint32_t>& groups) {
  Ways ways;
  for (const std::uint32_t group : groups) {
    for (const std::uint32_t dep : ListOf(net, group, kTypeNGrp, kDepsOfGroup))
      ways.deps.try_emplace(dep, group);
  }
  // The shortest first: within a group, then by a Dep of two groups, then by a link.
  AddHomes(net, ways.deps, ways, [](auto home, auto own) { return home == own; });
  const auto any = [](auto, auto) { return true; };
  AddHomes(net, ways.deps, ways, any);
  for (const auto& came : ways.deps) {
    for (const std::uint32_t linked : LinkedDeps(net, came.first)) {
      if (!ways.deps.contains(linked)) ways.linked.try_emplace(linked, came.first);
    }
  }
  AddHomes(net, ways.linked, ways, any);
  return ways;
}

std::optional<Way> Ways::To(std::uint32_t node) const {
  const auto found = nodes.find(node);
  if (found == nodes.end()) return std::nullopt;
  Way way;
  way.home = found->second;
  way.dep = homes.at(way.home);
  if (const auto link = linked.find(way.dep); link != linked.end()) {
    way.linked = way.dep;
    way.dep = link->second;
  }
  way.group = deps.at(way.dep);
  return way;
}

VisibleNodes VisibleBy(const NetState& net, const Ways& ways) {
  VisibleNodes visible;
  for (const auto& came : ways.nodes) {
    const std::uint32_t node = came.first;
    if (FindObject(net, node, kTypeServer) != nullptr) visible.servers.push_back(node);
    if (FindObject(net, node, kTypeAP) != nullptr) visible.aps.push_back(node);
  }
  return visible;
}

void AppendWay(ReasonList& reasons, std::uint32_t from, const Way& way, std::uint32_t to) {
  reasons.push_back({CReason::kNodeInGroup, from, way.group});
  reasons.push_back({CReason::kDepInGroup, way.dep, way.group});
  if (way.linked != 0) reasons.push_back({CReason::kDepLink, way.dep, way.linked});
  const std::uint32_t last = way.linked != 0 ? way.linked : way.dep;
  if (way.linked != 0 || way.home != way.group)
    reasons.push_back({CReason::kDepInGroup, last, way.home});
  reasons.push_back({CReason::kNodeInGroup, to, way.home});
}

}  // namespace ncc

#include "generate/visible_nodes.h"

#include "core/find.h"
#include "core/links.h"
#include "core/walk.h"

#include <set>

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

VisibleNodes FindVisibleNodes(const NetState& net, const std::vector<std::uint32_t>& groups) {
  std::set<std::uint32_t> deps;
  for (const std::uint32_t group : groups) {
    for (const std::uint32_t dep : ListOf(net, group, kTypeNGrp, kDepsOfGroup)) deps.insert(dep);
  }
  std::set<std::uint32_t> reached = deps;
  for (const std::uint32_t dep : deps) {
    for (const std::uint32_t linked : LinkedDeps(net, dep)) reached.insert(linked);
  }
  std::set<std::uint32_t> homes;
  for (const std::uint32_t dep : reached) {
    for (const std::uint32_t group : ListOf(net, dep, kTypeDep, kGroupsOfDep)) homes.insert(group);
  }
  std::set<std::uint32_t> nodes;
  for (const std::uint32_t group : homes) {
    for (const std::uint32_t node : ListOf(net, group, kTypeNGrp, kNodesOfGroup))
      nodes.insert(node);
  }
  VisibleNodes visible;
  for (const std::uint32_t node : nodes) {
    if (FindObject(net, node, kTypeServer) != nullptr) visible.servers.push_back(node);
    if (FindObject(net, node, kTypeAP) != nullptr) visible.aps.push_back(node);
  }
  return visible;
}

}  // namespace ncc

// Which nodes the nodes of some node groups see, and how.
#pragma once

#include "generate/output_cache.h"
#include "generate/reasons.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace ncc {

// What a walk from some node groups reaches, each with where it came from: the first of the
// shortest ways.
struct Ways {
  using Came = std::map<std::uint32_t, std::uint32_t>;

  Came deps;    // Deps of the groups, with the group
  Came linked;  // Deps that only links lead to, with the Dep of the groups
  Came homes;   // groups of both, with the Dep
  Came nodes;   // nodes of these, with the group; one that is gone can be among them

  // Nothing for a node that is not reached.
  std::optional<Way> To(std::uint32_t node) const;
};

// Goes to the nodes of every group that holds a Dep of these groups or a Dep that such a Dep is
// linked to.
Ways FindWays(const NetState& net, const std::vector<std::uint32_t>& groups);

// The nodes that it reaches.
VisibleNodes VisibleBy(const NetState& net, const Ways& ways);
inline VisibleNodes FindVisibleNodes(const NetState& net,
                                     const std::vector<std::uint32_t>& groups) {
  return VisibleBy(net, FindWays(net, groups));
}

// Deps linked to a Dep, in the order of its folder.
std::vector<std::uint32_t> LinkedDeps(const NetState& net, std::uint32_t dep);

// The elements of an id list of an object, none when it is gone.
std::vector<std::uint32_t> ListOf(const NetState& net, std::uint32_t object, std::uint8_t type,
                                  int list);

}  // namespace ncc

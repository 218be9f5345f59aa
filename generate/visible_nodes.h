// Which nodes the nodes of some node groups see.
#pragma once

#include "generate/output_cache.h"

#include <cstdint>
#include <vector>

namespace ncc {

// The nodes of every group that holds a Dep of these groups or a Dep that such a Dep is linked to.
VisibleNodes FindVisibleNodes(const NetState& net, const std::vector<std::uint32_t>& groups);

// Deps linked to a Dep, in the order of its folder.
std::vector<std::uint32_t> LinkedDeps(const NetState& net, std::uint32_t dep);

// The elements of an id list of an object, none when it is gone.
std::vector<std::uint32_t> ListOf(const NetState& net, std::uint32_t object, std::uint8_t type,
                                  int list);

}  // namespace ncc

// The order in which links have to be made so that each end gets its own order of them.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace ncc::tool {

// Per object: the positions of those it is linked to, in its order.
using Neighbours = std::vector<std::vector<std::size_t>>;

// Whether making the links object by object, each under the first of its ends, gives this.
bool HasPlainOrder(const Neighbours& links);

// An order of making the links, the lower position first in each, that gives each object its own
// order; among several such orders always the same one. Links for which there is none, as only
// a damaged network has them, come last.
std::vector<std::pair<std::size_t, std::size_t>> OrderLinks(const Neighbours& links);

}  // namespace ncc::tool

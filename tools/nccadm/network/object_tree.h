// Deps and node groups as a tree.
#pragma once

#include "network/objects.h"
#include "network/session.h"

namespace ncc::tool {

// Deps with their users, or node groups with their nodes and Deps and the users of those; `depth`
// levels of it.
void ShowObjectTree(Session& session, Kind kind, int depth);

}  // namespace ncc::tool

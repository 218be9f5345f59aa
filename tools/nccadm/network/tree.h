// Objects with what belongs to them, as a tree.
#pragma once

#include <vector>

#include "network/object.h"
#include "network/session.h"

namespace ncc::tool {

// These objects of one kind: servers with their APs, Deps with their users, or node groups with
// their nodes and Deps and the users of those; `depth` levels of it.
void ShowTree(Session& session, Kind kind, const std::vector<Object>& objects, int depth);

}  // namespace ncc::tool

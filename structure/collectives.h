// The memberships in a user's record, and the Deps that they can be of.
#pragma once

#include "core/find.h"

#include <vector>

namespace ncc {

// The Deps that list a user, ascending.
std::vector<const CHDBRecord*> DepsOf(const NetState& net, const TDBObjId& user);

// Appends to a user a membership at every node of a Dep's group.
void AddMemberships(NetState& net, const CDepEntry& dep, CHDBRecord& user);

}  // namespace ncc

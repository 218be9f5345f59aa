// The memberships in a user's record.
#pragma once

#include "core/find.h"

namespace ncc {

// Appends to a user a membership at every node of a Dep's group.
void AddMemberships(NetState& net, const CDepEntry& dep, CHDBRecord& user);

}  // namespace ncc

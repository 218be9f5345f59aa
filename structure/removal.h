// Taking apart: what goes with an object, a link or a place in a Dep.
#pragma once

#include "core/find.h"

#include <cstdint>

namespace ncc {

// Deletes an object of the root folder, and with it what its type says: a server its APs, a Dep the
// memberships of its users, a node group the memberships in its Deps.
void RemoveObject(NetState& net, const TDBObjId& object);
void RemoveAP(NetState& net, const CHDBFolder& server, const TDBObjId& ap);
// Empties the folder of an object that is being deleted, and takes it out of every folder.
void DeleteAllLink(NetState& net, const TRef<CHDBFolder>& folder);

// Removes the first item that refers to this, if there is one.
void RemoveItem(CHDBFolder& folder, const TDBObjId& item);
// The same for an object's folder and for its record.
void RemoveItemsOf(CHDBFolder& folder, std::uint32_t object);

// Takes a user out of a Dep: one place in its list, and all of the user's memberships of the Dep.
void UnlinkUser(const NetState& net, CHDBFolder& dep, std::uint32_t user);
void UnlinkAllUsers(NetState& net, CHDBFolder& dep);
// Takes a Dep out of a node group.
void UnlinkDepFromGroup(const NetState& net, const Entity& group, const Entity& dep);
// Frees a Dep if this is its group, and ends all memberships of the Dep that its users have.
void FreeDep(const NetState& net, std::uint32_t group, const Entity& dep);
// Ends the memberships at a node of all users of a group's Deps.
void EndGroupMemberships(NetState& net, std::uint32_t group, std::uint32_t node);
void EndMembershipsOfDep(const NetState& net, std::uint32_t user, std::uint32_t dep);
void EndMembershipsAtNode(const NetState& net, std::uint32_t user, std::uint32_t node);

}  // namespace ncc

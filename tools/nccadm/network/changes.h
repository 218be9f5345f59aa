// Changes of single objects, told by the kind of the object. What gives a bool is false when the
// library refuses.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "network/object.h"
#include "network/session.h"

namespace ncc::tool {

// Adds an object with the name and, for a server or an AP, with the applications, the value and the
// server of this one; where it has an id with that, and with its number unless that is 0. Returns
// its id; 0 when the library refuses.
unsigned long Add(CNCCNet& net, const Object& object);

bool Rename(CNCCNet& net, const Object& object, const std::string& name);
// Gives an object a name that no other one has and no user types, and returns it.
std::string RenameAside(Session& session, const Object& object);

// Deletes this very object, whichever others have its name.
bool Delete(Session& session, const Object& object);

// Sets the applications and the settings of a server or an AP to those of this one.
bool Register(CNCCNet& net, const Object& node);

// The same object as it is now. Throws Failure when it is gone.
Object Reload(Session& session, Kind kind, unsigned long id);

// What the user could hold in a Dep: one for each node of the Dep's node group.
std::vector<Membership> PossibleMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep);
// Gives the user these memberships of the Dep: kinds are set, missing ones appended, and others of
// the Dep removed if that is wanted.
bool SetMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep,
                    const std::vector<Membership>& memberships, bool remove);
bool SetPrimary(CNCCNet& net, std::uint32_t user, std::uint32_t dep, std::uint32_t node);

}  // namespace ncc::tool

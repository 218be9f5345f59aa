// Users, Deps and node groups: as the library has them and as the user names them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "network/session.h"
#include "network/values.h"

namespace ncc::tool {

enum class Kind { kUser, kDep, kGroup };
inline constexpr Kind kObjectKinds[] = {Kind::kUser, Kind::kDep, Kind::kGroup};

const char* KeyOf(Kind kind);      // "user", "dep", "group": commands and documents
const char* KeyOfAll(Kind kind);   // "users", "deps", "groups"
const char* WordOf(Kind kind);     // "user", "Dep", "node group": sentences
const char* WordOfAll(Kind kind);  // "users", "Deps", "node groups"

struct Object {
  Kind kind = Kind::kUser;
  std::string name;  // bytes of code page 1251
  std::uint32_t id = 0;
  std::uint32_t number = 0;        // of a node group
  std::uint32_t group = 0;         // of a Dep: where its users can be members
  std::uint32_t primary_dep = 0;   // of a user
  std::uint32_t primary_node = 0;  // of a user
  std::uint32_t home_node = 0;     // of a neighbour's Dep that has no group for its home
  std::uint32_t network = 0;       // of a Dep that a neighbour's one is linked to elsewhere
};

struct Membership {
  std::uint32_t dep = 0;
  std::uint32_t node = 0;
  std::uint8_t kind = 0;
};

Object ObjectFrom(const CABEntry& entry);
Object ObjectFrom(const CDepEntry& entry);
Object ObjectFrom(const CNGrpEntry& entry);

// One member of the library for each kind, told by the kind of the object.
unsigned long Create(CNCCNet& net, Kind kind, const std::string& name);
bool Rename(CNCCNet& net, const Object& object, const std::string& name);
bool Delete(CNCCNet& net, const Object& object);

std::optional<Object> ObjectById(CNCCNet& net, Kind kind, std::uint32_t id);
// The same for an id that the database has just given. Throws Failure when it has none such.
Object ReloadObject(CNCCNet& net, Kind kind, unsigned long id);
std::vector<Object> ListObjects(CNCCNet& net, Kind kind);  // by id

// Relations, in link order.
std::vector<Object> ListUsersOf(CNCCNet& net, std::uint32_t dep);
std::vector<Object> ListLinkedDeps(CNCCNet& net, std::uint32_t dep);
std::vector<Object> ListGroupsOfDep(CNCCNet& net, std::uint32_t dep);
std::vector<Object> ListGroupsOfNode(CNCCNet& net, std::uint32_t node);
std::vector<Object> ListDepsOf(CNCCNet& net, std::uint32_t group);
std::vector<Node> ListNodesOf(CNCCNet& net, std::uint32_t group);
std::vector<Membership> ListMemberships(CNCCNet& net, std::uint32_t user);
// What the user could hold in a Dep: one for each node of the Dep's node group.
std::vector<Membership> ListPossible(CNCCNet& net, std::uint32_t user, std::uint32_t dep);
// Gives the user these memberships of the Dep: kinds are set, missing ones appended, and others of
// the Dep removed if that is wanted. False when the library refuses.
bool SetMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep,
                    const std::vector<Membership>& memberships, bool remove);
bool SetPrimary(CNCCNet& net, std::uint32_t user, std::uint32_t dep, std::uint32_t node);

template <class Items>
bool HasId(const Items& items, std::uint32_t id) {
  for (const auto& item : items) {
    if (item.id == id) return true;
  }
  return false;
}

// The object that a reference means. Throws Failure when it is unknown (with the nearest name) or
// when several have the name (with their ids).
Object FindObject(Session& session, Kind kind, const std::string& reference);

// Throws Failure when an object of the kind other than `except` has the name.
void RefuseTakenName(CNCCNet& net, Kind kind, const std::string& name, std::uint32_t except);

// The name of an object as text to show, in quotes.
std::string Quoted(const Object& object);

// "1 Dep", "3 Deps".
std::string CountOf(std::size_t count, Kind kind);

}  // namespace ncc::tool

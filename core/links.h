// Links between objects: each stands in an id list of either side.
#pragma once

#include "core/walk.h"

#include <cstdint>

namespace ncc {

// What the id lists of an object's record hold, by their position.
inline constexpr int kServerLinks = 4;   // of a server: the linked servers
inline constexpr int kNodesOfGroup = 4;  // of a node group: its nodes
inline constexpr int kDepsOfGroup = 5;   // of a node group: its Deps
inline constexpr int kGroupsOfNode = 5;  // of a server or an AP: the node groups with it
inline constexpr int kGroupsOfDep = 5;   // of a Dep: the node groups that hold it

// What a list of an object of a type holds, and which list of the other side holds the link too.
struct LinkPair {
  std::uint8_t type;
  int list;
  int other_list;
  std::uint32_t linked;  // the types of the linked objects, a bit each
};
// Null when such a list is always empty.
const LinkPair* FindLinkPair(std::uint32_t type, int list);

// Links two objects, at most once. `list` is the first one's.
void Link(CHDBRecord& one, int list, CHDBRecord& other);
void Unlink(CHDBRecord& one, int list, CHDBRecord& other);

// Takes an object out of `other_list` of each object that a record's list names; that one stays.
void RemoveBackLinks(const NetState& net, const CHDBRecord& record, int list,
                     const TDBObjId& object, int other_list);

}  // namespace ncc

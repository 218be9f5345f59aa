#include "core/links.h"

#include "core/find.h"

namespace ncc {

const LinkPair* FindLinkPair(std::uint32_t type, int list) {
  static constexpr std::uint32_t kNodes = 1U << kTypeServer | 1U << kTypeAP;
  static constexpr LinkPair kPairs[] = {
      {kTypeServer, kServerLinks, kServerLinks, 1U << kTypeServer},
      {kTypeServer, kGroupsOfNode, kNodesOfGroup, 1U << kTypeNGrp},
      {kTypeAP, kGroupsOfNode, kNodesOfGroup, 1U << kTypeNGrp},
      {kTypeDep, kGroupsOfDep, kDepsOfGroup, 1U << kTypeNGrp},
      {kTypeNGrp, kNodesOfGroup, kGroupsOfNode, kNodes},
      {kTypeNGrp, kDepsOfGroup, kGroupsOfDep, 1U << kTypeDep}};
  for (const LinkPair& pair : kPairs) {
    if (pair.type == type && pair.list == list) return &pair;
  }
  return nullptr;
}

void Link(CHDBRecord& one, int list, CHDBRecord& other) {
  one.AddToList(list, FolderOf(other));
  other.AddToList(FindLinkPair(one.Type(), list)->other_list, FolderOf(one));
}

void Unlink(CHDBRecord& one, int list, CHDBRecord& other) {
  one.RemoveFromList(list, other.Number());
  other.RemoveFromList(FindLinkPair(one.Type(), list)->other_list, one.Number());
}

void RemoveBackLinks(const NetState& net, const CHDBRecord& record, int list,
                     const TDBObjId& object, int other_list) {
  WalkIds(record, list, [&](const TDBObjId& linked) {
    OpenEntity(net, linked).record->RemoveFromList(other_list, object.number);
  });
}

}  // namespace ncc

#include "structure/removal.h"

#include "core/entry.h"
#include "core/links.h"
#include "core/walk.h"
#include "structure/nodes.h"
#include "structure/objects.h"

namespace ncc {
namespace {

void DeleteBackLinks(const NetState& net, const CHDBRecord& object) {
  for (int list = kFirstListPosition; list <= kLastListPosition; ++list) {
    const LinkPair* const pair = FindLinkPair(object.Type(), list);
    if (pair != nullptr) RemoveBackLinks(net, object, list, FolderOf(object), pair->other_list);
  }
}

// Removes every item that refers to the object's folder or record.
void RemoveAllItems(const NetState& net, const TDBObjId& object) {
  for (const TDBObjId& id : net.base->ParentLinkSelect(object)) {
    const TRef<CHDBFolder> parent = OpenFolder(net, id.number);
    for (const std::uint32_t space : {kFolderSpace, kRecordSpace}) {
      const TDBObjId item{space, object.number};
      for (auto at = parent->Find(item); at != kNoPosition; at = parent->Find(item))
        parent->Remove(at);
    }
  }
}

template <class Ended>
void EndMemberships(const NetState& net, std::uint32_t user, Ended ended) {
  const Entity entity = OpenEntity(net, {kFolderSpace, user});
  CHDBRecord& record = *entity.record;
  for (auto at = record.Pairs().First(); at != kNoPosition; at = record.Pairs().Next(at)) {
    if (ended(record.Pairs().At(at))) record.RemovePair(at);
  }
}

}  // namespace

void RemoveObject(NetState& net, const TDBObjId& object) {
  const Entity entity = OpenEntity(net, object);
  if (entity.record->Type() == kTypeServer) {
    WalkItems(net, entity.Folder(), [&](const CHDBFolderEntry& entry, std::uint32_t) {
      if (entry.Kind() == kTypeAP) RemoveAP(net, entity.Folder(), entry.Object());
      return true;
    });
  }
  if (entity.record->Type() == kTypeDep) UnlinkAllUsers(net, entity.Folder());
  if (entity.record->Type() == kTypeNGrp) {
    WalkIds(*entity.record, kDepsOfGroup,
            [&](const TDBObjId& dep) { UnlinkDepFromGroup(net, entity, OpenEntity(net, dep)); });
  }
  if (!net.base->HasFolder(object)) return;  // a progress callback has deleted it meanwhile
  DeleteAllLink(net, entity.record);
  if (!net.base->HasFolder(object)) return;
  DeleteBackLinks(net, *entity.record);  // after the last callback, which may have made some
  CHDBFolderManager(*net.base).FolderRemove(object);
}

void RemoveAP(NetState& net, const CHDBFolder& server, const TDBObjId& ap) {
  const Entity entity = OpenEntity(net, ap);
  DeleteBackLinks(net, *entity.record);
  DeleteAllLink(net, entity.record);
  CHDBFolderManager(*net.base).FolderRemove(ap);
  ChangeApCount(OpenEntity(net, server.Id()), -1);
}

void DeleteAllLink(NetState& net, const TRef<CHDBFolder>& folder) {
  WalkItems(net, *folder, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    // What a progress callback has put there meanwhile leaves nothing behind either.
    if (entry.Kind() == kTypeAP) {
      RemoveAP(net, *folder, entry.Object());
    } else if (entry.Kind() == kTypeAB) {
      EndMembershipsOfDep(net, entry.Object().number, folder->Number());
    }
    if (folder->Entries().Has(at)) folder->Remove(at);
    return true;
  });
  if (net.base->HasFolder(folder->Id())) RemoveAllItems(net, folder->Id());
}

void RemoveItem(CHDBFolder& folder, const TDBObjId& item) {
  const std::uint32_t at = folder.Find(item);
  if (at != kNoPosition) folder.Remove(at);
}

void RemoveItemsOf(CHDBFolder& folder, std::uint32_t object) {
  RemoveItem(folder, {kFolderSpace, object});
  RemoveItem(folder, {kRecordSpace, object});
}

void UnlinkUser(const NetState& net, CHDBFolder& dep, std::uint32_t user) {
  EndMembershipsOfDep(net, user, dep.Number());
  RemoveItemsOf(dep, user);
}

void UnlinkAllUsers(NetState& net, CHDBFolder& dep) {
  for (auto at = dep.Entries().First(); at != kNoPosition;) {
    net.Progress();
    const bool is_user = dep.Entries().Has(at) && dep.Entries().At(at).Kind() == kTypeAB;
    if (is_user) UnlinkUser(net, dep, dep.Entries().At(at).Object().number);
    // The walk begins anew after each user, which only a progress callback can tell from going on.
    at = is_user && net.callback != nullptr ? dep.Entries().First() : dep.Entries().Next(at);
  }
}

void UnlinkDepFromGroup(const NetState& net, const Entity& group, const Entity& dep) {
  FreeDep(net, group.Number(), dep);
  Unlink(*group.record, kDepsOfGroup, *dep.record);
}

void FreeDep(const NetState& net, std::uint32_t group, const Entity& dep) {
  auto entry = EntryOf<CDepEntry>(*dep.record);
  if (entry.ngrp_id == group) entry.ngrp_id = 0;
  ReplaceEntry(*dep.record, entry);
  WalkEntries(dep.Folder(), [&](const CHDBFolderEntry& item, std::uint32_t) {
    if (item.Kind() == kTypeAB) EndMembershipsOfDep(net, item.Object().number, dep.Number());
    return true;
  });
}

void EndGroupMemberships(NetState& net, std::uint32_t group, std::uint32_t node) {
  WalkIds(KnownRecord(net, kTypeNGrp, group), kDepsOfGroup, [&](const TDBObjId& dep) {
    net.Progress();
    if (!net.base->HasFolder(dep)) return;
    WalkItems(net, *OpenFolder(net, dep.number), [&](const CHDBFolderEntry& item, std::uint32_t) {
      if (item.Kind() == kTypeAB) EndMembershipsAtNode(net, item.Object().number, node);
      return true;
    });
  });
}

void EndMembershipsOfDep(const NetState& net, std::uint32_t user, std::uint32_t dep) {
  EndMemberships(net, user, [&](const PairValue& membership) { return membership.first == dep; });
}

void EndMembershipsAtNode(const NetState& net, std::uint32_t user, std::uint32_t node) {
  EndMemberships(net, user, [&](const PairValue& membership) { return membership.second == node; });
}

}  // namespace ncc

using namespace ncc;

// The steps that are members of the interface by themselves.

bool CNCCNet::DeleteRootEntry(const char* name, unsigned char type) {
  LockScope lock(state_->lock);
  TDBObjId object;
  const bool found = GetRootEntry(name, type, object);
  if (found) RemoveObject(*state_, object);
  return found;
}

bool CNCCNet::DeleteRootEntry(unsigned long id, unsigned char type) {
  LockScope lock(state_->lock);
  TDBObjId object;
  const bool found = GetRootEntry(id, type, object);
  if (found) RemoveObject(*state_, object);
  return found;
}

void CNCCNet::DeleteAllLink(TRef<CHDBFolder>& folder) {
  LockScope lock(state_->lock);
  ncc::DeleteAllLink(*state_, folder);
}

void CNCCNet::DeleteAbFromDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  UnlinkUser(*state_, *dep, user->Number());
}

void CNCCNet::DeleteCollectiveDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  EndMembershipsOfDep(*state_, user->Number(), dep->Number());
}

void CNCCNet::DeleteCollectiveNN(TRef<CHDBFolder>& node, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  EndMembershipsAtNode(*state_, user->Number(), node->Number());
}

void CNCCNet::DeleteNNFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& node) {
  LockScope lock(state_->lock);
  EndGroupMemberships(*state_, group->Number(), node->Number());
}

void CNCCNet::DeleteDepFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& dep) {
  LockScope lock(state_->lock);
  FreeDep(*state_, group->Number(), OpenEntity(*state_, dep->Id()));
}

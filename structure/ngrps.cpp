// Node groups: their nodes, their Deps, and the memberships that end with either.

#include "structure/nodes.h"

using namespace ncc;

namespace {

// Appends the entries of the objects that an id list names.
template <class Entry>
void AppendLinked(const NetState& net, const TDBObjId& object, int list_position,
                  std::list<Entry>& list) {
  WalkIds(RecordOf(net, object), list_position,
          [&](const TDBObjId& linked) { AppendEntry(RecordOf(net, linked), list); });
}

}  // namespace

unsigned long CNCCNet::CreateNGrp(const char* name, TDBObjId& result) {
  NetState& net = *state_;
  TDBObjId created;
  const unsigned long id = Run(net, 0UL, [&] {
    const std::string checked = CheckedName(net, name);
    CNGrpEntry entry;
    std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
    PutName(entry, checked);
    entry.id = TakeId(net);
    entry.type = kTypeNGrp;
    entry.number = ++net.prefs.ngrp_counter;
    created = StoreRootObject(&entry, sizeof(entry));
    return static_cast<unsigned long>(created.number);
  });
  if (id != 0) result = created;
  return id;
}

unsigned long CNCCNet::CreateNGrp(const char* name) {
  TDBObjId scratch;
  return CreateNGrp(name, scratch);
}

bool CNCCNet::ModifyNGrp(const char* name, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CNGrpEntry>(*state_, RootObject(name, kTypeNGrp), kTypeNGrp, new_name);
  });
}

bool CNCCNet::ModifyNGrp(unsigned long id, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CNGrpEntry>(*state_, RootObject(id, kTypeNGrp), kTypeNGrp, new_name);
  });
}

bool CNCCNet::DeleteNGrp(const char* name) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(name, kTypeNGrp)) RefuseUnknown(kTypeNGrp, name);
    return true;
  });
}

bool CNCCNet::DeleteNGrp(unsigned long id) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(id, kTypeNGrp)) RefuseUnknown(kTypeNGrp, id);
    return true;
  });
}

bool CNCCNet::GetNGrp(const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(name, kTypeNGrp);
    return true;
  });
}

bool CNCCNet::GetNGrp(unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(id, kTypeNGrp);
    return true;
  });
}

bool CNCCNet::GetNGrpInfo(const char* name, CNGrpEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(name, kTypeNGrp)), entry);
    return true;
  });
}

bool CNCCNet::GetNGrpInfo(unsigned long id, CNGrpEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(id, kTypeNGrp)), entry);
    return true;
  });
}

bool CNCCNet::GetNGrpInfo(TDBObjId& group, CNGrpEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, group), entry);
    return true;
  });
}

unsigned long CNCCNet::GetListNGrp(std::list<CNGrpEntry>& list) {
  return RunList(*state_, list, [&] { AppendAll(*state_, kTypeNGrp, list); });
}

bool CNCCNet::CheckNGrpName(const char* name) {
  return Run(*state_, false,
             [&] { return NameExists(*state_, CheckedName(*state_, name), kTypeNGrp); });
}

bool CNCCNet::LinkNNToNGrp(unsigned long group, unsigned long node) {
  return Run(*state_, false, [&] {
    Entity group_entity = OpenEntity(*state_, RootObject(group, kTypeNGrp));
    Entity node_entity = OpenEntity(*state_, FolderOf(KnownNode(*state_, node)));
    TDBObjId group_id = group_entity.Id();
    TDBObjId node_id = node_entity.Id();
    AddListId(group_entity.record, node_id, kNodesOfGroup);
    AddListId(node_entity.record, group_id, kGroupsOfNode);
    return true;
  });
}

bool CNCCNet::DeleteNNFromNGrp(unsigned long group, unsigned long node) {
  return Run(*state_, false, [&] {
    Entity group_entity = OpenEntity(*state_, RootObject(group, kTypeNGrp));
    Entity node_entity = OpenEntity(*state_, FolderOf(KnownNode(*state_, node)));
    TDBObjId group_id = group_entity.Id();
    TDBObjId node_id = node_entity.Id();
    DeleteNNFromNGrp(group_entity.folder, node_entity.folder);
    DelListId(group_entity.record, node_id, kNodesOfGroup);
    DelListId(node_entity.record, group_id, kGroupsOfNode);
    return true;
  });
}

// Ends the memberships at the node of all users of the group's Deps.
void CNCCNet::DeleteNNFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& node) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  const TDBObjId group_id = RootObject(group->Number(), kTypeNGrp);
  WalkIds(RecordOf(net, group_id), kDepsOfGroup, [&](const TDBObjId& dep) {
    net.Progress();
    if (!net.base->HasFolder(dep)) return;
    WalkItems(net, *OpenFolder(net, dep.number), [&](const CHDBFolderEntry& entry, std::uint32_t) {
      if (entry.Kind() == kTypeAB) {
        TRef<CHDBFolder> user = OpenFolder(net, entry.Object().number);
        DeleteCollectiveNN(node, user);
      }
      return true;
    });
  });
}

bool CNCCNet::LinkDepToNGrp(unsigned long group, unsigned long dep) {
  return Run(*state_, false, [&] {
    TDBObjId group_id = RootObject(group, kTypeNGrp);
    TDBObjId dep_id = RootObject(dep, kTypeDep);
    Entity group_entity = OpenEntity(*state_, group_id, kTypeNGrp);
    Entity dep_entity = OpenEntity(*state_, dep_id, kTypeDep);
    CDepEntry entry = EntryOf<CDepEntry>(*dep_entity.record);
    entry.ngrp_id = group_id.number;
    ReplaceEntry(*dep_entity.record, entry);
    AddListId(group_entity.record, dep_id, kDepsOfGroup);
    AddListId(dep_entity.record, group_id, kGroupsOfDep);
    return true;
  });
}

bool CNCCNet::DeleteDepFromNGrp(unsigned long group, unsigned long dep) {
  return Run(*state_, false, [&] {
    const TDBObjId group_object = RootObject(group, kTypeNGrp);
    UnlinkDepFromNGrp(group_object, RootObject(dep, kTypeDep));
    return true;
  });
}

void CNCCNet::UnlinkDepFromNGrp(TDBObjId group, TDBObjId dep) {
  Entity group_entity = OpenEntity(*state_, group, kTypeNGrp);
  Entity dep_entity = OpenEntity(*state_, dep, kTypeDep);
  DeleteDepFromNGrp(group_entity.folder, dep_entity.folder);
  DelListId(group_entity.record, dep, kDepsOfGroup);
  DelListId(dep_entity.record, group, kGroupsOfDep);
}

// Frees the Dep if this is its group, and ends all memberships of the Dep that its users have.
void CNCCNet::DeleteDepFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& dep) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  const Entity entity = OpenEntity(net, dep->Id());
  CDepEntry entry = EntryOf<CDepEntry>(*entity.record);
  if (entry.ngrp_id == group->Number()) entry.ngrp_id = 0;
  ReplaceEntry(*entity.record, entry);
  WalkEntries(*dep, [&](const CHDBFolderEntry& item, std::uint32_t) {
    if (item.Kind() == kTypeAB) {
      TRef<CHDBFolder> user = OpenFolder(net, item.Object().number);
      DeleteCollectiveDep(dep, user);
    }
    return true;
  });
}

unsigned long CNCCNet::GetListNN(unsigned long group, std::list<CNNEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendLinked(*state_, RootObject(group, kTypeNGrp), kNodesOfGroup, list); });
}

unsigned long CNCCNet::GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendLinked(*state_, RootObject(group, kTypeNGrp), kDepsOfGroup, list); });
}

unsigned long CNCCNet::GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) {
  return RunList(*state_, list, [&] {
    AppendLinked(*state_, FolderOf(KnownNode(*state_, node)), kGroupsOfNode, list);
  });
}

unsigned long CNCCNet::GetListNGrpFromDep(unsigned long dep, std::list<CNGrpEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendLinked(*state_, RootObject(dep, kTypeDep), kGroupsOfDep, list); });
}

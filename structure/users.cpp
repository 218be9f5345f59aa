// Users, and their place in Deps.

#include "core/entity.h"

using namespace ncc;

namespace {

bool HasPrimary(const CHDBRecord& user) {
  const CColId primary = EntryOf<CABEntry>(user).primary;
  return primary.dep != 0 || primary.node != 0;
}

// Unless the user has a primary collective, the Dep at the first node of its group becomes it.
void GivePrimary(const NetState& net, const TDBObjId& dep_object, const TDBObjId& user_object) {
  const auto dep = EntryOf<CDepEntry>(*OpenEntity(net, dep_object, kTypeDep).record);
  const Entity user = OpenEntity(net, user_object, kTypeAB);
  const CHDBRecord* group = FindObject(net, dep.ngrp_id, kTypeNGrp);
  if (group == nullptr || HasPrimary(*user.record)) return;
  const IdList& nodes = group->List(kNodesOfGroup);
  if (nodes.Size() == 0) return;
  CABEntry entry = EntryOf<CABEntry>(*user.record);
  entry.primary = {dep.id, nodes.At(nodes.First()).object.number};
  ReplaceEntry(*user.record, entry);
}

}  // namespace

unsigned long CNCCNet::CreateAB(const char* name, TDBObjId& result) {
  NetState& net = *state_;
  TDBObjId created;
  const unsigned long id = Run(net, 0UL, [&] {
    const std::string checked = CheckedName(net, name);
    CABEntry entry;
    std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
    PutName(entry, checked);
    entry.id = TakeId(net);
    entry.type = kTypeAB;
    created = StoreRootObject(&entry, sizeof(entry));
    return static_cast<unsigned long>(created.number);
  });
  if (id != 0) result = created;
  return id;
}

unsigned long CNCCNet::CreateAB(const char* name) {
  TDBObjId scratch;
  return CreateAB(name, scratch);
}

bool CNCCNet::ModifyAB(const char* name, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CABEntry>(*state_, RootObject(name, kTypeAB), kTypeAB, new_name);
  });
}

bool CNCCNet::ModifyAB(unsigned long id, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CABEntry>(*state_, RootObject(id, kTypeAB), kTypeAB, new_name);
  });
}

bool CNCCNet::DeleteAB(const char* name) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(name, kTypeAB)) RefuseUnknown(kTypeAB, name);
    return true;
  });
}

bool CNCCNet::DeleteAB(unsigned long id) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(id, kTypeAB)) RefuseUnknown(kTypeAB, id);
    return true;
  });
}

bool CNCCNet::LinkABToDep(const char* dep, const char* user, bool collectives) {
  return Run(*state_, false, [&] {
    CheckedName(*state_, dep);
    CheckedName(*state_, user);
    TDBObjId dep_object;
    if (!GetRootEntry(dep, kTypeDep, dep_object) && CreateDep(dep, dep_object) == 0) {
      throw Refusal(LastErrorText());
    }
    TDBObjId user_object;
    if (!GetRootEntry(user, kTypeAB, user_object) && CreateAB(user, user_object) == 0) {
      throw Refusal(LastErrorText());
    }
    return LinkUser(dep_object, user_object, collectives);
  });
}

bool CNCCNet::LinkABToDep(unsigned long dep, unsigned long user, bool collectives) {
  return Run(*state_, false, [&] {
    const TDBObjId dep_object = RootObject(dep, kTypeDep);
    return LinkUser(dep_object, RootObject(user, kTypeAB), collectives);
  });
}

bool CNCCNet::LinkUser(TDBObjId dep_object, TDBObjId user_object, bool collectives) {
  NetState& net = *state_;
  const auto dep_entry = EntryOf<CDepEntry>(*OpenEntity(net, dep_object, kTypeDep).record);
  if (!HasPrimary(*OpenEntity(net, user_object, kTypeAB).record)) {
    TDBObjId group;
    const bool known = GetRootEntry(dep_entry.ngrp_id, kTypeNGrp, group);
    if (known && RecordOf(net, group).List(kNodesOfGroup).Size() > 0) net.Progress();
    GivePrimary(net, dep_object, user_object);
  }
  Entity user = OpenEntity(net, user_object, kTypeAB);
  if (collectives) AddCollective(dep_entry, user.record);
  const Entity dep = OpenEntity(net, dep_object, kTypeDep);
  dep.folder->Append(user.Id(), kTypeAB, user.record->Name());
  dep.folder->Append(user.folder->RecordId(), kRecordItem, user.record->Name());
  return true;
}

bool CNCCNet::GetAB(const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(name, kTypeAB);
    return true;
  });
}

bool CNCCNet::GetAB(unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(id, kTypeAB);
    return true;
  });
}

bool CNCCNet::GetABInfo(const char* name, CABEntry& entry) {
  return Run(*state_, false, [&] {
    TDBObjId user = RootObject(name, kTypeAB);
    GetABInfo(user, entry);
    return true;
  });
}

bool CNCCNet::GetABInfo(unsigned long id, CABEntry& entry) {
  return Run(*state_, false, [&] {
    TDBObjId user = RootObject(id, kTypeAB);
    GetABInfo(user, entry);
    return true;
  });
}

bool CNCCNet::GetABInfo(TDBObjId& user, CABEntry& entry) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  if (net.root->Find(user) == kNoPosition) return false;
  ReadEntry(RecordOf(net, user), entry);
  return true;
}

unsigned long CNCCNet::GetListAB(std::list<CABEntry>& list) {
  return RunList(*state_, list, [&] { AppendAll(*state_, kTypeAB, list); });
}

unsigned long CNCCNet::GetListAB(unsigned long dep, std::list<CABEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(dep, kTypeDep), kTypeAB, list); });
}

unsigned long CNCCNet::GetListAB(const char* dep, std::list<CABEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(dep, kTypeDep), kTypeAB, list); });
}

bool CNCCNet::CheckABName(const char* name) {
  return Run(*state_, false,
             [&] { return NameExists(*state_, CheckedName(*state_, name), kTypeAB); });
}

bool CNCCNet::CheckAB(unsigned long, unsigned long) { return false; }

void CNCCNet::DeleteABFromDep(unsigned long dep, unsigned long user) {
  NetState& net = *state_;
  Run(net, false, [&] {
    TRef<CHDBFolder> folder = OpenFolder(net, RootObject(dep, kTypeDep).number);
    const TDBObjId found = FindItem(net, *folder, kTypeAB, user);
    if (found.number == 0) RefuseUnknown(kTypeAB, user);
    TRef<CHDBFolder> user_folder = OpenFolder(net, found.number);
    DeleteAbFromDep(folder, user_folder);
    return true;
  });
}

void CNCCNet::DeleteABFromDep(const char* dep, const char* user) {
  NetState& net = *state_;
  Run(net, false, [&] {
    TRef<CHDBFolder> folder = OpenFolder(net, RootObject(dep, kTypeDep).number);
    const TDBObjId found = FindNamedItem(net, *folder, kTypeAB, user);
    if (found.number == 0) RefuseUnknown(kTypeAB, user);
    TRef<CHDBFolder> user_folder = OpenFolder(net, found.number);
    DeleteAbFromDep(folder, user_folder);
    return true;
  });
}

void CNCCNet::DeleteAllAb(unsigned long dep) {
  NetState& net = *state_;
  Run(net, false, [&] {
    TRef<CHDBFolder> folder = OpenFolder(net, RootObject(dep, kTypeDep).number);
    UnlinkAllUsers(folder);
    return true;
  });
}

void CNCCNet::UnlinkAllUsers(TRef<CHDBFolder>& dep) {
  NetState& net = *state_;
  for (auto at = dep->Entries().First(); at != kNoPosition;) {
    net.Progress();
    const bool is_user = dep->Entries().Has(at) && dep->Entries().At(at).Kind() == kTypeAB;
    if (is_user) {
      TRef<CHDBFolder> user = OpenFolder(net, dep->Entries().At(at).Object().number);
      DeleteAbFromDep(dep, user);
    }
    // The walk begins anew after each user, which only a progress callback can tell from going on.
    at = is_user && net.callback != nullptr ? dep->Entries().First() : dep->Entries().Next(at);
  }
}

void CNCCNet::DeleteAbFromDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  DeleteCollectiveDep(dep, user);
  for (const TDBObjId& item : {user->Id(), user->RecordId()}) {
    const std::uint32_t at = dep->Find(item);
    if (at != kNoPosition) dep->Remove(at);
  }
}

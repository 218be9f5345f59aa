// Users, and their place in Deps.

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/operation.h"
#include "structure/collectives.h"
#include "structure/objects.h"
#include "structure/removal.h"

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
  auto entry = EntryOf<CABEntry>(*user.record);
  entry.primary = {dep.id, nodes.At(nodes.First()).object.number};
  ReplaceEntry(*user.record, entry);
}

void LinkUser(NetState& net, const TDBObjId& dep_object, const TDBObjId& user_object,
              bool collectives) {
  const auto dep_entry = EntryOf<CDepEntry>(*OpenEntity(net, dep_object, kTypeDep).record);
  if (!HasPrimary(*OpenEntity(net, user_object, kTypeAB).record)) {
    const CHDBRecord* const group =
        FindRootItem(net, kTypeNGrp, static_cast<unsigned long>(dep_entry.ngrp_id));
    if (group != nullptr && group->List(kNodesOfGroup).Size() > 0) net.Progress();
    GivePrimary(net, dep_object, user_object);
  }
  if (collectives) AddMemberships(net, dep_entry, *OpenEntity(net, user_object, kTypeAB).record);
  const Entity user = OpenEntity(net, user_object, kTypeAB);
  const Entity dep = OpenEntity(net, dep_object, kTypeDep);
  AppendItemsOf(dep.Folder(), *user.record, user.record->Name());
}

// The object of this name, made when there is none.
template <class Entry>
TDBObjId FindOrCreate(NetState& net, std::uint8_t type, const char* name) {
  const CHDBRecord* const found = FindRootItem(net, type, name);
  if (found != nullptr) return FolderOf(*found);
  Entry entry;
  FillNew(net, type, name, entry);
  return StoreRootObject(net, entry);
}

template <class NameOrId>
void UnlinkUserFrom(NetState& net, NameOrId dep, NameOrId user) {
  Run(net, [&] {
    const TRef<CHDBFolder> folder = KnownFolder(net, kTypeDep, dep);
    const CHDBRecord* const found = FindItem(net, *folder, kTypeAB, user);
    if (found == nullptr) RefuseUnknown(kTypeAB, user);
    UnlinkUser(net, *folder, found->Number());
  });
}

}  // namespace

unsigned long CNCCNet::CreateAB(const char* name, TDBObjId& result) {
  return CreateObject<CABEntry>(*state_, result,
                                [&](CABEntry& entry) { FillNew(*state_, kTypeAB, name, entry); });
}
unsigned long CNCCNet::CreateAB(const char* name) {
  TDBObjId scratch;
  return CreateAB(name, scratch);
}
unsigned long CreateABAs(CNCCNet& net, unsigned long id, const char* name) {
  NetState& state = StateOf::Net(net);
  const CIdentity as{id};
  return CreateObject<CABEntry>(
      state, [&](CABEntry& entry) { FillNew(state, kTypeAB, name, entry, &as); });
}

bool CNCCNet::ModifyAB(const char* name, const char* new_name) {
  return RenameObject(*state_, kTypeAB, name, new_name);
}
bool CNCCNet::ModifyAB(unsigned long id, const char* new_name) {
  return RenameObject(*state_, kTypeAB, id, new_name);
}

bool CNCCNet::DeleteAB(const char* name) { return DeleteObject(*state_, kTypeAB, name); }
bool CNCCNet::DeleteAB(unsigned long id) { return DeleteObject(*state_, kTypeAB, id); }

bool CNCCNet::LinkABToDep(const char* dep, const char* user, bool collectives) {
  NetState& net = *state_;
  return Run(net, [&] {
    CheckedName(net, dep);
    CheckedName(net, user);
    const TDBObjId dep_object = FindOrCreate<CDepEntry>(net, kTypeDep, dep);
    LinkUser(net, dep_object, FindOrCreate<CABEntry>(net, kTypeAB, user), collectives);
  });
}

bool CNCCNet::LinkABToDep(unsigned long dep, unsigned long user, bool collectives) {
  NetState& net = *state_;
  return Run(net, [&] {
    const TDBObjId dep_object = Known(net, kTypeDep, dep);
    LinkUser(net, dep_object, Known(net, kTypeAB, user), collectives);
  });
}

bool CNCCNet::GetAB(const char* name, TDBObjId& result) {
  return GetObject(*state_, kTypeAB, name, result);
}
bool CNCCNet::GetAB(unsigned long id, TDBObjId& result) {
  return GetObject(*state_, kTypeAB, id, result);
}

bool CNCCNet::GetABInfo(const char* name, CABEntry& entry) {
  return GetInfo(*state_, kTypeAB, name, entry);
}
bool CNCCNet::GetABInfo(unsigned long id, CABEntry& entry) {
  return GetInfo(*state_, kTypeAB, id, entry);
}
bool CNCCNet::GetABInfo(TDBObjId& user, CABEntry& entry) {
  LockScope lock(state_->lock);
  if (state_->root->Find(user) == kNoPosition) return false;
  ReadEntry(RecordOf(*state_, user), entry);
  return true;
}

unsigned long CNCCNet::GetListAB(std::list<CABEntry>& list) {
  return ListAll(*state_, kTypeAB, list);
}
unsigned long CNCCNet::GetListAB(unsigned long dep, std::list<CABEntry>& list) {
  return ListItems(*state_, kTypeDep, dep, kTypeAB, list);
}
unsigned long CNCCNet::GetListAB(const char* dep, std::list<CABEntry>& list) {
  return ListItems(*state_, kTypeDep, dep, kTypeAB, list);
}

bool CNCCNet::CheckABName(const char* name) { return CheckName(*state_, kTypeAB, name); }
bool CNCCNet::CheckAB(unsigned long, unsigned long) { return false; }

void CNCCNet::DeleteABFromDep(unsigned long dep, unsigned long user) {
  UnlinkUserFrom(*state_, dep, user);
}
void CNCCNet::DeleteABFromDep(const char* dep, const char* user) {
  UnlinkUserFrom(*state_, dep, user);
}
void CNCCNet::DeleteAllAb(unsigned long dep) {
  Run(*state_, [&] { UnlinkAllUsers(*state_, *KnownFolder(*state_, kTypeDep, dep)); });
}

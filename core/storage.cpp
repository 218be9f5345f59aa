// How objects are kept in the database: their records, their id lists, finding and removing them.

#include "core/entity.h"

using namespace ncc;

void CNCCNet::SetData(TRef<CHDBList> list, void* data, unsigned long size) {
  LockScope lock(state_->lock);
  const char* bytes = static_cast<const char*>(data);
  CNCCEntry head;
  std::memcpy(static_cast<void*>(&head), data, sizeof(head));
  list->Append({kDataValue, 0, 0, {bytes, size}});
  list->Append({kNumberValue, kIdAttribute, head.id, {}});
  list->Append({kStringValue, kNameAttribute, 0, {head.name, strnlen(head.name, kMaxNameLength)}});
  list->Append({kNumberValue, kTypeAttribute, head.type, {}});
  for (int n = kFirstListPosition; n <= kLastListPosition; ++n)
    list->Append({kListValue, 0, 0, {}});
}

void CNCCNet::AddListId(TRef<CHDBRecord>& record, TDBObjId& object, int n) {
  LockScope lock(state_->lock);
  record->AddToList(n, object);
}

void CNCCNet::DelListId(TRef<CHDBRecord>& record, TDBObjId& object, int n) {
  LockScope lock(state_->lock);
  record->RemoveFromList(n, object.number);
}

void CNCCNet::DelAllListId(TRef<CHDBRecord>& record, TDBObjId& object, int n, int m) {
  LockScope lock(state_->lock);
  WalkIds(*record, n, [&](const TDBObjId& linked) {
    TRef<CHDBRecord> other = OpenEntity(*state_, linked).record;
    DelListId(other, object, m);
  });
}

bool CNCCNet::GetRootEntry(const char* name, unsigned char type, TDBObjId& result) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  const TRef<CHDBFolder> root = net.root;
  const TDBObjId found = FindNamedItem(net, *root, type, name);
  if (found.number == 0) return false;
  result = found;
  return true;
}

bool CNCCNet::GetRootEntry(unsigned long id, unsigned char type, TDBObjId& result) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  const TRef<CHDBFolder> root = net.root;
  const TDBObjId found = FindItem(net, *root, type, id);
  if (found.number == 0) return false;
  result = found;
  return true;
}

unsigned long CNCCNet::GetRootFldSpc() {
  NetState& net = *state_;
  LockScope lock(net.lock);
  for (std::size_t i = 0; i < net.base->Definitions().size(); ++i) {
    const CHDBDefinition found =
        net.base->Definitions()[i];  // a callback may have them loaded anew
    if (found.what != CHDBDefinition::What::kRecordSpace &&
        found.what != CHDBDefinition::What::kFolderSpace) {
      continue;
    }
    net.Progress();
    if (found.tag == CHDBase::kFolderTag && (found.flags & CHDBase::kDeletedFlag) == 0)
      return found.number;
  }
  return 0;
}

TDBObjId CNCCNet::RootObject(const char* name, unsigned char type) {
  TDBObjId object;
  if (!GetRootEntry(name, type, object)) RefuseUnknown(type, name);
  return object;
}

TDBObjId CNCCNet::RootObject(unsigned long id, unsigned char type) {
  TDBObjId object;
  if (!GetRootEntry(id, type, object)) RefuseUnknown(type, id);
  return object;
}

bool CNCCNet::DeleteRootEntry(const char* name, unsigned char type) {
  LockScope lock(state_->lock);
  TDBObjId object;
  if (!GetRootEntry(name, type, object)) return false;
  DeleteRootObject(object);
  return true;
}

bool CNCCNet::DeleteRootEntry(unsigned long id, unsigned char type) {
  LockScope lock(state_->lock);
  TDBObjId object;
  if (!GetRootEntry(id, type, object)) return false;
  DeleteRootObject(object);
  return true;
}

// Stores a new object whose entry is complete, as an item of the root folder.
TDBObjId CNCCNet::StoreRootObject(void* entry, unsigned long size) {
  NetState& net = *state_;
  CNCCEntry head;
  std::memcpy(static_cast<void*>(&head), entry, sizeof(head));
  const Entity entity = CreateEntity(net, head.id);
  SetData(std::make_shared<CHDBList>(entity.record), entry, size);
  net.root->Append(entity.Id(), head.type, head.name);
  StorePreferences(net);
  return entity.Id();
}

void CNCCNet::DeleteRootObject(TDBObjId object) {
  NetState& net = *state_;
  Entity entity = OpenEntity(net, object);
  if (entity.record->Type() == kTypeServer) {
    WalkItems(net, *entity.folder, [&](const CHDBFolderEntry& entry, std::uint32_t) {
      if (entry.Kind() == kTypeAP) DeleteAPOf(entity.folder, entry.Object());
      return true;
    });
  }
  if (entity.record->Type() == kTypeDep) UnlinkAllUsers(entity.folder);
  if (entity.record->Type() == kTypeNGrp) {
    WalkIds(*entity.record, kDepsOfGroup,
            [&](const TDBObjId& dep) { UnlinkDepFromNGrp(object, dep); });
  }
  if (!net.base->HasFolder(object)) return;  // a progress callback has deleted it meanwhile
  DeleteAllLink(entity.folder);
  if (!net.base->HasFolder(object)) return;
  DeleteBackLinks(entity.record);  // after the last callback, which may have made some
  CHDBFolderManager(*net.base).FolderRemove(object);
}

void CNCCNet::DeleteBackLinks(TRef<CHDBRecord>& record) {
  TDBObjId object{kFolderSpace, record->Number()};
  for (int list = kFirstListPosition; list <= kLastListPosition; ++list) {
    const LinkPair* pair = FindLinkPair(record->Type(), list);
    if (pair != nullptr) DelAllListId(record, object, list, pair->other_list);
  }
}

void CNCCNet::DeleteAllLink(TRef<CHDBFolder>& folder) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  WalkItems(net, *folder, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    // What a progress callback has put there meanwhile leaves nothing behind either.
    if (entry.Kind() == kTypeAP) {
      DeleteAPOf(folder, entry.Object());
    } else if (entry.Kind() == kTypeAB) {
      TRef<CHDBFolder> user = OpenFolder(net, entry.Object().number);
      DeleteCollectiveDep(folder, user);
    }
    if (folder->Entries().Has(at)) folder->Remove(at);
    return true;
  });
  if (net.base->HasFolder(folder->Id())) RemoveItems(net, folder->Id());
}

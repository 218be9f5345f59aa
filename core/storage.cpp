// How objects are kept in the database: their records, their id lists, finding and removing them.

#include "core/entity.h"

using namespace ncc;

namespace {

// Which list of the other side holds the link that list n of an object of this type holds.
struct LinkPair {
  std::uint8_t type;
  int own_list;
  int other_list;
};
constexpr LinkPair kLinkPairs[] = {
    {kTypeServer, 4, 4},  // server links
    {kTypeServer, 5, 4},  // node groups of a node
    {kTypeAP, 5, 4},
    {kTypeDep, 5, 5},   // node groups of a Dep
    {kTypeNGrp, 4, 5},  // nodes of a group
    {kTypeNGrp, 5, 5},  // Deps of a group
};

}  // namespace

void CNCCNet::SetData(TRef<CHDBList> list, void* data, unsigned long size) {
  LockScope lock(state_->lock);
  const char* bytes = static_cast<const char*>(data);
  CNCCEntry head;
  std::memcpy(static_cast<void*>(&head), data, sizeof(head));
  list->Append({kDataValue, 0, 0, {bytes, size}});
  list->Append({kNumberValue, kIdAttribute, head.id, {}});
  list->Append({kStringValue, kNameAttribute, 0, {head.name, strnlen(head.name, kMaxNameLength)}});
  list->Append({kNumberValue, kTypeAttribute, head.type, {}});
  for (int n = kFirstListPosition; n <= kLastListPosition; ++n) list->Append({kListValue, 0, 0, {}});
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
  if (name == nullptr) return false;
  if (net.callback == nullptr) {
    const CHDBRecord* record = FindRootObject(net, name, type);
    if (record == nullptr) return false;
    result = {kFolderSpace, record->Number()};
    return true;
  }
  bool found = false;
  const TRef<CHDBFolder> root = net.root;
  WalkEntries(*root, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    found = entry.Kind() == type && EqualFolded(root->EntryName(at), name);
    if (found) result = entry.Object();
    net.Progress();
    return !found;
  });
  return found;
}

bool CNCCNet::GetRootEntry(unsigned long id, unsigned char type, TDBObjId& result) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  if (net.callback == nullptr) {
    if (FindObject(net, id, type) == nullptr) return false;
    result = {kFolderSpace, NumberOf(id)};
    return true;
  }
  bool found = false;
  const TRef<CHDBFolder> root = net.root;
  WalkEntries(*root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    found = entry.Kind() == type && entry.Object().number == id;
    if (found) result = entry.Object();
    net.Progress();
    return !found;
  });
  return found;
}

unsigned long CNCCNet::GetRootFldSpc() {
  NetState& net = *state_;
  LockScope lock(net.lock);
  for (const CHDBDefinition& space : net.base->Definitions()) {
    if (space.what != CHDBDefinition::What::kRecordSpace &&
        space.what != CHDBDefinition::What::kFolderSpace) {
      continue;
    }
    const CHDBDefinition found = space;
    net.Progress();
    if (found.tag == CHDBase::kFolderTag && (found.flags & CHDBase::kDeletedFlag) == 0) return found.number;
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

void CNCCNet::DeleteRootObject(TDBObjId object) {
  Entity entity = OpenEntity(*state_, object);
  if (entity.record->Type() == kTypeServer) {
    WalkEntries(*entity.folder, [&](const CHDBFolderEntry& entry, std::uint32_t) {
      if (entry.Kind() == kTypeAP) DeleteAPOf(entity.folder, entry.Object());
      return true;
    });
  }
  DeleteBackLinks(entity.record);
  DeleteAllLink(entity.folder);
  CHDBFolderManager(*state_->base).FolderRemove(object);
}

void CNCCNet::DeleteBackLinks(TRef<CHDBRecord>& record) {
  TDBObjId object{kFolderSpace, record->Number()};
  for (const LinkPair& pair : kLinkPairs) {
    if (pair.type == record->Type()) DelAllListId(record, object, pair.own_list, pair.other_list);
  }
}

void CNCCNet::DeleteAllLink(TRef<CHDBFolder>& folder) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  WalkEntries(*folder, [&](const CHDBFolderEntry&, std::uint32_t at) {
    folder->Remove(at);
    net.Progress();
    return true;
  });
  RemoveItems(net, folder->Id());
}

// Subscriber points, and finding nodes of either kind.

#include "structure/nodes.h"

#include <limits>

using namespace ncc;

namespace {

// Where an AP stands among all: its server in the root folder, then itself in its server's folder.
std::uint64_t OrderOf(const NetState& net, const CHDBRecord& ap) {
  const std::uint32_t server = EntryOf<CNNEntry>(ap).server_id;
  if (FindObject(net, server, kTypeServer) == nullptr)
    return std::numeric_limits<std::uint64_t>::max();
  const std::uint32_t position = OpenFolder(net, server)->Find({kFolderSpace, ap.Number()});
  return (std::uint64_t{net.root->Find({kFolderSpace, server})} << 32) | position;
}

// Of several APs of one name the first; null when there is none.
const CHDBRecord* FirstNamed(const NetState& net, std::string_view name) {
  const CHDBRecord* only = nullptr;
  bool several = false;
  net.base->ForEachNamed(kTypeAP, name, [&](const CHDBRecord& record) {
    several = only != nullptr;
    only = &record;
    return !several;
  });
  if (!several) return only;
  const CHDBRecord* first = nullptr;
  auto first_order = std::numeric_limits<std::uint64_t>::max();
  net.base->ForEachNamed(kTypeAP, name, [&](const CHDBRecord& record) {
    const std::uint64_t order = OrderOf(net, record);
    if (order < first_order) {
      first = &record;
      first_order = order;
    }
    return true;
  });
  return first;
}

// GetAP by name: with a progress callback a walk over the root folder, without one by index.
const CHDBRecord* FindAP(NetState& net, std::string_view name) {
  if (net.callback == nullptr) return FirstNamed(net, name);
  const CHDBRecord* found = nullptr;
  WalkItems(net, *net.root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == kTypeServer) {
      found = FindNamedIn(net, *OpenFolder(net, entry.Object().number), kTypeAP, name);
    }
    return found == nullptr;
  });
  return found;
}

const CHDBRecord& KnownAP(NetState& net, const char* given) {
  const CHDBRecord* record = FindAP(net, StoredName(net, given));
  if (record == nullptr) RefuseUnknown(kTypeAP, given);
  return *record;
}

const CHDBRecord& KnownAP(NetState& net, unsigned long id) {
  const CHDBRecord* record = FindObject(net, id, kTypeAP);
  if (record == nullptr) RefuseUnknown(kTypeAP, id);
  return *record;
}

// CheckAPName: with a progress callback server by server.
bool IsNameTaken(NetState& net, std::string_view name) {
  if (net.callback == nullptr) return NameExists(net, name, kTypeAP);
  for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
    net.Progress();
    if (FindObject(net, server, kTypeServer) != nullptr &&
        FindNamedIn(net, *OpenFolder(net, server), kTypeAP, name) != nullptr) {
      return true;
    }
  }
  return false;
}

bool RenameAP(NetState& net, const TDBObjId& object, const char* new_name) {
  const std::string name = CheckedName(net, new_name);
  if (IsNameTaken(net, name)) RefuseTakenName(net, name, kTypeAP);
  net.Progress();
  const Entity ap = OpenEntity(net, object, kTypeAP);
  RenameRecord<CNNEntry>(*ap.record, name);
  const std::uint32_t server = EntryOf<CNNEntry>(*ap.record).server_id;
  if (FindObject(net, server, kTypeServer) == nullptr) RefuseUnknown(kTypeServer, server);
  RenameItems(net, ap);
  return true;
}

}  // namespace

const CHDBRecord& ncc::KnownNode(const NetState& net, unsigned long id) {
  const CHDBRecord* record = FindNode(net, id);
  if (record == nullptr) RefuseUnknown(kTypeNone, id);
  return *record;
}

std::uint32_t ncc::ChangeApCount(const Entity& server, int by) {
  CNNEntry entry = EntryOf<CNNEntry>(*server.record);
  entry.ap_count += static_cast<std::uint32_t>(by);
  ReplaceEntry(*server.record, entry);
  return entry.ap_count;
}

unsigned long CNCCNet::AddAP(const char* server, const char* name, unsigned long flags) {
  return Run(*state_, 0UL, [&] { return AddAPTo(RootObject(server, kTypeServer), name, flags); });
}

unsigned long CNCCNet::AddAP(unsigned long server, const char* name, unsigned long flags) {
  return Run(*state_, 0UL, [&] { return AddAPTo(RootObject(server, kTypeServer), name, flags); });
}

unsigned long CNCCNet::AddAP(TDBObjId& server, const char* name, unsigned long flags) {
  return Run(*state_, 0UL, [&] { return AddAPTo(server, name, flags); });
}

unsigned long CNCCNet::AddAPTo(TDBObjId object, const char* name, unsigned long flags) {
  NetState& net = *state_;
  const std::string checked = CheckedName(net, name);
  const Entity server = OpenEntity(net, object, kTypeServer);
  const std::uint32_t id = TakeId(net);
  const std::uint32_t ordinal = ChangeApCount(server, +1);
  const Entity ap = CreateEntity(net, id);
  CNNEntry entry;
  std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
  PutName(entry, checked);
  entry.id = id;
  entry.type = kTypeAP;
  entry.number = ordinal;
  entry.flags = static_cast<std::uint32_t>(flags);
  entry.server_id = server.Number();
  entry.settings = net.prefs.node_settings;
  SetData(std::make_shared<CHDBList>(ap.record), &entry, sizeof(entry));
  server.folder->Append(ap.Id(), kTypeAP, checked);
  server.folder->Append(ap.folder->RecordId(), kRecordItem, checked);
  StorePreferences(net);
  return id;
}

bool CNCCNet::ModifyAP(const char* name, const char* new_name) {
  NetState& net = *state_;
  return Run(net, false, [&] { return RenameAP(net, FolderOf(KnownAP(net, name)), new_name); });
}

bool CNCCNet::ModifyAP(unsigned long id, const char* new_name) {
  NetState& net = *state_;
  return Run(net, false, [&] { return RenameAP(net, FolderOf(KnownAP(net, id)), new_name); });
}

bool CNCCNet::ChangeSrv(const char* ap, unsigned long server) {
  return Run(*state_, false, [&] {
    TDBObjId moved = FolderOf(KnownAP(*state_, ap));
    TDBObjId target = RootObject(server, kTypeServer);
    ChangeSrv(moved, target);
    return true;
  });
}

bool CNCCNet::ChangeSrv(const char* ap, const char* server) {
  return Run(*state_, false, [&] {
    TDBObjId moved = FolderOf(KnownAP(*state_, ap));
    TDBObjId target = RootObject(server, kTypeServer);
    ChangeSrv(moved, target);
    return true;
  });
}

bool CNCCNet::ChangeSrv(unsigned long ap, unsigned long server) {
  return Run(*state_, false, [&] {
    TDBObjId moved = FolderOf(KnownAP(*state_, ap));
    TDBObjId target = RootObject(server, kTypeServer);
    ChangeSrv(moved, target);
    return true;
  });
}

void CNCCNet::ChangeSrv(TDBObjId& object, TDBObjId& new_server) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  const Entity ap = OpenEntity(net, object, kTypeAP);
  CNNEntry entry = EntryOf<CNNEntry>(*ap.record);
  if (FindObject(net, entry.server_id, kTypeServer) == nullptr) return;
  const Entity old_server = OpenEntity(net, {kFolderSpace, entry.server_id});
  const Entity server = OpenEntity(net, new_server, kTypeServer);
  ChangeApCount(server, +1);
  entry.server_id = server.Number();
  ReplaceEntry(*ap.record, entry);
  ChangeApCount(old_server, -1);
  for (const TDBObjId& item : {ap.folder->RecordId(), ap.Id()}) {
    const std::uint32_t at = old_server.folder->Find(item);
    if (at != kNoPosition) old_server.folder->Remove(at);
  }
  server.folder->Append(ap.Id(), kTypeAP, ap.record->Name());
  server.folder->Append(ap.folder->RecordId(), kRecordItem, ap.record->Name());
}

bool CNCCNet::DeleteAP(const char* server, const char* name) {
  return Run(*state_, false, [&] { return DeleteNamedAP(RootObject(server, kTypeServer), name); });
}

bool CNCCNet::DeleteAP(unsigned long server, const char* name) {
  return Run(*state_, false, [&] { return DeleteNamedAP(RootObject(server, kTypeServer), name); });
}

bool CNCCNet::DeleteAP(TDBObjId& server, const char* name) {
  return Run(*state_, false, [&] { return DeleteNamedAP(server, name); });
}

bool CNCCNet::DeleteNamedAP(TDBObjId object, const char* name) {
  NetState& net = *state_;
  Entity server = OpenEntity(net, object, kTypeServer);
  const TDBObjId found = FindNamedItem(net, *server.folder, kTypeAP, name);
  if (found.number == 0) RefuseUnknown(kTypeAP, name);
  DeleteAPOf(server.folder, found);
  return true;
}

void CNCCNet::DeleteAPOf(TRef<CHDBFolder>& server, TDBObjId object) {
  NetState& net = *state_;
  Entity ap = OpenEntity(net, object, kTypeAP);
  DeleteBackLinks(ap.record);
  DeleteAllLink(ap.folder);
  CHDBFolderManager(*net.base).FolderRemove(object);
  ChangeApCount(OpenEntity(net, server->Id()), -1);
}

bool CNCCNet::GetAP(unsigned long id, TDBObjId& result) { return GetNN(id, result); }

bool CNCCNet::GetNN(unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = FolderOf(KnownNode(*state_, id));
    return true;
  });
}

bool CNCCNet::GetAP(const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = FolderOf(KnownAP(*state_, name));
    return true;
  });
}

bool CNCCNet::GetAP(unsigned long server, unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    const TDBObjId object = RootObject(server, kTypeServer);
    const CHDBRecord& ap = KnownAP(*state_, id);
    if (OpenFolder(*state_, object.number)->Find(FolderOf(ap)) == kNoPosition)
      RefuseUnknown(kTypeAP, id);
    result = FolderOf(ap);
    return true;
  });
}

bool CNCCNet::GetAP(const char* server, const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    const TDBObjId object = RootObject(server, kTypeServer);
    const CHDBRecord* ap = FindNamedIn(*state_, *OpenFolder(*state_, object.number), kTypeAP,
                                       StoredName(*state_, name));
    if (ap == nullptr) RefuseUnknown(kTypeAP, name);
    result = FolderOf(*ap);
    return true;
  });
}

unsigned long CNCCNet::GetAP(const char* server, const char* name) {
  TDBObjId ap;
  return GetAP(server, name, ap) ? ap.number : 0;
}

unsigned long CNCCNet::GetAP(const char* name) {
  TDBObjId ap;
  return GetAP(name, ap) ? ap.number : 0;
}

bool CNCCNet::GetAPInfo(const char* name, CNNEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(KnownAP(*state_, name), entry);
    return true;
  });
}

bool CNCCNet::GetAPInfo(unsigned long id, CNNEntry& entry) { return GetNNInfo(id, entry); }

bool CNCCNet::GetNNInfo(unsigned long id, CNNEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(KnownNode(*state_, id), entry);
    return true;
  });
}

unsigned long CNCCNet::GetAPServerID(unsigned long id) {
  return Run(*state_, 0UL, [&] {
    return static_cast<unsigned long>(EntryOf<CNNEntry>(KnownNode(*state_, id)).server_id);
  });
}

unsigned long CNCCNet::GetListAP(unsigned long server, std::list<CNNEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(server, kTypeServer), kTypeAP, list); });
}

unsigned long CNCCNet::GetListAP(const char* server, std::list<CNNEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(server, kTypeServer), kTypeAP, list); });
}

unsigned long CNCCNet::GetListAP(std::list<CNNEntry>& list) {
  NetState& net = *state_;
  return RunList(net, list, [&] { AppendAll(net, kTypeAP, list); });
}

bool CNCCNet::CheckAPName(const char* name) {
  return Run(*state_, false, [&] { return IsNameTaken(*state_, CheckedName(*state_, name)); });
}

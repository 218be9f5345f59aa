// Subscriber points, and finding nodes of either kind.

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "core/walk.h"
#include "structure/nodes.h"
#include "structure/objects.h"
#include "structure/removal.h"

using namespace ncc;

namespace {

// Where an AP stands among all: its server in the root folder, then itself in its server's folder.
std::uint64_t OrderOf(const NetState& net, const CHDBRecord& ap) {
  const std::uint32_t server = EntryOf<CNNEntry>(ap).server_id;
  const std::uint32_t position = OpenFolder(net, server)->Find(FolderOf(ap));
  return (std::uint64_t{net.root->Find({kFolderSpace, server})} << 32) | position;
}

// Of several APs of one name the first; null when there is none.
const CHDBRecord* FirstNamed(const NetState& net, std::string_view name) {
  const CHDBRecord* first = nullptr;
  net.base->ForEachNamed(kTypeAP, name, [&](const CHDBRecord& ap) {
    if (first == nullptr || OrderOf(net, ap) < OrderOf(net, *first)) first = &ap;
    return true;
  });
  return first;
}

// With a progress callback a walk over the root folder, without one by index.
const CHDBRecord* FindAP(NetState& net, std::string_view name) {
  if (net.callback == nullptr) return FirstNamed(net, name);
  const CHDBRecord* found = nullptr;
  WalkItems(net, *net.root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == kTypeServer)
      found = FindNamedIn(net, *OpenFolder(net, entry.Object().number), kTypeAP, name);
    return found == nullptr;
  });
  return found;
}

const CHDBRecord& KnownAP(NetState& net, const ObjectKey& key) {
  if (const auto* name = std::get_if<const char*>(&key)) {
    const CHDBRecord* const ap = FindAP(net, StoredName(net, *name));
    if (ap == nullptr) RefuseUnknown(kTypeAP, *name);
    return *ap;
  }
  const unsigned long id = std::get<unsigned long>(key);
  const CHDBRecord* const ap = FindObject(net, id, kTypeAP);
  if (ap == nullptr) RefuseUnknown(kTypeAP, id);
  return *ap;
}

unsigned long AddAPTo(NetState& net, const ObjectKey& key, const char* name, unsigned long flags,
                      const CIdentity* as = nullptr) {
  return Run(net, 0UL, [&] {
    const Entity server = OpenEntity(net, Known(net, kTypeServer, key), kTypeServer);
    CNNEntry entry;
    FillNew(net, kTypeAP, name, entry, as);
    std::uint32_t before = ChangeApCount(server, +1) - 1;
    entry.number = TakeNumber(before, as);
    entry.flags = static_cast<std::uint32_t>(flags);
    entry.server_id = server.Number();
    entry.settings = net.prefs.node_settings;
    const Entity ap = StoreObject(net, {reinterpret_cast<const char*>(&entry), sizeof(entry)});
    AppendItemsOf(server.Folder(), *ap.record, ap.record->Name());
    return static_cast<unsigned long>(entry.id);
  });
}

bool RenameAP(NetState& net, const ObjectKey& key, const char* new_name) {
  return Run(net, [&] {
    const TDBObjId object = FolderOf(KnownAP(net, key));
    const std::string name = CheckedName(net, new_name);
    RefuseTakenName(net, kTypeAP, name);
    net.Progress();
    const Entity ap = OpenEntity(net, object, kTypeAP);
    RenameRecord(*ap.record, name);
    const std::uint32_t server = EntryOf<CNNEntry>(*ap.record).server_id;
    if (FindObject(net, server, kTypeServer) == nullptr) RefuseUnknown(kTypeServer, server);
    RenameItems(net, ap);
  });
}

void MoveAP(const NetState& net, const TDBObjId& object, const TDBObjId& new_server) {
  const Entity ap = OpenEntity(net, object, kTypeAP);
  auto entry = EntryOf<CNNEntry>(*ap.record);
  if (FindObject(net, entry.server_id, kTypeServer) == nullptr) return;
  const Entity old_server = OpenEntity(net, {kFolderSpace, entry.server_id});
  const Entity server = OpenEntity(net, new_server, kTypeServer);
  ChangeApCount(server, +1);
  entry.server_id = server.Number();
  ReplaceEntry(*ap.record, entry);
  ChangeApCount(old_server, -1);
  RemoveItemsOf(old_server.Folder(), ap.Number());
  AppendItemsOf(server.Folder(), *ap.record, ap.record->Name());
}

bool MoveAPTo(NetState& net, const ObjectKey& ap, const ObjectKey& server) {
  return Run(net, [&] {
    const TDBObjId moved = FolderOf(KnownAP(net, ap));
    MoveAP(net, moved, Known(net, kTypeServer, server));
  });
}

bool DeleteAPOf(NetState& net, const ObjectKey& key, const char* name) {
  return Run(net, [&] {
    const Entity server = OpenEntity(net, Known(net, kTypeServer, key), kTypeServer);
    const CHDBRecord* const ap = FindItem(net, server.Folder(), kTypeAP, name);
    if (ap == nullptr) RefuseUnknown(kTypeAP, name);
    RemoveAP(net, server.Folder(), FolderOf(*ap));
  });
}

}  // namespace

const CHDBRecord& ncc::KnownNode(const NetState& net, unsigned long id) {
  const CHDBRecord* record = FindNode(net, id);
  if (record == nullptr) RefuseUnknown(kTypeNone, id);
  return *record;
}

std::uint32_t ncc::ChangeApCount(const Entity& server, int by) {
  auto entry = EntryOf<CNNEntry>(*server.record);
  entry.ap_count += static_cast<std::uint32_t>(by);
  ReplaceEntry(*server.record, entry);
  return entry.ap_count;
}

unsigned long CNCCNet::AddAP(const char* server, const char* name, unsigned long flags) {
  return AddAPTo(*state_, server, name, flags);
}
unsigned long CNCCNet::AddAP(unsigned long server, const char* name, unsigned long flags) {
  return AddAPTo(*state_, server, name, flags);
}
unsigned long CNCCNet::AddAP(TDBObjId& server, const char* name, unsigned long flags) {
  return AddAPTo(*state_, server, name, flags);
}
unsigned long AddAPAs(CNCCNet& net, const CIdentity& as, unsigned long server, const char* name,
                      unsigned long flags) {
  return AddAPTo(StateOf::Net(net), server, name, flags, &as);
}

bool CNCCNet::ModifyAP(const char* name, const char* new_name) {
  return RenameAP(*state_, name, new_name);
}
bool CNCCNet::ModifyAP(unsigned long id, const char* new_name) {
  return RenameAP(*state_, id, new_name);
}

bool CNCCNet::ChangeSrv(const char* ap, unsigned long server) {
  return MoveAPTo(*state_, ap, server);
}
bool CNCCNet::ChangeSrv(const char* ap, const char* server) {
  return MoveAPTo(*state_, ap, server);
}
bool CNCCNet::ChangeSrv(unsigned long ap, unsigned long server) {
  return MoveAPTo(*state_, ap, server);
}
void CNCCNet::ChangeSrv(TDBObjId& ap, TDBObjId& server) {
  LockScope lock(state_->lock);
  MoveAP(*state_, ap, server);
}

bool CNCCNet::DeleteAP(const char* server, const char* name) {
  return DeleteAPOf(*state_, server, name);
}
bool CNCCNet::DeleteAP(unsigned long server, const char* name) {
  return DeleteAPOf(*state_, server, name);
}
bool CNCCNet::DeleteAP(TDBObjId& server, const char* name) {
  return DeleteAPOf(*state_, server, name);
}

bool CNCCNet::GetAP(unsigned long id, TDBObjId& result) { return GetNN(id, result); }
bool CNCCNet::GetNN(unsigned long id, TDBObjId& result) {
  return Run(*state_, [&] { result = FolderOf(KnownNode(*state_, id)); });
}
bool CNCCNet::GetAP(const char* name, TDBObjId& result) {
  return Run(*state_, [&] { result = FolderOf(KnownAP(*state_, name)); });
}

bool CNCCNet::GetAP(unsigned long server, unsigned long id, TDBObjId& result) {
  return Run(*state_, [&] {
    const TRef<CHDBFolder> folder = KnownFolder(*state_, kTypeServer, server);
    const TDBObjId ap = FolderOf(KnownAP(*state_, id));
    if (folder->Find(ap) == kNoPosition) RefuseUnknown(kTypeAP, id);
    result = ap;
  });
}

bool CNCCNet::GetAP(const char* server, const char* name, TDBObjId& result) {
  return Run(*state_, [&] {
    const TRef<CHDBFolder> folder = KnownFolder(*state_, kTypeServer, server);
    const CHDBRecord* ap = FindNamedIn(*state_, *folder, kTypeAP, StoredName(*state_, name));
    if (ap == nullptr) RefuseUnknown(kTypeAP, name);
    result = FolderOf(*ap);
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
  return Run(*state_, [&] { ReadEntry(KnownAP(*state_, name), entry); });
}
bool CNCCNet::GetAPInfo(unsigned long id, CNNEntry& entry) { return GetNNInfo(id, entry); }
bool CNCCNet::GetNNInfo(unsigned long id, CNNEntry& entry) {
  return Run(*state_, [&] { ReadEntry(KnownNode(*state_, id), entry); });
}

unsigned long CNCCNet::GetAPServerID(unsigned long id) {
  CNNEntry entry;
  return GetNNInfo(id, entry) ? entry.server_id : 0;
}

unsigned long CNCCNet::GetListAP(unsigned long server, std::list<CNNEntry>& list) {
  return ListItems(*state_, kTypeServer, server, kTypeAP, list);
}
unsigned long CNCCNet::GetListAP(const char* server, std::list<CNNEntry>& list) {
  return ListItems(*state_, kTypeServer, server, kTypeAP, list);
}
unsigned long CNCCNet::GetListAP(std::list<CNNEntry>& list) {
  return ListAll(*state_, kTypeAP, list);
}

bool CNCCNet::CheckAPName(const char* name) { return CheckName(*state_, kTypeAP, name); }

// Servers and the links between them.

#include "structure/nodes.h"

using namespace ncc;

namespace {

// With a progress callback, what needs the list of servers is a walk over the root folder.
void WalkServers(NetState& net) {
  if (net.callback == nullptr) return;
  WalkItems(net, *net.root, [](const CHDBFolderEntry&, std::uint32_t) { return true; });
}

// CheckServerName.
bool IsServerNameTaken(NetState& net, std::string_view name) {
  WalkServers(net);
  return NameExists(net, name, kTypeServer);
}

bool RenameServer(NetState& net, const TDBObjId& server, const char* new_name) {
  CheckedName(net, new_name);
  WalkServers(net);
  return RenameRootObject<CNNEntry>(net, server, kTypeServer, new_name);
}

void ListLinked(NetState& net, const TDBObjId& object, std::list<CNNEntry>& list) {
  const TRef<CHDBRecord> server = OpenEntity(net, object).record;
  WalkIds(*server, kServerLinks, [&](const TDBObjId& linked) {
    AppendEntry(RecordOf(net, linked), list);
    net.Progress();
  });
}

}  // namespace

unsigned long CNCCNet::AddServer(const char* name, unsigned long flags, unsigned short value) {
  NetState& net = *state_;
  return Run(net, 0UL, [&] {
    const std::string checked = CheckedName(net, name);
    if (IsServerNameTaken(net, checked)) RefuseTakenName(net, checked, kTypeServer);
    CNNEntry entry;
    PutName(entry, checked);
    entry.id = TakeId(net);
    entry.type = kTypeServer;
    entry.number = ++net.prefs.server_counter;
    entry.flags = static_cast<std::uint32_t>(flags);
    entry.attribute = 1;
    entry.settings = net.prefs.node_settings;
    entry.value = value;
    return static_cast<unsigned long>(StoreRootObject(&entry, sizeof(entry)).number);
  });
}

bool CNCCNet::DeleteServer(const char* name) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(name, kTypeServer)) RefuseUnknown(kTypeServer, name);
    return true;
  });
}

bool CNCCNet::DeleteServer(unsigned long id) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(id, kTypeServer)) RefuseUnknown(kTypeServer, id);
    return true;
  });
}

bool CNCCNet::ModifyServer(const char* name, const char* new_name) {
  return Run(*state_, false,
             [&] { return RenameServer(*state_, RootObject(name, kTypeServer), new_name); });
}

bool CNCCNet::ModifyServer(unsigned long id, const char* new_name) {
  return Run(*state_, false,
             [&] { return RenameServer(*state_, RootObject(id, kTypeServer), new_name); });
}

bool CNCCNet::GetServer(const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(name, kTypeServer);
    return true;
  });
}

bool CNCCNet::GetServer(unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(id, kTypeServer);
    return true;
  });
}

unsigned long CNCCNet::GetServer(const char* name) {
  return Run(*state_, 0UL, [&] {
    const TDBObjId server = RootObject(name, kTypeServer);
    return static_cast<unsigned long>(EntryOf<CNNEntry>(*OpenEntity(*state_, server).record).id);
  });
}

bool CNCCNet::GetServerInfo(const char* name, CNNEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(name, kTypeServer)), entry);
    return true;
  });
}

bool CNCCNet::GetServerInfo(unsigned long id, CNNEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(id, kTypeServer)), entry);
    return true;
  });
}

bool CNCCNet::GetServerInfo(TDBObjId& server, CNNEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, server), entry);
    return true;
  });
}

unsigned long CNCCNet::GetServersCount() {
  return Run(*state_, 0UL, [&] {
    WalkServers(*state_);
    return static_cast<unsigned long>(state_->base->RecSelect(kTypeServer).Size());
  });
}

unsigned long CNCCNet::GetListServer(std::list<CNNEntry>& list) {
  NetState& net = *state_;
  return RunList(net, list, [&] {
    if (net.callback == nullptr) {
      for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
        AppendEntry(*net.base->FindRecord(server), list);
      }
      return;
    }
    AppendItems(net, net.root->Id(), kTypeServer, list);
  });
}

unsigned long CNCCNet::GetListLinkedSrv(const char* name, std::list<CNNEntry>& list) {
  return RunList(*state_, list, [&] { ListLinked(*state_, RootObject(name, kTypeServer), list); });
}

unsigned long CNCCNet::GetListLinkedSrv(unsigned long id, std::list<CNNEntry>& list) {
  return RunList(*state_, list, [&] { ListLinked(*state_, RootObject(id, kTypeServer), list); });
}

bool CNCCNet::LinkSrvToSrv(const char* name1, const char* name2) {
  return Run(*state_, false, [&] {
    return LinkServers(RootObject(name1, kTypeServer), RootObject(name2, kTypeServer));
  });
}

bool CNCCNet::LinkSrvToSrv(unsigned long id1, unsigned long id2) {
  return Run(*state_, false, [&] {
    return LinkServers(RootObject(id1, kTypeServer), RootObject(id2, kTypeServer));
  });
}

bool CNCCNet::LinkServers(TDBObjId server1, TDBObjId server2) {
  if (server1 == server2) throw Refusal("a server cannot be linked to itself");
  TRef<CHDBRecord> record1 = OpenEntity(*state_, server1, kTypeServer).record;
  TRef<CHDBRecord> record2 = OpenEntity(*state_, server2, kTypeServer).record;
  AddListId(record1, server2, kServerLinks);
  AddListId(record2, server1, kServerLinks);
  return true;
}

bool CNCCNet::DeleteLink(const char* name1, const char* name2) {
  return Run(*state_, false, [&] {
    return UnlinkServers(RootObject(name1, kTypeServer), RootObject(name2, kTypeServer));
  });
}

bool CNCCNet::DeleteLink(unsigned long id1, unsigned long id2) {
  return Run(*state_, false, [&] {
    return UnlinkServers(RootObject(id1, kTypeServer), RootObject(id2, kTypeServer));
  });
}

bool CNCCNet::UnlinkServers(TDBObjId server1, TDBObjId server2) {
  TRef<CHDBRecord> record1 = OpenEntity(*state_, server1, kTypeServer).record;
  TRef<CHDBRecord> record2 = OpenEntity(*state_, server2, kTypeServer).record;
  DelListId(record1, server2, kServerLinks);
  DelListId(record2, server1, kServerLinks);
  return true;
}

bool CNCCNet::CheckServerName(const char* name) {
  return Run(*state_, false,
             [&] { return IsServerNameTaken(*state_, CheckedName(*state_, name)); });
}

// Servers and the links between them.

#include "core/entry.h"
#include "core/find.h"
#include "core/last_error.h"
#include "core/links.h"
#include "core/operation.h"
#include "core/walk.h"
#include "structure/nodes.h"
#include "structure/objects.h"

using namespace ncc;

namespace {

bool LinkServers(NetState& net, const ObjectKey& key1, const ObjectKey& key2) {
  return Run(net, [&] {
    const auto [one, other] = OpenPair(net, kTypeServer, key1, kTypeServer, key2);
    if (one.Id() == other.Id()) throw Refusal("a server cannot be linked to itself");
    Link(*one.record, kServerLinks, *other.record);
  });
}

bool UnlinkServers(NetState& net, const ObjectKey& key1, const ObjectKey& key2) {
  return Run(net, [&] {
    const auto [one, other] = OpenPair(net, kTypeServer, key1, kTypeServer, key2);
    Unlink(*one.record, kServerLinks, *other.record);
  });
}

unsigned long ListLinkedServers(NetState& net, const ObjectKey& key, std::list<CNNEntry>& list) {
  return RunList(net, list, [&] {
    const Entity server = OpenEntity(net, Known(net, kTypeServer, key));
    WalkIds(*server.record, kServerLinks, [&](const TDBObjId& linked) {
      AppendEntry(RecordOf(net, linked), list);
      net.Progress();
    });
  });
}

unsigned long AddServer(NetState& net, const CIdentity* as, const char* name, unsigned long flags,
                        unsigned short value) {
  return CreateObject<CNNEntry>(net, [&](CNNEntry& entry) {
    RefuseTakenName(net, kTypeServer, CheckedName(net, name));
    FillNew(net, kTypeServer, name, entry, as);
    entry.number = TakeNumber(net.prefs.server_counter, as);
    entry.flags = static_cast<std::uint32_t>(flags);
    entry.attribute = 1;
    entry.settings = net.prefs.node_settings;
    entry.value = value;
  });
}

}  // namespace

void ncc::CallBackForServers(NetState& net) {
  if (net.callback == nullptr) return;
  WalkItems(net, *net.root, [](const CHDBFolderEntry&, std::uint32_t) { return true; });
}

unsigned long CNCCNet::AddServer(const char* name, unsigned long flags, unsigned short value) {
  return ::AddServer(*state_, nullptr, name, flags, value);
}
unsigned long AddServerAs(CNCCNet& net, const CIdentity& as, const char* name, unsigned long flags,
                          unsigned short value) {
  return AddServer(StateOf::Net(net), &as, name, flags, value);
}

bool CNCCNet::DeleteServer(const char* name) { return DeleteObject(*state_, kTypeServer, name); }
bool CNCCNet::DeleteServer(unsigned long id) { return DeleteObject(*state_, kTypeServer, id); }

bool CNCCNet::ModifyServer(const char* name, const char* new_name) {
  return RenameObject(*state_, kTypeServer, name, new_name);
}
bool CNCCNet::ModifyServer(unsigned long id, const char* new_name) {
  return RenameObject(*state_, kTypeServer, id, new_name);
}

bool CNCCNet::GetServer(const char* name, TDBObjId& result) {
  return GetObject(*state_, kTypeServer, name, result);
}
bool CNCCNet::GetServer(unsigned long id, TDBObjId& result) {
  return GetObject(*state_, kTypeServer, id, result);
}
unsigned long CNCCNet::GetServer(const char* name) {
  TDBObjId server;
  return GetServer(name, server) ? server.number : 0;
}

bool CNCCNet::GetServerInfo(const char* name, CNNEntry& entry) {
  return GetInfo(*state_, kTypeServer, name, entry);
}
bool CNCCNet::GetServerInfo(unsigned long id, CNNEntry& entry) {
  return GetInfo(*state_, kTypeServer, id, entry);
}
bool CNCCNet::GetServerInfo(TDBObjId& server, CNNEntry& entry) {
  return GetInfo(*state_, kTypeServer, server, entry);
}

unsigned long CNCCNet::GetServersCount() {
  return Run(*state_, 0UL, [&] {
    CallBackForServers(*state_);
    return static_cast<unsigned long>(state_->base->RecSelect(kTypeServer).Size());
  });
}

unsigned long CNCCNet::GetListServer(std::list<CNNEntry>& list) {
  NetState& net = *state_;
  return RunList(net, list, [&] {
    if (net.callback != nullptr) {
      AppendItems(net, net.root->Id(), kTypeServer, list);
      return;
    }
    for (const std::uint32_t server : RootObjects(net, kTypeServer))
      AppendEntry(*net.base->FindRecord(server), list);
  });
}

unsigned long CNCCNet::GetListLinkedSrv(const char* name, std::list<CNNEntry>& list) {
  return ListLinkedServers(*state_, name, list);
}
unsigned long CNCCNet::GetListLinkedSrv(unsigned long id, std::list<CNNEntry>& list) {
  return ListLinkedServers(*state_, id, list);
}

bool CNCCNet::LinkSrvToSrv(const char* name1, const char* name2) {
  return LinkServers(*state_, name1, name2);
}
bool CNCCNet::LinkSrvToSrv(unsigned long id1, unsigned long id2) {
  return LinkServers(*state_, id1, id2);
}

bool CNCCNet::DeleteLink(const char* name1, const char* name2) {
  return UnlinkServers(*state_, name1, name2);
}
bool CNCCNet::DeleteLink(unsigned long id1, unsigned long id2) {
  return UnlinkServers(*state_, id1, id2);
}

bool CNCCNet::CheckServerName(const char* name) { return CheckName(*state_, kTypeServer, name); }

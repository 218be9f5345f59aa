// Node groups: their nodes, their Deps, and the memberships that end with either.

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/operation.h"
#include "structure/nodes.h"
#include "structure/objects.h"
#include "structure/removal.h"

using namespace ncc;

namespace {

unsigned long CreateGroup(NetState& net, const CIdentity* as, const char* name, TDBObjId& result) {
  return CreateObject<CNGrpEntry>(net, result, [&](CNGrpEntry& entry) {
    FillNew(net, kTypeNGrp, name, entry, as);
    entry.number = TakeNumber(net.prefs.ngrp_counter, as);
  });
}

}  // namespace

unsigned long CNCCNet::CreateNGrp(const char* name, TDBObjId& result) {
  return CreateGroup(*state_, nullptr, name, result);
}
unsigned long CNCCNet::CreateNGrp(const char* name) {
  TDBObjId scratch;
  return CreateNGrp(name, scratch);
}
unsigned long CreateNGrpAs(CNCCNet& net, const CIdentity& as, const char* name) {
  TDBObjId scratch;
  return CreateGroup(StateOf::Net(net), &as, name, scratch);
}

bool CNCCNet::ModifyNGrp(const char* name, const char* new_name) {
  return RenameObject(*state_, kTypeNGrp, name, new_name);
}
bool CNCCNet::ModifyNGrp(unsigned long id, const char* new_name) {
  return RenameObject(*state_, kTypeNGrp, id, new_name);
}

bool CNCCNet::DeleteNGrp(const char* name) { return DeleteObject(*state_, kTypeNGrp, name); }
bool CNCCNet::DeleteNGrp(unsigned long id) { return DeleteObject(*state_, kTypeNGrp, id); }

bool CNCCNet::GetNGrp(const char* name, TDBObjId& result) {
  return GetObject(*state_, kTypeNGrp, name, result);
}
bool CNCCNet::GetNGrp(unsigned long id, TDBObjId& result) {
  return GetObject(*state_, kTypeNGrp, id, result);
}

bool CNCCNet::GetNGrpInfo(const char* name, CNGrpEntry& entry) {
  return GetInfo(*state_, kTypeNGrp, name, entry);
}
bool CNCCNet::GetNGrpInfo(unsigned long id, CNGrpEntry& entry) {
  return GetInfo(*state_, kTypeNGrp, id, entry);
}
bool CNCCNet::GetNGrpInfo(TDBObjId& group, CNGrpEntry& entry) {
  return GetInfo(*state_, kTypeNGrp, group, entry);
}

unsigned long CNCCNet::GetListNGrp(std::list<CNGrpEntry>& list) {
  return ListAll(*state_, kTypeNGrp, list);
}

bool CNCCNet::CheckNGrpName(const char* name) { return CheckName(*state_, kTypeNGrp, name); }

bool CNCCNet::LinkNNToNGrp(unsigned long group, unsigned long node) {
  return Run(*state_, [&] {
    const Entity group_entity = OpenEntity(*state_, Known(*state_, kTypeNGrp, group));
    const Entity node_entity = OpenEntity(*state_, FolderOf(KnownNode(*state_, node)));
    Link(*group_entity.record, kNodesOfGroup, *node_entity.record);
  });
}

bool CNCCNet::DeleteNNFromNGrp(unsigned long group, unsigned long node) {
  return Run(*state_, [&] {
    const Entity group_entity = OpenEntity(*state_, Known(*state_, kTypeNGrp, group));
    const Entity node_entity = OpenEntity(*state_, FolderOf(KnownNode(*state_, node)));
    EndGroupMemberships(*state_, group_entity.Number(), node_entity.Number());
    Unlink(*group_entity.record, kNodesOfGroup, *node_entity.record);
  });
}

bool CNCCNet::LinkDepToNGrp(unsigned long group, unsigned long dep) {
  return Run(*state_, [&] {
    const auto [holder, held] = OpenPair(*state_, kTypeNGrp, group, kTypeDep, dep);
    auto entry = EntryOf<CDepEntry>(*held.record);
    entry.ngrp_id = holder.Number();
    ReplaceEntry(*held.record, entry);
    Link(*holder.record, kDepsOfGroup, *held.record);
  });
}

bool CNCCNet::DeleteDepFromNGrp(unsigned long group, unsigned long dep) {
  return Run(*state_, [&] {
    const auto [holder, held] = OpenPair(*state_, kTypeNGrp, group, kTypeDep, dep);
    UnlinkDepFromGroup(*state_, holder, held);
  });
}

unsigned long CNCCNet::GetListNN(unsigned long group, std::list<CNNEntry>& list) {
  return ListLinked(*state_, kTypeNGrp, group, kNodesOfGroup, list);
}

unsigned long CNCCNet::GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) {
  return ListLinked(*state_, kTypeNGrp, group, kDepsOfGroup, list);
}

unsigned long CNCCNet::GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendLinked(*state_, KnownNode(*state_, node), kGroupsOfNode, list); });
}

unsigned long CNCCNet::GetListNGrpFromDep(unsigned long dep, std::list<CNGrpEntry>& list) {
  return ListLinked(*state_, kTypeDep, dep, kGroupsOfDep, list);
}

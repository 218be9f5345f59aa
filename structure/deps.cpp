// Deps and the links between them.

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "core/walk.h"
#include "structure/objects.h"
#include "structure/removal.h"

#include <vector>

using namespace ncc;

namespace {

// A Dep's name as a caller spells it, if it does, unless a progress callback has renamed the Dep
// since.
std::string Spelled(const NetState& net, const CHDBRecord& dep, const char* given) {
  std::string name = given != nullptr ? StoredName(net, given) : std::string();
  return EqualFolded(dep.Name(), name) ? name : std::string(dep.Name());
}

// Adds the items for another Dep unless there are some. Returns whether it did.
bool AppendLink(CHDBFolder& dep, const CHDBRecord& other, std::string_view name) {
  if (dep.Find(FolderOf(other)) != kNoPosition) return false;
  AppendItemsOf(dep, other, name);
  return true;
}

// Links two Deps by items that show the names as the caller spells them, or else as they are.
// Returns whether any was added.
bool LinkDeps(const NetState& net, const EntityPair& deps, const char* name1, const char* name2) {
  const auto& [one, other] = deps;
  const std::string shown1 = Spelled(net, *one.record, name1);
  const std::string shown2 = Spelled(net, *other.record, name2);
  const bool is_added1 = AppendLink(one.Folder(), *other.record, shown2);
  const bool is_added2 = AppendLink(other.Folder(), *one.record, shown1);
  return is_added1 || is_added2;
}

bool UnlinkDeps(NetState& net, const ObjectKey& key1, const ObjectKey& key2) {
  return Run(net, [&] {
    const auto [one, other] = OpenPair(net, kTypeDep, key1, kTypeDep, key2);
    RemoveItem(other.Folder(), one.Id());
    RemoveItem(one.Folder(), other.Id());
  });
}

// Gives a Dep the items of every other one in place of those that it has; record items stay.
void LinkToAll(NetState& net, std::uint32_t number, const std::vector<std::uint32_t>& all) {
  const TRef<CHDBFolder> dep = OpenFolder(net, number);
  WalkEntries(*dep, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    if (entry.Kind() == kTypeDep) dep->Remove(at);
    return true;
  });
  for (const std::uint32_t other : all) {
    const CHDBRecord* record = FindObject(net, other, kTypeDep);
    if (other == number || record == nullptr) continue;
    AppendItemsOf(*dep, *record, record->Name());
  }
}

}  // namespace

unsigned long CNCCNet::CreateDep(const char* name, TDBObjId& result) {
  return CreateObject<CDepEntry>(
      *state_, result, [&](CDepEntry& entry) { FillNew(*state_, kTypeDep, name, entry); });
}
unsigned long CNCCNet::CreateDep(const char* name) {
  TDBObjId scratch;
  return CreateDep(name, scratch);
}
unsigned long CreateDepAs(CNCCNet& net, unsigned long id, const char* name) {
  NetState& state = StateOf::Net(net);
  const CIdentity as{id};
  return CreateObject<CDepEntry>(
      state, [&](CDepEntry& entry) { FillNew(state, kTypeDep, name, entry, &as); });
}

bool CNCCNet::ModifyDep(const char* name, const char* new_name) {
  return RenameObject(*state_, kTypeDep, name, new_name);
}
bool CNCCNet::ModifyDep(unsigned long id, const char* new_name) {
  return RenameObject(*state_, kTypeDep, id, new_name);
}

bool CNCCNet::DeleteDep(const char* name) { return DeleteObject(*state_, kTypeDep, name); }
bool CNCCNet::DeleteDep(unsigned long id) { return DeleteObject(*state_, kTypeDep, id); }

bool CNCCNet::GetDep(const char* name, TDBObjId& result) {
  return GetObject(*state_, kTypeDep, name, result);
}
bool CNCCNet::GetDep(unsigned long id, TDBObjId& result) {
  return GetObject(*state_, kTypeDep, id, result);
}

bool CNCCNet::GetDepInfo(const char* name, CDepEntry& entry) {
  return GetInfo(*state_, kTypeDep, name, entry);
}
bool CNCCNet::GetDepInfo(unsigned long id, CDepEntry& entry) {
  return GetInfo(*state_, kTypeDep, id, entry);
}
bool CNCCNet::GetDepInfo(TDBObjId& dep, CDepEntry& entry) {
  return GetInfo(*state_, kTypeDep, dep, entry);
}

bool CNCCNet::LinkDepToDep(const char* name1, const char* name2) {
  return Run(*state_, [&] {
    LinkDeps(*state_, OpenPair(*state_, kTypeDep, name1, kTypeDep, name2), name1, name2);
  });
}

bool CNCCNet::LinkDepToDep(unsigned long id1, unsigned long id2, bool* changed) {
  bool added = false;
  const bool linked = Run(*state_, [&] {
    const EntityPair deps = OpenPair(*state_, kTypeDep, id1, kTypeDep, id2);
    added = LinkDeps(*state_, deps, nullptr, nullptr);
  });
  if (linked && changed != nullptr) *changed = added;
  return linked;
}

bool CNCCNet::LinkAllDeps() {
  NetState& net = *state_;
  auto link_all = [&] {
    const std::vector<std::uint32_t> all = NumbersOf(net, kTypeDep);
    for (const std::uint32_t dep : all) {
      net.Progress();
      FindItem(net, *net.root, kTypeDep, dep);  // for its callbacks alone
    }
    for (const std::uint32_t dep : all) {
      if (FindObject(net, dep, kTypeDep) != nullptr) LinkToAll(net, dep, all);
      net.Progress();
    }
  };
  RunInUnit(net, OperationBody(link_all));
  return false;
}

bool CNCCNet::DeleteLinkDepToDep(const char* name1, const char* name2) {
  return UnlinkDeps(*state_, name1, name2);
}
bool CNCCNet::DeleteLinkDepToDep(unsigned long id1, unsigned long id2) {
  return UnlinkDeps(*state_, id1, id2);
}

unsigned long CNCCNet::GetListLinkedDep(const char* name, std::list<CDepEntry>& list) {
  return ListItems(*state_, kTypeDep, name, kTypeDep, list);
}
unsigned long CNCCNet::GetListLinkedDep(unsigned long id, std::list<CDepEntry>& list) {
  return ListItems(*state_, kTypeDep, id, kTypeDep, list);
}

unsigned long CNCCNet::GetListDep(std::list<CDepEntry>& list) {
  return ListAll(*state_, kTypeDep, list);
}
unsigned long CNCCNet::GetListDep(unsigned long, std::list<CDepEntry> list) { return list.size(); }

unsigned long CNCCNet::GetListDepFree(std::list<CDepEntry>& list) {
  NetState& net = *state_;
  return RunList(net, list, [&] {
    AppendAll(net, kTypeDep, list);
    list.remove_if([&](const CDepEntry& dep) {
      net.Progress();
      return dep.ngrp_id != 0;
    });
  });
}

bool CNCCNet::CheckDepName(const char* name) { return CheckName(*state_, kTypeDep, name); }

// Deps and the links between them.

#include "core/entity.h"

using namespace ncc;

namespace {

// A Dep's name as a caller spells it, unless a progress callback has renamed the Dep since.
std::string_view Spelled(const CHDBRecord& dep, std::string_view name) {
  return EqualFolded(dep.Name(), name) ? name : dep.Name();
}

// Adds the items for another Dep unless there are some. Returns whether it did.
bool AppendLink(CHDBFolder& dep, const CHDBFolder& other, std::string_view name) {
  if (dep.Find(other.Id()) != kNoPosition) return false;
  dep.Append(other.Id(), kTypeDep, name);
  dep.Append(other.RecordId(), kRecordItem, name);
  return true;
}

bool LinkDeps(const Entity& dep1, const Entity& dep2, std::string_view name1,
              std::string_view name2) {
  const bool added1 = AppendLink(*dep1.folder, *dep2.folder, name2);
  const bool added2 = AppendLink(*dep2.folder, *dep1.folder, name1);
  return added1 || added2;
}

bool UnlinkDeps(const Entity& dep1, const Entity& dep2) {
  const auto remove = [](CHDBFolder& folder, const TDBObjId& item) {
    const std::uint32_t at = folder.Find(item);
    if (at != kNoPosition) folder.Remove(at);
  };
  remove(*dep2.folder, dep1.Id());
  remove(*dep1.folder, dep2.Id());
  return true;
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
    dep->Append(FolderOf(*record), kTypeDep, record->Name());
    dep->Append(record->Id(), kRecordItem, record->Name());
  }
}

}  // namespace

unsigned long CNCCNet::CreateDep(const char* name, TDBObjId& result) {
  NetState& net = *state_;
  TDBObjId created;
  const unsigned long id = Run(net, 0UL, [&] {
    const std::string checked = CheckedName(net, name);
    CDepEntry entry;
    std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
    PutName(entry, checked);
    entry.id = TakeId(net);
    entry.type = kTypeDep;
    created = StoreRootObject(&entry, sizeof(entry));
    return static_cast<unsigned long>(created.number);
  });
  if (id != 0) result = created;
  return id;
}

unsigned long CNCCNet::CreateDep(const char* name) {
  TDBObjId scratch;
  return CreateDep(name, scratch);
}

bool CNCCNet::ModifyDep(const char* name, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CDepEntry>(*state_, RootObject(name, kTypeDep), kTypeDep, new_name);
  });
}

bool CNCCNet::ModifyDep(unsigned long id, const char* new_name) {
  return Run(*state_, false, [&] {
    return RenameRootObject<CDepEntry>(*state_, RootObject(id, kTypeDep), kTypeDep, new_name);
  });
}

bool CNCCNet::DeleteDep(const char* name) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(name, kTypeDep)) RefuseUnknown(kTypeDep, name);
    return true;
  });
}

bool CNCCNet::DeleteDep(unsigned long id) {
  return Run(*state_, false, [&] {
    if (!DeleteRootEntry(id, kTypeDep)) RefuseUnknown(kTypeDep, id);
    return true;
  });
}

bool CNCCNet::GetDep(const char* name, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(name, kTypeDep);
    return true;
  });
}

bool CNCCNet::GetDep(unsigned long id, TDBObjId& result) {
  return Run(*state_, false, [&] {
    result = RootObject(id, kTypeDep);
    return true;
  });
}

bool CNCCNet::GetDepInfo(const char* name, CDepEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(name, kTypeDep)), entry);
    return true;
  });
}

bool CNCCNet::GetDepInfo(unsigned long id, CDepEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, RootObject(id, kTypeDep)), entry);
    return true;
  });
}

bool CNCCNet::GetDepInfo(TDBObjId& dep, CDepEntry& entry) {
  return Run(*state_, false, [&] {
    ReadEntry(RecordOf(*state_, dep), entry);
    return true;
  });
}

bool CNCCNet::LinkDepToDep(const char* name1, const char* name2) {
  return Run(*state_, false, [&] {
    const TDBObjId object1 = RootObject(name1, kTypeDep);
    const TDBObjId object2 = RootObject(name2, kTypeDep);
    const Entity dep1 = OpenEntity(*state_, object1, kTypeDep);
    const Entity dep2 = OpenEntity(*state_, object2, kTypeDep);
    LinkDeps(dep1, dep2, Spelled(*dep1.record, StoredName(*state_, name1)),
             Spelled(*dep2.record, StoredName(*state_, name2)));
    return true;
  });
}

bool CNCCNet::LinkDepToDep(unsigned long id1, unsigned long id2, bool* changed) {
  bool added = false;
  const bool linked = Run(*state_, false, [&] {
    const TDBObjId object1 = RootObject(id1, kTypeDep);
    const TDBObjId object2 = RootObject(id2, kTypeDep);
    const Entity dep1 = OpenEntity(*state_, object1, kTypeDep);
    const Entity dep2 = OpenEntity(*state_, object2, kTypeDep);
    added = LinkDeps(dep1, dep2, dep1.record->Name(), dep2.record->Name());
    return true;
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
      FindItem(net, *net.root, kTypeDep, dep);
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
  return Run(*state_, false, [&] {
    const TDBObjId dep1 = RootObject(name1, kTypeDep);
    const TDBObjId dep2 = RootObject(name2, kTypeDep);
    return UnlinkDeps(OpenEntity(*state_, dep1, kTypeDep), OpenEntity(*state_, dep2, kTypeDep));
  });
}

bool CNCCNet::DeleteLinkDepToDep(unsigned long id1, unsigned long id2) {
  return Run(*state_, false, [&] {
    const TDBObjId dep1 = RootObject(id1, kTypeDep);
    const TDBObjId dep2 = RootObject(id2, kTypeDep);
    return UnlinkDeps(OpenEntity(*state_, dep1, kTypeDep), OpenEntity(*state_, dep2, kTypeDep));
  });
}

unsigned long CNCCNet::GetListLinkedDep(const char* name, std::list<CDepEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(name, kTypeDep), kTypeDep, list); });
}

unsigned long CNCCNet::GetListLinkedDep(unsigned long id, std::list<CDepEntry>& list) {
  return RunList(*state_, list,
                 [&] { AppendItems(*state_, RootObject(id, kTypeDep), kTypeDep, list); });
}

unsigned long CNCCNet::GetListDep(std::list<CDepEntry>& list) {
  return RunList(*state_, list, [&] { AppendAll(*state_, kTypeDep, list); });
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

bool CNCCNet::CheckDepName(const char* name) {
  return Run(*state_, false,
             [&] { return NameExists(*state_, CheckedName(*state_, name), kTypeDep); });
}

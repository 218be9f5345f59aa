#include "structure/objects.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/last_error.h"
#include "structure/nodes.h"
#include "structure/removal.h"

#include <algorithm>
#include <string>

namespace ncc {

const CHDBRecord& KnownRecord(NetState& net, std::uint8_t type, const ObjectKey& key) {
  const auto find = [&](auto which) -> const CHDBRecord& {
    const CHDBRecord* const found = FindRootItem(net, type, which);
    if (found == nullptr) RefuseUnknown(type, which);
    return *found;
  };
  if (const auto* id = std::get_if<unsigned long>(&key)) return find(*id);
  if (const auto* name = std::get_if<const char*>(&key)) return find(*name);
  return RecordOf(net, std::get<TDBObjId>(key));
}

EntityPair OpenPair(NetState& net, std::uint8_t type, const ObjectKey& key, std::uint8_t other_type,
                    const ObjectKey& other_key) {
  const TDBObjId one = Known(net, type, key);
  const TDBObjId other = Known(net, other_type, other_key);
  return {OpenEntity(net, one, type), OpenEntity(net, other, other_type)};
}

bool IsNameTaken(NetState& net, std::uint8_t type, std::string_view name) {
  if (type == kTypeAP && net.callback != nullptr) {
    for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
      net.Progress();
      if (FindObject(net, server, kTypeServer) != nullptr &&
          FindNamedIn(net, *OpenFolder(net, server), kTypeAP, name) != nullptr) {
        return true;
      }
    }
    return false;
  }
  if (type == kTypeServer) CallBackForServers(net);
  return NameExists(net, name, type);
}

void RefuseTakenName(NetState& net, std::uint8_t type, std::string_view name) {
  if (!IsNameTaken(net, type, name)) return;
  throw Refusal("the name \"" + ShownName(net, name) + "\" is taken by another " +
                std::string(KindName(type)) + " or this one");
}

std::uint32_t AllocateId(NetState& net) {
  const std::uint32_t id = net.prefs.next_id;
  if (id == 0 || id >= kRootNumber - 1) throw Refusal("the network has used up its identifiers");
  if (net.base->FindRecord(id) != nullptr) {
    throw Refusal("the next identifier, " + std::to_string(id) + ", is in use: raise the counter");
  }
  ++net.prefs.next_id;
  return id;
}

std::uint32_t TakeId(NetState& net, const CIdentity& as) {
  if (as.id == 0 || as.id > kMaxIdentifier) {
    throw Refusal("an identifier is a number from 1 to " + std::to_string(kMaxIdentifier) +
                  ", not " + std::to_string(as.id));
  }
  if (as.number > 0xFFFFFFFF)
    throw Refusal("the ordinal " + std::to_string(as.number) + " has more than 32 bits");
  const auto id = static_cast<std::uint32_t>(as.id);
  if (const CHDBRecord* const holder = net.base->FindRecord(id)) {
    throw Refusal("the identifier " + std::to_string(id) + " is that of the " +
                  std::string(KindName(static_cast<std::uint8_t>(holder->Type()))) + " \"" +
                  ShownName(net, holder->Name()) + "\"");
  }
  net.prefs.next_id = std::max(net.prefs.next_id, id + 1);
  return id;
}

std::uint32_t TakeNumber(std::uint32_t& counter, const CIdentity* as) {
  if (as == nullptr || as->number == 0) return ++counter;
  const auto number = static_cast<std::uint32_t>(as->number);
  counter = std::max(counter, number);
  return number;
}

Entity StoreObject(NetState& net, std::string_view entry) {
  CNCCEntry head;
  std::memcpy(static_cast<void*>(&head), entry.data(), sizeof(head));
  const TRef<CHDBFolder> folder = CHDBFolderManager(*net.base).FolderCreate(head.id);
  Entity object{CHDBRecordManager(*net.base).RecCreate(folder->RecordId())};
  CHDBList values(object.record);
  StoreValues(values, entry);
  net.StorePreferences();
  return object;
}

void AppendItemsOf(CHDBFolder& folder, const CHDBRecord& object, std::string_view name) {
  folder.Append(FolderOf(object), static_cast<std::uint8_t>(object.Type()), name);
  folder.Append(object.Id(), kRecordItem, name);
}

void RenameItems(NetState& net, const Entity& entity) {
  for (const TDBObjId& id : net.base->ParentLinkSelect(entity.Id())) {
    if (!net.base->HasFolder(id)) continue;  // a callback has deleted it
    const TRef<CHDBFolder> parent = OpenFolder(net, id.number);
    const bool lists = parent->Find(entity.Id()) != kNoPosition;  // else what an old link has left
    if (lists && FindObject(net, id.number, kTypeDep) != nullptr) net.Progress();
    const bool is_there = net.base->FindRecord(entity.Number()) == entity.record.get();
    if (!net.base->HasFolder(id) || !is_there) continue;
    for (const TDBObjId& object : {entity.Id(), entity.record->RecordId()}) {
      const std::uint32_t at = parent->Find(object);
      if (at != kNoPosition) parent->Rename(at, entity.record->Name());
    }
  }
}

bool RenameObject(NetState& net, std::uint8_t type, const ObjectKey& key, const char* new_name) {
  return Run(net, [&] {
    const TDBObjId object = Known(net, type, key);
    const std::string name = CheckedName(net, new_name);
    RefuseTakenName(net, type, name);
    const Entity entity = OpenEntity(net, object, type);
    RenameRecord(*entity.record, name);
    RenameItems(net, entity);
  });
}

bool DeleteObject(NetState& net, std::uint8_t type, const ObjectKey& key) {
  return Run(net, [&] { RemoveObject(net, Known(net, type, key)); });
}

bool GetObject(NetState& net, std::uint8_t type, const ObjectKey& key, TDBObjId& result) {
  return Run(net, [&] { result = Known(net, type, key); });
}

bool CheckName(NetState& net, std::uint8_t type, const char* name) {
  return Run(net, false, [&] { return IsNameTaken(net, type, CheckedName(net, name)); });
}

}  // namespace ncc

std::vector<unsigned long> ListByAdding(CNCCNet& net, unsigned char type) {
  ncc::NetState& state = ncc::StateOf::Net(net);
  std::vector<unsigned long> ids;
  const bool listed = type != kTypeAP && ncc::Run(state, [&] {
                        for (const std::uint32_t id : ncc::RootObjects(state, type))
                          ids.push_back(id);
                      });
  return listed ? ids : std::vector<unsigned long>();
}

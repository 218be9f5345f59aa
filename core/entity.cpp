#include "core/entity.h"

#include "nccnet/text.h"

#include <optional>

namespace ncc {

std::string_view KindName(std::uint8_t type) {
  switch (type) {
    case kTypeServer:
      return "server";
    case kTypeAP:
      return "AP";
    case kTypeDep:
      return "Dep";
    case kTypeAB:
      return "user";
    case kTypeNGrp:
      return "node group";
    default:
      return "object";
  }
}

const LinkPair* FindLinkPair(std::uint32_t type, int list) {
  static constexpr std::uint32_t kNodes = 1U << kTypeServer | 1U << kTypeAP;
  static constexpr LinkPair kPairs[] = {
      {kTypeServer, kServerLinks, kServerLinks, 1U << kTypeServer},
      {kTypeServer, kGroupsOfNode, kNodesOfGroup, 1U << kTypeNGrp},
      {kTypeAP, kGroupsOfNode, kNodesOfGroup, 1U << kTypeNGrp},
      {kTypeDep, kGroupsOfDep, kDepsOfGroup, 1U << kTypeNGrp},
      {kTypeNGrp, kNodesOfGroup, kGroupsOfNode, kNodes},
      {kTypeNGrp, kDepsOfGroup, kGroupsOfDep, 1U << kTypeDep}};
  for (const LinkPair& pair : kPairs) {
    if (pair.type == type && pair.list == list) return &pair;
  }
  return nullptr;
}

void RefuseUnknown(std::uint8_t type, unsigned long id) {
  throw Refusal("no " + std::string(KindName(type)) + " has the identifier " + std::to_string(id));
}

void RefuseUnknown(std::uint8_t type, const char* given) {
  if (given == nullptr) throw Refusal("no name was given");
  throw Refusal("no " + std::string(KindName(type)) + " has the name \"" + given + "\"");
}

std::string StoredName(const NetState& net, const char* given) {
  if (given == nullptr) throw Refusal("no name was given");
  if (net.encoding == CTextEncoding::kCp1251) return given;
  std::optional<std::string> bytes = Cp1251FromUtf8(given);
  if (!bytes)
    throw Refusal("\"" + std::string(given) + "\" is not UTF-8 text that code page 1251 can hold");
  return std::move(*bytes);
}

std::string CheckedName(const NetState& net, const char* given) {
  // No record's field is read beyond its end, should it have no zero.
  const std::size_t most =
      net.encoding == CTextEncoding::kUtf8 ? 3 * kMaxNameLength : kMaxNameLength;
  const bool fits = given == nullptr || strnlen(given, most + 1) <= most;
  std::string name = fits ? StoredName(net, given) : std::string();
  if (!fits || name.size() > kMaxNameLength) throw Refusal("name is longer than 51 bytes");
  return name;
}

std::string ShownName(const NetState& net, std::string_view stored) {
  return net.encoding == CTextEncoding::kUtf8 ? Utf8FromCp1251(stored) : std::string(stored);
}

void PutName(CNCCEntry& entry, std::string_view name) {
  name.copy(entry.name, kMaxNameLength);
  entry.name[name.size()] = '\0';
}

const CHDBRecord& RecordOf(const NetState& net, const TDBObjId& folder) {
  const CHDBRecord* record = net.base->FindRecord(folder.number);
  if (folder.space != kFolderSpace || record == nullptr) RefuseUnknown(kTypeNone, folder.number);
  return *record;
}

TRef<CHDBFolder> OpenFolder(const NetState& net, std::uint32_t number) {
  if (!net.base->HasFolder({kFolderSpace, number})) RefuseUnknown(kTypeNone, number);
  return CHDBFolderManager(*net.base).FolderOpen({kFolderSpace, number});
}

Entity OpenEntity(const NetState& net, const TDBObjId& folder) {
  RecordOf(net, folder);
  return {CHDBFolderManager(*net.base).FolderOpen(folder),
          CHDBRecordManager(*net.base).RecOpen({kRecordSpace, folder.number})};
}

Entity OpenEntity(const NetState& net, const TDBObjId& folder, std::uint8_t type) {
  if (RecordOf(net, folder).Type() != type) RefuseUnknown(type, folder.number);
  return OpenEntity(net, folder);
}

Entity CreateEntity(const NetState& net, std::uint32_t id) {
  const TRef<CHDBFolder> folder = CHDBFolderManager(*net.base).FolderCreate(id);
  return {folder, CHDBRecordManager(*net.base).RecCreate(folder->RecordId())};
}

const CHDBRecord* FindObject(const NetState& net, unsigned long id, std::uint8_t type) {
  const CHDBRecord* record = net.base->FindRecord(id);
  return record != nullptr && record->Type() == type ? record : nullptr;
}

const CHDBRecord* FindNode(const NetState& net, unsigned long id) {
  const CHDBRecord* record = net.base->FindRecord(id);
  if (record == nullptr) return nullptr;
  return record->Type() == kTypeServer || record->Type() == kTypeAP ? record : nullptr;
}

const CHDBRecord* FindNamedIn(const NetState& net, const CHDBFolder& folder, std::uint8_t type,
                              std::string_view name) {
  const CHDBRecord* first = nullptr;
  std::uint32_t first_position = kNoPosition;
  net.base->ForEachNamed(type, name, [&](const CHDBRecord& record) {
    const std::uint32_t position = folder.Find(FolderOf(record));
    if (position < first_position) {
      first = &record;
      first_position = position;
    }
    return true;
  });
  return first;
}

TDBObjId FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type, unsigned long id) {
  TDBObjId found;
  if (net.callback == nullptr) {
    const CHDBRecord* record = FindObject(net, id, type);
    const bool listed = record != nullptr && folder.Find(FolderOf(*record)) != kNoPosition;
    return listed ? FolderOf(*record) : found;
  }
  WalkItems(net, folder, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    const bool match = entry.Kind() == type && entry.Object().number == id;
    if (match) found = entry.Object();
    return !match;
  });
  return found;
}

TDBObjId FindNamedItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                       const char* given) {
  TDBObjId found;
  if (given == nullptr) return found;
  const std::string name = StoredName(net, given);
  if (net.callback == nullptr) {
    const CHDBRecord* record = FindNamedIn(net, folder, type, name);
    return record != nullptr ? FolderOf(*record) : found;
  }
  WalkItems(net, folder, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    const bool match = entry.Kind() == type && EqualFolded(folder.EntryName(at), name);
    if (match) found = entry.Object();
    return !match;
  });
  return found;
}

bool NameExists(const NetState& net, std::string_view name, std::uint8_t type) {
  bool exists = false;
  net.base->ForEachNamed(type, name, [&](const CHDBRecord&) {
    exists = true;
    return false;
  });
  return exists;
}

std::vector<std::uint32_t> RootObjects(const NetState& net, std::uint8_t type) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> found;  // position, number
  net.base->RecSelect(type).ForEach([&](std::uint32_t number) {
    found.emplace_back(net.root->Find({kFolderSpace, number}), number);
  });
  // Identifiers rise with the order of creation unless the application has set the counter back.
  if (!std::is_sorted(found.begin(), found.end())) std::sort(found.begin(), found.end());
  std::vector<std::uint32_t> numbers;
  numbers.reserve(found.size());
  for (const auto& [position, number] : found) numbers.push_back(number);
  return numbers;
}

std::vector<std::uint32_t> NumbersOf(const NetState& net, std::uint8_t type) {
  std::vector<std::uint32_t> numbers;
  numbers.reserve(net.base->RecSelect(type).Size());
  net.base->RecSelect(type).ForEach([&](std::uint32_t number) { numbers.push_back(number); });
  return numbers;
}

void RenameItems(NetState& net, const Entity& entity) {
  for (const TDBObjId& id : net.base->ParentLinkSelect(entity.Id())) {
    if (!net.base->HasFolder(id)) continue;  // a callback has deleted it
    const TRef<CHDBFolder> parent = OpenFolder(net, id.number);
    const bool lists = parent->Find(entity.Id()) != kNoPosition;  // else what an old link has left
    if (lists && FindObject(net, id.number, kTypeDep) != nullptr) net.Progress();
    if (!net.base->HasFolder(id) || !net.base->HasFolder(entity.Id())) continue;
    for (const TDBObjId& object : {entity.Id(), entity.folder->RecordId()}) {
      const std::uint32_t at = parent->Find(object);
      if (at != kNoPosition) parent->Rename(at, entity.record->Name());
    }
  }
}

void RemoveItems(const NetState& net, const TDBObjId& object) {
  CHDBFolderManager folders(*net.base);
  for (const TDBObjId& id : net.base->ParentLinkSelect(object)) {
    const TRef<CHDBFolder> parent = folders.FolderOpen(id);
    for (const std::uint32_t space : {kFolderSpace, kRecordSpace}) {
      const TDBObjId item{space, object.number};
      for (auto at = parent->Find(item); at != kNoPosition; at = parent->Find(item))
        parent->Remove(at);
    }
  }
}

void RefuseTakenName(const NetState& net, std::string_view name, std::uint8_t type) {
  if (!NameExists(net, name, type)) return;
  throw Refusal("the name \"" + ShownName(net, name) + "\" is taken by another " +
                std::string(KindName(type)) + " or this one");
}

std::uint32_t TakeId(NetState& net) {
  const std::uint32_t id = net.prefs.next_id;
  if (id == 0 || id >= kRootNumber - 1) throw Refusal("the network has used up its identifiers");
  if (net.base->FindRecord(id) != nullptr) {
    throw Refusal("the next identifier, " + std::to_string(id) + ", is in use: raise the counter");
  }
  ++net.prefs.next_id;
  return id;
}

void StorePreferences(NetState& net) {
  const auto& entries = net.root->Entries();
  if (entries.Size() == 0) throw StorageError("the database has no network record");
  const TDBObjId network = entries.At(entries.First()).Object();
  ReplaceEntry(*CHDBRecordManager(*net.base).RecOpen({kRecordSpace, network.number}), net.prefs);
}

}  // namespace ncc

#include "core/find.h"

#include "core/entry.h"
#include "core/last_error.h"
#include "core/walk.h"

#include <algorithm>
#include <string>
#include <utility>

namespace ncc {
namespace {

// Every object but an AP is an item of the root folder, so that one is not asked.
bool Lists(const CHDBFolder& folder, const CHDBRecord& object) {
  if (folder.Number() == kRootNumber) return object.Type() != kTypeAP;
  return folder.Find(FolderOf(object)) != kNoPosition;
}

// With a progress callback: the first item of a type that matches.
template <class Matches>
const CHDBRecord* WalkToItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                             Matches matches) {
  const CHDBRecord* found = nullptr;
  WalkItems(net, folder, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
    if (entry.Kind() == type && matches(entry, at)) found = &RecordOf(net, entry.Object());
    return found == nullptr;
  });
  return found;
}

}  // namespace

void RefuseUnknown(std::uint8_t type, unsigned long id) {
  throw Refusal("no " + std::string(KindName(type)) + " has the identifier " + std::to_string(id));
}

void RefuseUnknown(std::uint8_t type, const char* given) {
  if (given == nullptr) throw Refusal("no name was given");
  throw Refusal("no " + std::string(KindName(type)) + " has the name \"" + given + "\"");
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
  net.base->ForEachNamed(type, name, [&](const CHDBRecord& record) {
    if (!Lists(folder, record)) return true;
    // Positions are asked only where there are several.
    if (first == nullptr || folder.Find(FolderOf(record)) < folder.Find(FolderOf(*first)))
      first = &record;
    return true;
  });
  return first;
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

const CHDBRecord* FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                           unsigned long id) {
  if (net.callback == nullptr) {
    const CHDBRecord* record = FindObject(net, id, type);
    return record != nullptr && Lists(folder, *record) ? record : nullptr;
  }
  return WalkToItem(net, folder, type, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    return entry.Object().number == id;
  });
}

const CHDBRecord* FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                           const char* given) {
  if (given == nullptr) return nullptr;
  const std::string name = StoredName(net, given);
  if (net.callback == nullptr) return FindNamedIn(net, folder, type, name);
  return WalkToItem(net, folder, type, [&](const CHDBFolderEntry&, std::uint32_t at) {
    return EqualFolded(folder.EntryName(at), name);
  });
}

Entity OpenEntity(const NetState& net, const TDBObjId& folder) {
  RecordOf(net, folder);
  return {net.base->OpenObject(folder.number)};
}

Entity OpenEntity(const NetState& net, const TDBObjId& folder, std::uint8_t type) {
  if (RecordOf(net, folder).Type() != type) RefuseUnknown(type, folder.number);
  return OpenEntity(net, folder);
}

TRef<CHDBFolder> OpenFolder(const NetState& net, std::uint32_t number) {
  if (!net.base->HasFolder({kFolderSpace, number})) RefuseUnknown(kTypeNone, number);
  return CHDBFolderManager(*net.base).FolderOpen({kFolderSpace, number});
}

const CHDBRecord& RecordOf(const NetState& net, const TDBObjId& folder) {
  const CHDBRecord* record = net.base->FindRecord(folder.number);
  if (folder.space != kFolderSpace || record == nullptr) RefuseUnknown(kTypeNone, folder.number);
  return *record;
}

}  // namespace ncc

// The small vocabulary of the operations: finding an object, opening it, reading and replacing its
// entry.
#pragma once

#include "core/operation.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// What the id lists of an object's record hold, by their position.
inline constexpr int kServerLinks = 4;   // of a server: the linked servers
inline constexpr int kNodesOfGroup = 4;  // of a node group: its nodes
inline constexpr int kDepsOfGroup = 5;   // of a node group: its Deps
inline constexpr int kGroupsOfNode = 5;  // of a server or an AP: the node groups with it
inline constexpr int kGroupsOfDep = 5;   // of a Dep: the node groups that hold it

// What a list of an object of a type holds, and which list of the other side holds the link too.
struct LinkPair {
  std::uint8_t type;
  int list;
  int other_list;
  std::uint32_t linked;  // the types of the linked objects, a bit each
};
// Null when such a list is always empty.
const LinkPair* FindLinkPair(std::uint32_t type, int list);

// Kind of the folder items that refer to a record; the others carry the type of what they refer to.
inline constexpr std::uint8_t kRecordItem = 6;

// An open object.
struct Entity {
  TRef<CHDBFolder> folder;
  TRef<CHDBRecord> record;

  TDBObjId Id() const { return folder->Id(); }
  std::uint32_t Number() const { return folder->Number(); }
};

// "server", "AP", ... for messages.
std::string_view KindName(std::uint8_t type);

// What a caller gives as a name is a `const char*` in the encoding that it speaks; everything else
// is the bytes that the database holds. This is where the one becomes the other. Throws Refusal for
// a null pointer and for what code page 1251 cannot hold.
std::string StoredName(const NetState& net, const char* given);
// One that may be stored: throws Refusal for more than 51 bytes, too.
std::string CheckedName(const NetState& net, const char* given);
// The other way, for the text of a failure.
std::string ShownName(const NetState& net, std::string_view stored);

// Throws Refusal when there is no such object (of this type, where one is given).
Entity OpenEntity(const NetState& net, const TDBObjId& folder);
Entity OpenEntity(const NetState& net, const TDBObjId& folder, std::uint8_t type);

// Copies a name and its zero into an entry; the bytes behind stay as they were.
void PutName(CNCCEntry& entry, std::string_view name);

template <class Entry>
void ReadEntry(const CHDBRecord& record, Entry& entry) {
  const std::string_view data = record.Data();
  if (data.size() == sizeof(Entry)) {  // nearly always, and a copy of a known size is a few moves
    std::memcpy(static_cast<void*>(&entry), data.data(), sizeof(Entry));
  } else {
    std::memcpy(static_cast<void*>(&entry), data.data(), std::min(data.size(), sizeof(Entry)));
  }
}

template <class Entry>
Entry EntryOf(const CHDBRecord& record) {
  Entry entry;
  ReadEntry(record, entry);
  return entry;
}

template <class Entry>
void ReplaceEntry(CHDBRecord& record, const Entry& entry) {
  record.SetData({reinterpret_cast<const char*>(&entry), sizeof(Entry)});
}

template <class Entry>
void AppendEntry(const CHDBRecord& record, std::list<Entry>& list) {
  ReadEntry(record, list.emplace_back());
}

// The record of an object. Throws Refusal when there is none.
const CHDBRecord& RecordOf(const NetState& net, const TDBObjId& folder);

// A folder's identifier from its object's record.
inline TDBObjId FolderOf(const CHDBRecord& record) { return {kFolderSpace, record.Number()}; }

// Opens an object's folder. Throws Refusal when it is gone.
TRef<CHDBFolder> OpenFolder(const NetState& net, std::uint32_t number);

// The folder's item of a type that refers to this object; calls the progress callback for each item
// up to it. Number 0 when there is none.
TDBObjId FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type, unsigned long id);
// The first of a folder's items of a type that shows this name: with a progress callback a walk
// over the items, without one by index. Number 0 when there is none.
TDBObjId FindNamedItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                       const char* given);

// Finding without progress callback: the record of this type, null when there is none.
const CHDBRecord* FindObject(const NetState& net, unsigned long id, std::uint8_t type);
// A node: server or AP.
const CHDBRecord* FindNode(const NetState& net, unsigned long id);
// The first of a folder's objects of this type and name, by index; null when there is none.
const CHDBRecord* FindNamedIn(const NetState& net, const CHDBFolder& folder, std::uint8_t type,
                              std::string_view name);
bool NameExists(const NetState& net, std::string_view name, std::uint8_t type);

// Throws Refusal when an object of this type has the name.
void RefuseTakenName(const NetState& net, std::string_view name, std::uint8_t type);

// Numbers of the root objects of a type in the order of the root folder.
std::vector<std::uint32_t> RootObjects(const NetState& net, std::uint8_t type);

// Numbers of all objects of a type, ascending.
std::vector<std::uint32_t> NumbersOf(const NetState& net, std::uint8_t type);

// Appends the entries of all objects of a type to a list, by ascending number.
template <class Entry>
void AppendAll(const NetState& net, std::uint8_t type, std::list<Entry>& list) {
  net.base->RecSelect(type).ForEach(
      [&](std::uint32_t number) { AppendEntry(*net.base->FindRecord(number), list); });
}

// Calls visit(entry, position) for each entry of the folder, those appended meanwhile included,
// until it returns false.
template <class Visit>
void WalkEntries(const CHDBFolder& folder, Visit visit) {
  for (auto at = folder.Entries().First(); at != kNoPosition; at = folder.Entries().Next(at)) {
    if (!visit(folder.Entries().At(at), at)) return;
  }
}

// Makes the folder and the empty record of a new object.
Entity CreateEntity(const NetState& net, std::uint32_t id);

// The same, calling the progress callback before each entry and passing over one that the callback
// removed.
template <class Visit>
void WalkItems(NetState& net, const CHDBFolder& folder, Visit visit) {
  for (auto at = folder.Entries().First(); at != kNoPosition; at = folder.Entries().Next(at)) {
    net.Progress();
    if (folder.Entries().Has(at) && !visit(folder.Entries().At(at), at)) return;
  }
}

// Calls visit(object) for each element of an id list, those appended meanwhile included.
template <class Visit>
void WalkIds(const CHDBRecord& record, int list, Visit visit) {
  for (auto at = record.List(list).First(); at != kNoPosition; at = record.List(list).Next(at)) {
    visit(TDBObjId(record.List(list).At(at).object));
  }
}

// Appends the entries of a folder's items of a type to a list; calls the progress callback for each
// item.
template <class Entry>
void AppendItems(NetState& net, const TDBObjId& object, std::uint8_t type, std::list<Entry>& list) {
  const TRef<CHDBFolder> folder = OpenFolder(net, object.number);
  WalkItems(net, *folder, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == type) AppendEntry(RecordOf(net, entry.Object()), list);
    return true;
  });
}

// Gives the object's name to every item that refers to its folder or record. Calls the progress
// callback for each Dep that lists the object.
void RenameItems(NetState& net, const Entity& entity);
// Gives an object a new name in its entry and in its record's name value.
template <class Entry>
void RenameRecord(CHDBRecord& record, std::string_view name) {
  Entry entry = EntryOf<Entry>(record);
  PutName(entry, name);
  ReplaceEntry(record, entry);
  record.SetName(name);
}

// Renames a root object, after testing the new name among the objects of its type.
template <class Entry>
bool RenameRootObject(NetState& net, const TDBObjId& object, std::uint8_t type,
                      const char* new_name) {
  const std::string name = CheckedName(net, new_name);
  const Entity entity = OpenEntity(net, object, type);
  RefuseTakenName(net, name, type);
  RenameRecord<Entry>(*entity.record, name);
  RenameItems(net, entity);
  return true;
}

// Removes every item that refers to the object's folder or record.
void RemoveItems(const NetState& net, const TDBObjId& object);

// Takes the next identifier. Throws Refusal, before it is taken, when it is in use or they are used
// up.
std::uint32_t TakeId(NetState& net);
// Stores the preferences block in the record of the root folder's first entry.
void StorePreferences(NetState& net);

[[noreturn]] void RefuseUnknown(std::uint8_t type, unsigned long id);
[[noreturn]] void RefuseUnknown(std::uint8_t type, const char* given);

}  // namespace ncc

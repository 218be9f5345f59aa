// Finding objects, by identifier or name, and opening them.
#pragma once

#include "core/net_state.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace ncc {

// A folder's identifier from its object's record.
inline TDBObjId FolderOf(const CHDBRecord& record) { return {kFolderSpace, record.Number()}; }

[[noreturn]] void RefuseUnknown(std::uint8_t type, unsigned long id);
[[noreturn]] void RefuseUnknown(std::uint8_t type, const char* given);

// Without progress callback, null when there is none ------------------------------------------

const CHDBRecord* FindObject(const NetState& net, unsigned long id, std::uint8_t type);
// A node: server or AP.
const CHDBRecord* FindNode(const NetState& net, unsigned long id);
// The first of a folder's objects of this type and name, by index.
const CHDBRecord* FindNamedIn(const NetState& net, const CHDBFolder& folder, std::uint8_t type,
                              std::string_view name);
bool NameExists(const NetState& net, std::string_view name, std::uint8_t type);

// Numbers of the root objects of a type in the order of the root folder.
std::vector<std::uint32_t> RootObjects(const NetState& net, std::uint8_t type);
// Numbers of all objects of a type, ascending.
std::vector<std::uint32_t> NumbersOf(const NetState& net, std::uint8_t type);

// What a folder's first item of a type with this identifier or name refers to: with a progress
// callback a walk over the items up to it, without one by index. Null when there is none. That by
// name throws Refusal when the name cannot be one of the database.
const CHDBRecord* FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                           unsigned long id);
const CHDBRecord* FindItem(NetState& net, const CHDBFolder& folder, std::uint8_t type,
                           const char* given);
// The same of the root folder.
template <class NameOrId>
const CHDBRecord* FindRootItem(NetState& net, std::uint8_t type, NameOrId which) {
  const TRef<CHDBFolder> held = net.callback != nullptr ? net.root : nullptr;  // it may be reloaded
  return FindItem(net, *net.root, type, which);
}

// Opening; throw Refusal when there is no such object (of this type, where one is given) ------

// An open object.
struct Entity {
  TRef<CHDBRecord> record;

  CHDBFolder& Folder() const { return *record; }
  TDBObjId Id() const { return FolderOf(*record); }
  std::uint32_t Number() const { return record->Number(); }
};

Entity OpenEntity(const NetState& net, const TDBObjId& folder);
Entity OpenEntity(const NetState& net, const TDBObjId& folder, std::uint8_t type);
TRef<CHDBFolder> OpenFolder(const NetState& net, std::uint32_t number);
const CHDBRecord& RecordOf(const NetState& net, const TDBObjId& folder);

}  // namespace ncc

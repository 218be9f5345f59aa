// What the operations on servers, users, Deps and node groups, the objects of the root folder, have
// in common.
#pragma once

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "core/walk.h"
#include "nccnet/identity.h"

#include <cstdint>
#include <cstring>
#include <list>
#include <string_view>
#include <type_traits>
#include <variant>

namespace ncc {

// How a caller names an object: by name, in its own encoding, by identifier, or by folder. The
// twins of an operation differ in this alone.
using ObjectKey = std::variant<const char*, unsigned long, TDBObjId>;

// The record of the root object of this type; of a folder as it is, whatever its type. Throws
// Refusal when there is none.
const CHDBRecord& KnownRecord(NetState& net, std::uint8_t type, const ObjectKey& key);
inline TDBObjId Known(NetState& net, std::uint8_t type, const ObjectKey& key) {
  return FolderOf(KnownRecord(net, type, key));
}
inline TRef<CHDBFolder> KnownFolder(NetState& net, std::uint8_t type, const ObjectKey& key) {
  return OpenFolder(net, Known(net, type, key).number);
}

// Two objects that an operation brings together: both are found before either is opened, since a
// progress callback may run meanwhile.
struct EntityPair {
  Entity one;
  Entity other;
};
EntityPair OpenPair(NetState& net, std::uint8_t type, const ObjectKey& key, std::uint8_t other_type,
                    const ObjectKey& other_key);

// Whether an object of this type, an AP included, has the name. Calls the progress callback for
// APs server by server, and for servers item by item of the root folder.
bool IsNameTaken(NetState& net, std::uint8_t type, std::string_view name);
// Throws Refusal when it is.
void RefuseTakenName(NetState& net, std::uint8_t type, std::string_view name);

// Takes the next identifier. Throws Refusal, before it is taken, when it is in use or they are used
// up.
std::uint32_t AllocateId(NetState& net);
// Takes an identifier of the caller's choice and raises the counter above it. Throws Refusal,
// before it is taken, when it, or the ordinal beside it, cannot be an object's or is in use.
std::uint32_t TakeId(NetState& net, const CIdentity& as);
// The ordinal that goes with it or, without one, the next. Raises the counter.
std::uint32_t TakeNumber(std::uint32_t& counter, const CIdentity* as);

// Makes the entry of a new object: name, identifier and type code, all else zero. The identifier is
// the next one unless `as` says another. The entry is filled where it stands: nothing says that a
// copy keeps each of its bytes.
template <class Entry>
void FillNew(NetState& net, std::uint8_t type, const char* given, Entry& entry,
             const CIdentity* as = nullptr) {
  const std::string name = CheckedName(net, given);
  std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
  name.copy(entry.name, kMaxNameLength);
  entry.id = as != nullptr ? TakeId(net, *as) : AllocateId(net);
  entry.type = type;
}

// Makes the folder and the record of an object with this entry. Stores the preferences.
Entity StoreObject(NetState& net, std::string_view entry);

// The same, as an item of the root folder.
template <class Entry>
TDBObjId StoreRootObject(NetState& net, const Entry& entry) {
  const Entity object = StoreObject(net, {reinterpret_cast<const char*>(&entry), sizeof(entry)});
  net.root->Append(object.Id(), entry.type, object.record->Name());
  return object.Id();
}

// The items of an object in another folder than the root: one for its folder, one for its record.
void AppendItemsOf(CHDBFolder& folder, const CHDBRecord& object, std::string_view name);
// Gives an object's name to every item that refers to it. Calls the progress callback for each Dep
// that lists the object.
void RenameItems(NetState& net, const Entity& entity);

// Whole operations ------------------------------------------------------------------------------

// Stores the object whose entry `fill` makes. Returns its identifier; 0, and `result` as it was,
// when it was refused or failed.
template <class Entry, class Fill>
unsigned long CreateObject(NetState& net, TDBObjId& result, Fill fill) {
  TDBObjId created;
  const bool is_created = Run(net, [&] {
    Entry entry;
    fill(entry);
    created = StoreRootObject(net, entry);
  });
  if (!is_created) return 0;
  result = created;
  return created.number;
}
template <class Entry, class Fill>
unsigned long CreateObject(NetState& net, Fill fill) {
  TDBObjId scratch;
  return CreateObject<Entry>(net, scratch, fill);
}

bool RenameObject(NetState& net, std::uint8_t type, const ObjectKey& key, const char* new_name);
bool DeleteObject(NetState& net, std::uint8_t type, const ObjectKey& key);
bool GetObject(NetState& net, std::uint8_t type, const ObjectKey& key, TDBObjId& result);
bool CheckName(NetState& net, std::uint8_t type, const char* name);

template <class Entry>
bool GetInfo(NetState& net, std::uint8_t type, const ObjectKey& key, Entry& entry) {
  return Run(net, [&] { ReadEntry(KnownRecord(net, type, key), entry); });
}

// All objects of a type by ascending identifier.
template <class Entry>
unsigned long ListAll(NetState& net, std::uint8_t type, std::list<Entry>& list) {
  return RunList(net, list, [&] { AppendAll(net, type, list); });
}

// What a folder lists of another type, in its order.
template <class Entry>
unsigned long ListItems(NetState& net, std::uint8_t type, const ObjectKey& key,
                        std::uint8_t item_type, std::list<Entry>& list) {
  return RunList(net, list, [&] { AppendItems(net, Known(net, type, key), item_type, list); });
}

// What an id list of an object holds, in its order.
template <class Entry>
unsigned long ListLinked(NetState& net, std::uint8_t type, const ObjectKey& key, int position,
                         std::list<Entry>& list) {
  return RunList(net, list,
                 [&] { AppendLinked(net, KnownRecord(net, type, key), position, list); });
}

}  // namespace ncc

// What an object's record says: its entry, and names on their way in and out.
#pragma once

#include "core/net_state.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <string_view>

namespace ncc {

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
void AppendEntry(const CHDBRecord& record, std::list<Entry>& list) {
  ReadEntry(record, list.emplace_back());
}

template <class Entry>
void ReplaceEntry(CHDBRecord& record, const Entry& entry) {
  record.SetData({reinterpret_cast<const char*>(&entry), sizeof(Entry)});
}

// Fills the value list of a new object's record from its entry.
void StoreValues(CHDBList& list, std::string_view entry);
// Gives an object a new name, in its entry too; the bytes behind it stay as they were.
void RenameRecord(CHDBRecord& record, std::string_view name);

}  // namespace ncc

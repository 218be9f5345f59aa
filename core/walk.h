// Walks over items and id lists, and what fills a caller's list with entries. All meet what is
// appended meanwhile.
#pragma once

#include "core/entry.h"
#include "core/find.h"

#include <cstdint>
#include <list>

namespace ncc {

// Calls visit(entry, position) for each entry of the folder until it returns false.
template <class Visit>
void WalkEntries(const CHDBFolder& folder, Visit visit) {
  for (auto at = folder.Entries().First(); at != kNoPosition; at = folder.Entries().Next(at)) {
    if (!visit(CHDBFolderEntry(folder.Entries().At(at)), at)) return;
  }
}

// The same, calling the progress callback before each entry and passing over one that the callback
// removed.
template <class Visit>
void WalkItems(NetState& net, const CHDBFolder& folder, Visit visit) {
  for (auto at = folder.Entries().First(); at != kNoPosition; at = folder.Entries().Next(at)) {
    net.Progress();
    if (folder.Entries().Has(at) && !visit(CHDBFolderEntry(folder.Entries().At(at)), at)) return;
  }
}

// Calls visit(object) for each element of an id list.
template <class Visit>
void WalkIds(const CHDBRecord& record, int list, Visit visit) {
  for (auto at = record.List(list).First(); at != kNoPosition; at = record.List(list).Next(at)) {
    visit(TDBObjId(record.List(list).At(at).object));
  }
}

// Appends the entries of all objects of a type to a list, by ascending number.
template <class Entry>
void AppendAll(const NetState& net, std::uint8_t type, std::list<Entry>& list) {
  net.base->RecSelect(type).ForEach(
      [&](std::uint32_t number) { AppendEntry(*net.base->FindRecord(number), list); });
}

// Appends the entries of a folder's items of a type; calls the progress callback for each item.
template <class Entry>
void AppendItems(NetState& net, const TDBObjId& object, std::uint8_t type, std::list<Entry>& list) {
  const TRef<CHDBFolder> folder = OpenFolder(net, object.number);
  WalkItems(net, *folder, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == type) AppendEntry(RecordOf(net, entry.Object()), list);
    return true;
  });
}

// Appends the entries of the objects that an id list names.
template <class Entry>
void AppendLinked(const NetState& net, const CHDBRecord& object, int position,
                  std::list<Entry>& list) {
  WalkIds(object, position,
          [&](const TDBObjId& linked) { AppendEntry(RecordOf(net, linked), list); });
}

}  // namespace ncc

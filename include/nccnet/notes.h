/// \file
/// Notes: texts that an application keeps with an object, stored with it and gone with it. No
/// record and no generated file shows them.
#pragma once

#include "nccnet/export.h"
#include "nccnet/netdb.h"

#include <cstddef>
#include <list>
#include <string>

/// Bounds, in bytes of UTF-8, and of the notes of one object.
inline constexpr std::size_t kMaxNoteKey = 64;
inline constexpr std::size_t kMaxNoteValue = 4096;
inline constexpr std::size_t kMaxNotes = 32;

struct CNote {
  std::string key;
  std::string value;
};

// An object is a server, an AP, a Dep, a user or a node group, given by its identifier. Keys differ
// by any byte. Keys and values are texts of one line, of any characters but control characters and
// those that other programs take for the end of a line; neither is empty, and a key neither begins
// nor ends in a blank. They are written as SetTextEncoding says; one with characters that code page
// 1251 lacks can be read in UTF-8 alone.
//
// Some keys have a form that all applications can rely on; what has another one is refused:
//   "latitude", "longitude"  degrees in decimal digits, as "-48.25", up to 90 and 180
//   "tags"                   words with a comma between each two, as "core,spare", none twice

/// Why this can be no note, in a sentence; empty when it can. Both are UTF-8.
/// \throws std::bad_alloc
NCC_API std::string FaultOfNote(const std::string& key, const std::string& value);
/// Gives the object a note, in place of the one that it has under this key. False when the object
/// is unknown, a text is longer than its bound or not what it has to be, or the object has
/// kMaxNotes others.
NCC_API bool SetNote(CNCCNet& net, unsigned long id, const char* key, const char* value);
/// False, with `value` as it was, when the object has no such note.
NCC_API bool GetNote(CNCCNet& net, unsigned long id, const char* key, std::string& value);
/// False when the object has no such note.
NCC_API bool RemoveNote(CNCCNet& net, unsigned long id, const char* key);
/// All notes of an object by their keys. Empties the list first. \return the list's size
NCC_API unsigned long ListNotes(CNCCNet& net, unsigned long id, std::list<CNote>& list);
/// The identifiers of the objects that have any, ascending. Empties the list first.
NCC_API unsigned long ListNoted(CNCCNet& net, std::list<unsigned long>& list);

// A folder of the hierarchical database and its ordered entries.
#pragma once

#include "platform/hdb/object.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

class CHDBase;

// One folder. Entries keep the order of appending and have stable positions: walk them by
// Entries().First() and Next(). Each change goes into the running unit of work.
class CHDBFolder : public CHDBObject {
 public:
  TDBObjId Id() const { return {ncc::kFolderSpace, number_}; }
  TDBObjId RecordId() const { return {ncc::kRecordSpace, number_}; }

  const CHDBEntryList& Entries() const { return entries_; }
  // Numbers of the folders with an entry for this one or its record, ascending.
  std::span<const std::uint32_t> Parents() const;
  // Position of the first entry that refers to the object; ncc::kNoPosition when there is none.
  std::uint32_t Find(const TDBObjId& object) const { return entries_.Find(ncc::KeyOf(object)); }
  // The name that the entry shows.
  std::string_view EntryName(std::uint32_t position) const;
  // Null when the entry shows the name of its object.
  const std::string* Label(std::uint32_t position) const;

  // The target must exist. A name equal to the target's own is not stored.
  void Append(const TDBObjId& object, std::uint8_t kind, std::string_view name);
  void Remove(std::uint32_t position);
  void RemoveAll();
  void Rename(std::uint32_t position, std::string_view name);

  // Reading what is stored: a chunk of entries, the labels by their slots; what they refer to comes
  // later.
  using Labels = std::map<std::uint32_t, std::string>;
  void PutStored(std::uint32_t chunk, std::span<const CHDBFolderEntry> entries,
                 const Labels& labels);
  // A folder has an entry for this one or its record, or has none any more.
  void AddParent(std::uint32_t parent);
  void RemoveParent(std::uint32_t parent);

 protected:
  ncc::ObjectOwner& Owner() const;

 private:
  void TouchEntry(std::uint32_t position);
  void PutLabel(std::uint32_t position, std::string_view label);
};

class CHDBFolderManager {
 public:
  explicit CHDBFolderManager(CHDBase& base) : base_(base) {}

  TRef<CHDBFolder> FolderCreateRoot(std::uint32_t space);
  TRef<CHDBFolder> FolderOpenRoot(std::uint32_t space);
  // Throws ncc::StorageError when the number is in use.
  TRef<CHDBFolder> FolderCreate(std::uint32_t number);
  // Throws ncc::StorageError when there is none.
  TRef<CHDBFolder> FolderOpen(const TDBObjId& id);
  // Removes the folder with its entries. Entries elsewhere that refer to it must be gone.
  void FolderRemove(const TDBObjId& id);

 private:
  CHDBase& base_;
};

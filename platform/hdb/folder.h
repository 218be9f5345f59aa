// A folder of the hierarchical database and its ordered entries.
#pragma once

#include "platform/hdb/record.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// The numbers of the root folder and of the one below it cannot meet those of objects, which count
// up from 1.
inline constexpr std::uint32_t kRootNumber = 0xFFFFFFFF;

constexpr std::uint64_t KeyOf(const TDBObjId& id) {
  return (static_cast<std::uint64_t>(id.space) << 32) | id.number;
}

}  // namespace ncc

// An item of a folder: what it refers to, a kind, and a name. An item without a name of its own
// shows the name of the object that it refers to.
class CHDBFolderEntry {
 public:
  CHDBFolderEntry() = default;
  CHDBFolderEntry(const TDBObjId& object, std::uint8_t kind)
      : number_(object.number), space_(static_cast<std::uint16_t>(object.space)), kind_(kind) {}
  CHDBFolderEntry(const TDBObjId& object, std::uint8_t kind, std::string_view name)
      : CHDBFolderEntry(object, kind) {
    label_ = std::make_unique<std::string>(name);
  }

  TDBObjId Object() const { return {space_, number_}; }
  std::uint8_t Kind() const { return kind_; }
  const std::string* Label() const { return label_.get(); }
  std::uint64_t Key() const { return ncc::KeyOf(Object()); }

 private:
  friend class CHDBFolder;

  std::uint32_t number_ = 0;
  std::uint16_t space_ = 0;
  std::uint8_t kind_ = 0;
  std::unique_ptr<std::string> label_;
};

using CHDBEntryList = ncc::OrderedList<CHDBFolderEntry>;

// One folder. Entries keep the order of appending and have stable positions: walk them by
// Entries().First() and Next(). Each change goes into the running unit of work.
class CHDBFolder {
 public:
  CHDBFolder(CHDBase* base, std::uint32_t number) : base_(base), number_(number) {}
  CHDBFolder(const CHDBFolder&) = delete;
  CHDBFolder& operator=(const CHDBFolder&) = delete;

  TDBObjId Id() const { return {ncc::kFolderSpace, number_}; }
  TDBObjId RecordId() const { return {ncc::kRecordSpace, number_}; }
  std::uint32_t Number() const { return number_; }

  const CHDBEntryList& Entries() const { return entries_ ? *entries_ : Empty(); }
  // Numbers of the folders with an entry for this one or its record, ascending.
  const std::vector<std::uint32_t>& Parents() const { return parents_; }
  // Position of the first entry that refers to the object; ncc::kNoPosition when there is none.
  std::uint32_t Find(const TDBObjId& object) const { return Entries().Find(ncc::KeyOf(object)); }
  // The name that the entry shows.
  std::string_view EntryName(std::uint32_t position) const;

  // The target must exist. A name equal to the target's own is not stored.
  void Append(const TDBObjId& object, std::uint8_t kind, std::string_view name);
  void Remove(std::uint32_t position);
  void Rename(std::uint32_t position, std::string_view name);

 private:
  friend class CHDBase;
  friend class CHDBFolderManager;

  static const CHDBEntryList& Empty();
  CHDBase& Base() const;

  CHDBase* base_;  // null once the folder was removed or its base reloaded
  std::uint32_t number_;
  std::unique_ptr<CHDBEntryList> entries_;  // null while none was appended
  std::vector<std::uint32_t> parents_;
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

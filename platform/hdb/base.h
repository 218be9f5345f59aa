// The hierarchical database: objects in memory, derived indexes over them, a storage engine behind
// them.
#pragma once

#include "platform/hdb/folder.h"
#include "platform/hdb/id_set.h"
#include "platform/hdb/manager.h"
#include "platform/hdb/paged_table.h"
#include "platform/hdb/record.h"
#include "platform/hdb/unit_of_work.h"
#include "platform/storage/engine.h"
#include "platform/text/ascii_fold.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class TDBMode { kOpenExisting = 2, kSnapshot = 3 };

// What a database is made of beside its objects: kept with it, in the order of creation.
struct CHDBDefinition {
  enum class What : std::uint32_t {
    kIndex = 1,
    kRecordSpace = 2,
    kParentLink = 3,
    kFolderSpace = 4
  };

  What what = What::kIndex;
  std::string name;
  std::uint32_t number = 0;  // a space's number, an index's attribute
  std::uint32_t kind = 0;    // an index's kind of key
  std::uint32_t length = 0;  // an index's longest key
  std::uint32_t tag = 0;     // a space's four characters, little-endian
  std::uint32_t flags = 0;   // a space's flags; the top bit marks a deleted one
};

// An object: a folder and a record under one number, held as one.
struct CHDBObject {
  CHDBObject(CHDBase* base, std::uint32_t number) : record(base, number), folder(base, number) {}

  CHDBRecord record;
  CHDBFolder folder;
};

// One open database. Not thread-safe; the owner serialises. Members throw ncc::StorageError.
class CHDBase {
 public:
  static constexpr std::uint32_t kFolderTag = 0x444C4F46;  // "FOLD"
  static constexpr std::uint32_t kRecordTag = 0x53434552;  // "RECS"
  static constexpr std::uint32_t kDeletedFlag = 0x80000000;

  // Creates an empty database; nothing is stored before the first unit of work ends.
  CHDBase(CHDBMgr& manager, const std::string& path);
  // Opens and loads an existing one; a snapshot refuses every change.
  CHDBase(CHDBMgr& manager, const std::string& path, TDBMode mode, bool accepts_loss = false);
  // Loads what the engine has.
  CHDBase(CHDBMgr& manager, std::unique_ptr<ncc::StorageEngine> engine);
  ~CHDBase();
  CHDBase(const CHDBase&) = delete;
  CHDBase& operator=(const CHDBase&) = delete;

  // Variables in names are expanded.
  void IndexCreate(const std::string& name, std::uint32_t attribute, std::uint32_t kind,
                   std::uint32_t length);
  void RecSpcCreate(const std::string& name, std::uint32_t number);
  void ParentLinkCreate(const std::string& name);
  // Returns the space's number.
  std::uint32_t FolderSpcCreate(const std::string& name, std::uint32_t number);
  const std::vector<CHDBDefinition>& Definitions() const { return definitions_; }

  // Numbers of the records of a type, walked ascending.
  const ncc::IdSet& RecSelect(std::uint32_t type) const;
  // Folders that hold an entry for the object's folder or record, ascending.
  std::vector<TDBObjId> ParentLinkSelect(const TDBObjId& object) const;
  // Null when there is none.
  const CHDBRecord* FindRecord(std::uint64_t number) const {
    const CHDBObject* object = FindObject(number);
    return object != nullptr && object->record.exists_ ? &object->record : nullptr;
  }
  bool HasFolder(const TDBObjId& folder) const { return FindObject(folder.number) != nullptr; }
  // Calls visit(record) for each record of this type and name (ASCII case ignored), in no order,
  // until it returns false.
  template <class Visit>
  void ForEachNamed(std::uint32_t type, std::string_view name, Visit visit) const {
    std::uint32_t number = FirstNamesake(type, name);
    while (number != ncc::kNoPosition) {
      const CHDBRecord& record = FindObject(number)->record;
      number = record.next_namesake_;
      if (!visit(record)) return;
    }
  }

  template <class Visit>
  void ForEachObject(Visit visit) const {
    objects_.ForEach([&](const TRef<CHDBObject>& object) { visit(*object); });
  }

  // Throws when what is stored could not be read again after a failure: nothing works any more
  // then.
  void CheckUsable() const;

  // Units of work nest; only what the outermost one began is stored, when it ends. Throws when it
  // could not be stored; memory then is what is stored, and handles from before refuse every
  // change.
  void BeginUnit() { unit_.Enter(); }
  void EndUnit() {
    if (unit_.Leave() && (unit_.HasChanges() || unit_.HasFailed())) Commit();
  }
  // Leaves an inner unit that changed nothing.
  void LeaveUnit() { unit_.Leave(); }
  // Leaves a unit that failed. The outermost unit is not stored any more; leaving that one undoes
  // it.
  void AbandonUnit(std::string_view why) noexcept;
  // The unit that runs will not be stored.
  void FailUnit(std::string_view why) noexcept { unit_.Fail(why); }
  bool InUnit() const { return unit_.Depth() > 0; }
  const ncc::UnitOfWork& Unit() const { return unit_; }

  std::uint64_t Revision() const { return state_.revision; }
  // Raised each time that memory was replaced by what is stored.
  std::uint64_t Generation() const { return generation_; }

  void CopyTo(const std::string& file) { engine_->CopyTo(file); }

 private:
  friend class CHDBFolder;
  friend class CHDBFolderManager;
  friend class CHDBRecord;
  friend class CHDBRecordManager;

  CHDBObject* FindObject(std::uint64_t number) const {
    if (number > 0xFFFFFFFF) return nullptr;
    const auto* slot = objects_.Find(static_cast<std::uint32_t>(number));
    return slot != nullptr ? slot->get() : nullptr;
  }
  CHDBObject& Object(const TDBObjId& id) const;
  TRef<CHDBFolder> FolderRef(std::uint32_t number) const;
  TRef<CHDBRecord> RecordRef(std::uint32_t number) const;

  void TouchObject(const CHDBRecord& record);
  void TouchChunk(std::uint32_t number, std::uint8_t list, std::uint32_t position);
  std::optional<ncc::Row> EncodeRow(const ncc::RowKey& key) const;

  // One record of this type and name, the head of the chain of all; ncc::kNoPosition when there is
  // none.
  std::uint32_t FirstNamesake(std::uint32_t type, std::string_view name) const;
  // Records of type 0 are not indexed: a record has it until its type is written.
  void IndexRecord(CHDBRecord& record);
  void UnindexRecord(CHDBRecord& record);
  void AddParent(std::uint32_t child, std::uint32_t parent);
  void RemoveParent(std::uint32_t child, const CHDBFolder& parent);

  void AddDefinition(CHDBDefinition definition);
  void Commit();
  void Load();
  void LoadRow(ncc::Row&& row);
  void DeriveParents();
  void Reload() noexcept;
  void DropObjects();

  CHDBMgr& manager_;
  std::unique_ptr<ncc::StorageEngine> engine_;
  std::vector<CHDBDefinition> definitions_;
  ncc::PagedTable<TRef<CHDBObject>> objects_;
  std::map<std::uint32_t, ncc::IdSet> types_;
  ncc::FlatIndex names_;  // of each type and name, one record
  ncc::UnitOfWork unit_;
  ncc::StoredState state_;
  std::uint64_t generation_ = 0;
  bool broken_ = false;  // nothing works any more
  std::string broken_reason_;
};

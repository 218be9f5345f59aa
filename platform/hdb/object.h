// What an object of the hierarchical database holds: the values and lists of its folder and its
// record.
#pragma once

#include "nccnet/records.h"
#include "platform/hdb/ordered_list.h"
#include "platform/storage/row.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class CHDBRecord;

namespace ncc {

inline constexpr std::uint32_t kRecordSpace = 100;
inline constexpr std::uint32_t kFolderSpace = 200;

// The numbers of the root folder and of the one below it cannot meet those of objects, which count
// up from 1.
inline constexpr std::uint32_t kRootNumber = 0xFFFFFFFF;

// Kind of the folder items that refer to a record; the others carry the type of what they refer to.
inline constexpr std::uint8_t kRecordItem = 6;

inline constexpr std::size_t kMaxDataSize = 80;

constexpr std::uint64_t KeyOf(const TDBObjId& id) {
  return (static_cast<std::uint64_t>(id.space) << 32) | id.number;
}

// The lists of an object: the folder's entries, the record's id lists, its pair values.
inline constexpr std::uint8_t kEntryList = 0;
inline constexpr std::uint8_t kFirstIdList = 1;
inline constexpr std::uint8_t kPairList = 4;
inline constexpr std::uint8_t kLists = 5;

// The row that holds a chunk of a list: the first one stands in the row of the object.
constexpr RowKey RowOfChunk(std::uint32_t number, std::uint8_t list, std::uint32_t chunk) {
  if (chunk == 0) return {RowKind::kObject, number};
  return {RowKind::kChunk, number, list, chunk};
}

// The database that an object belongs to, as the object sees it.
class ObjectOwner {
 public:
  // Call before each change of what a row holds. Throws StorageError when nothing may be changed.
  virtual void Touch(const RowKey& row) = 0;
  // Call around each change of a record's type or name.
  virtual void Unindex(const CHDBRecord& record) = 0;
  virtual void Index(const CHDBRecord& record) = 0;
  // Throws StorageError when there is no such object.
  virtual CHDBRecord& Object(std::uint32_t number) const = 0;

 protected:
  ~ObjectOwner() = default;
};

// Element of an id list: the linked object's folder, searched by its number.
struct IdListElement {
  TDBObjId object;

  std::uint64_t Key() const { return object.number; }
  static IdListElement Hole() { return {}; }
  bool IsHole() const { return object.space == 0; }
};
using IdList = OrderedList<IdListElement>;

// A value behind the id lists: nine bytes, two numbers and a kind, searched by the numbers.
struct PairValue {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::uint8_t kind = 0;
  bool is_hole = false;

  std::uint64_t Key() const { return (std::uint64_t{first} << 32) | second; }
  static PairValue Hole() { return {0, 0, 0, true}; }
  bool IsHole() const { return is_hole; }
};
using PairList = OrderedList<PairValue>;

}  // namespace ncc

// An item of a folder: what it refers to, and a kind. One without a label shows the name of the
// object that it refers to; the folder has the labels.
class CHDBFolderEntry {
 public:
  CHDBFolderEntry() = default;
  CHDBFolderEntry(const TDBObjId& object, std::uint8_t kind, bool has_label = false)
      : number_(object.number),
        space_(static_cast<std::uint16_t>(object.space)),
        kind_(kind),
        has_label_(has_label) {}

  TDBObjId Object() const { return {space_, number_}; }
  std::uint8_t Kind() const { return kind_; }
  bool HasLabel() const { return has_label_; }

  std::uint64_t Key() const { return ncc::KeyOf(Object()); }
  static CHDBFolderEntry Hole() { return {}; }
  bool IsHole() const { return space_ == 0; }

 private:
  std::uint32_t number_ = 0;
  std::uint16_t space_ = 0;
  std::uint8_t kind_ = 0;
  bool has_label_ = false;
};

using CHDBEntryList = ncc::OrderedList<CHDBFolderEntry>;

// A place for an object, which has one number for life: in it the object's folder, and on that its
// record. What a look-up reads stands together at the front, and all of it in two cache lines.
class alignas(64) CHDBObject {
 public:
  CHDBObject() = default;
  ~CHDBObject();
  CHDBObject(const CHDBObject&) = delete;
  CHDBObject& operator=(const CHDBObject&) = delete;

  std::uint32_t Number() const { return number_; }
  bool IsAlive() const { return owner_ != nullptr; }
  bool HasRecord() const { return has_record_; }

  // A place that was taken once goes to another object only when no handle can look at it any more.
  bool WasTaken() const { return number_ != 0; }
  void Take(ncc::ObjectOwner& owner, std::uint32_t number) {
    owner_ = &owner;
    number_ = number;
  }
  // From now on every change is refused.
  void LetGo() { owner_ = nullptr; }
  // The same of an object that was removed: it is empty from now on.
  void Retire();

 protected:
  // What few objects have.
  struct Rarities {
    std::array<ncc::IdList, 3> id_lists;
    std::unique_ptr<std::map<std::uint32_t, std::string>> labels;  // of items, by position
    std::unique_ptr<std::string> name;                             // where has_own_name_ is set
  };

  Rarities& MakeRarities() {
    if (!rarities_) rarities_ = std::make_unique<Rarities>();
    return *rarities_;
  }

  std::uint32_t number_ = 0;
  std::uint8_t type_ = 0;
  std::uint8_t name_size_ = 0;
  std::uint8_t data_size_ : 7 = 0;
  std::uint8_t has_record_ : 1 = 0;
  std::uint8_t has_own_name_ : 1 = 0;  // else the name is what the data image begins with
  std::uint8_t has_many_parents_ : 1 = 0;
  std::array<char, ncc::kMaxDataSize> data_{};
  ncc::ObjectOwner* owner_ = nullptr;  // null once the object was removed or its base reloaded
  CHDBEntryList entries_;
  ncc::PairList pairs_;
  std::unique_ptr<Rarities> rarities_;
  union {
    std::array<std::uint32_t, 2> few = {};  // ascending, 0 for none
    std::vector<std::uint32_t>* many;
  } parents_;
};

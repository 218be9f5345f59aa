// A record of the hierarchical database and the values that it holds.
#pragma once

#include "platform/hdb/folder.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace ncc {

// Kinds of values.
inline constexpr std::uint32_t kNumberValue = 0x30000000;
inline constexpr std::uint32_t kListValue = 0x50000000;
inline constexpr std::uint32_t kStringValue = 0x60000000;
inline constexpr std::uint32_t kDataValue = 0x70000000;

// Attributes of values, which the indexes cover.
inline constexpr std::uint32_t kIdAttribute = 10;
inline constexpr std::uint32_t kNameAttribute = 20;
inline constexpr std::uint32_t kTypeAttribute = 30;

// Positions of values in a record: the data image, the three attributes, then three id lists.
inline constexpr int kFirstListPosition = 4;
inline constexpr int kLastListPosition = 6;

}  // namespace ncc

// One typed value on its way into a record.
struct CHDBVal {
  std::uint32_t kind = 0;
  std::uint32_t attribute = 0;
  std::uint32_t number = 0;  // kNumberValue
  std::string_view bytes;    // kStringValue, kDataValue
};

// One record, on the folder of its number. Its values stand at fixed positions: 0 the data image
// (at most 80 bytes), 1 the number of attribute 10, 2 the string of attribute 20, 3 the number of
// attribute 30, 4 to 6 the id lists, and from 7 on any number of pair values. Each change goes into
// the running unit of work; one that changes nothing does not. Every changing member throws
// ncc::StorageError when the record or its base is gone.
class CHDBRecord final : public CHDBFolder {
 public:
  TDBObjId Id() const { return RecordId(); }
  std::string_view Data() const { return {data_.data(), data_size_}; }
  std::string_view Name() const {
    return has_own_name_ ? std::string_view(*rarities_->name)
                         : std::string_view(data_.data(), name_size_);
  }
  std::uint32_t Type() const { return type_; }

  void SetData(std::string_view data);
  void SetName(std::string_view name);
  void SetType(std::uint32_t type);

  // The id list at a position from 4 to 6.
  const ncc::IdList& List(int position) const;
  // Appends unless the object is there already. Returns whether it was appended.
  bool AddToList(int position, const TDBObjId& object);
  // Returns whether it was there.
  bool RemoveFromList(int position, std::uint32_t number);

  // The pair values, from position 7 of the record on.
  const ncc::PairList& Pairs() const { return pairs_; }
  void AppendPair(const ncc::PairValue& value);
  // `at` is a position in Pairs().
  void RemovePair(std::uint32_t at);
  void SetPairKind(std::uint32_t at, std::uint8_t kind);

  // The folder gets an empty record, or loses the one that it has.
  void Create();
  void Remove();

  // Reading what is stored. Throws ncc::StorageError for values that no record has.
  void Restore(std::uint32_t type, std::string_view name, std::string_view data);
  void PutStored(int list, std::uint32_t chunk, std::span<const ncc::IdListElement> elements);
  void PutStored(std::uint32_t chunk, std::span<const ncc::PairValue> values);
  // Takes a chunk away that is not stored; `list` as in rows.
  void DropStored(std::uint8_t list, std::uint32_t chunk);
  using CHDBFolder::PutStored;

 private:
  ncc::ObjectOwner& Owner() const;
  void TouchValues();
  void TouchList(std::uint8_t list, std::uint32_t position);
  void TouchIdList(std::size_t index, std::uint32_t position);
  void PutData(std::string_view data);
  void PutName(std::string_view name);
};

// The value list of a record that is being written: values are appended in the order of their
// positions.
class CHDBList {
 public:
  explicit CHDBList(TRef<CHDBRecord> record) : record_(std::move(record)) {}

  // Throws ncc::StorageError for a value that does not belong at the next position.
  void Append(const CHDBVal& value);

 private:
  TRef<CHDBRecord> record_;
  int next_ = 0;
};

class CHDBRecordManager {
 public:
  explicit CHDBRecordManager(CHDBase& base) : base_(base) {}

  // The object's folder must exist. Throws ncc::StorageError when the record does.
  TRef<CHDBRecord> RecCreate(const TDBObjId& id);
  // Throws ncc::StorageError when there is none.
  TRef<CHDBRecord> RecOpen(const TDBObjId& id);
  void RecRemove(const TDBObjId& id);

 private:
  CHDBase& base_;
};

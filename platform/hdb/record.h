// A record of the hierarchical database and the values that it holds.
#pragma once

#include "nccnet/records.h"
#include "platform/hdb/ordered_list.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

class CHDBase;

namespace ncc {

inline constexpr std::uint32_t kRecordSpace = 100;
inline constexpr std::uint32_t kFolderSpace = 200;

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
inline constexpr int kDataPosition = 0;
inline constexpr int kFirstListPosition = 4;
inline constexpr int kLastListPosition = 6;

inline constexpr std::size_t kMaxDataSize = 80;

// Element of an id list: the linked object's folder, searched by its number.
struct IdListElement {
  TDBObjId object;
  std::uint64_t Key() const { return object.number; }
};
using IdList = OrderedList<IdListElement>;

// A value behind the id lists: nine bytes, two numbers and a kind, searched by the numbers.
struct PairValue {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::uint8_t kind = 0;

  std::uint64_t Key() const { return (std::uint64_t{first} << 32) | second; }
};
using PairList = OrderedList<PairValue>;

}  // namespace ncc

// One typed value on its way into a record.
struct CHDBVal {
  std::uint32_t kind = 0;
  std::uint32_t attribute = 0;
  std::uint32_t number = 0;  // kNumberValue
  std::string_view bytes;    // kStringValue, kDataValue
};

// One record. Its values stand at fixed positions: 0 the data image (at most 80 bytes), 1 the
// number of attribute 10, 2 the string of attribute 20, 3 the number of attribute 30, 4 to 6 the id
// lists, and from 7 on any number of pair values. Each change goes into the running unit of work;
// one that changes nothing does not. Every changing member throws ncc::StorageError when the record
// or its base is gone.
class CHDBRecord {
 public:
  CHDBRecord(CHDBase* base, std::uint32_t number) : number_(number), base_(base) {}
  CHDBRecord(const CHDBRecord&) = delete;
  CHDBRecord& operator=(const CHDBRecord&) = delete;

  TDBObjId Id() const { return {ncc::kRecordSpace, number_}; }
  std::uint32_t Number() const { return number_; }
  std::string_view Data() const { return {data_.data(), data_size_}; }
  std::string_view Name() const {
    return own_name_ ? std::string_view(*own_name_) : std::string_view(data_.data(), name_size_);
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
  const ncc::PairList& Pairs() const;
  void AppendPair(const ncc::PairValue& value);
  // `at` is a position in Pairs().
  void RemovePair(std::uint32_t at);
  void SetPairKind(std::uint32_t at, std::uint8_t kind);

 private:
  friend class CHDBase;
  friend class CHDBRecordManager;
  friend class CHDBFolderManager;

  CHDBase& Base() const;
  void PutData(std::string_view data);
  void PutName(std::string_view name);

  // What a look-up reads stands together at the front.
  std::uint32_t number_;
  std::uint32_t type_ = 0;
  bool exists_ = false;  // the object has this record
  std::uint8_t name_size_ = 0;
  std::uint8_t data_size_ = 0;
  std::array<char, ncc::kMaxDataSize> data_{};
  std::unique_ptr<std::string> own_name_;  // null: the name is what the data image begins with
  CHDBase* base_;                          // null once the record was removed or its base reloaded
  std::uint32_t next_namesake_ = ncc::kNoPosition;  // records of one type and name form a chain
  std::uint32_t previous_namesake_ = ncc::kNoPosition;
  std::array<std::unique_ptr<ncc::IdList>, 3> lists_;  // null while empty
  std::unique_ptr<ncc::PairList> pairs_;               // null while none was appended
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

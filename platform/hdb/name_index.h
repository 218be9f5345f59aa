// Records by type and name.
#pragma once

#include "platform/hdb/flat_index.h"
#include "platform/hdb/object_table.h"
#include "platform/text/ascii_fold.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace ncc {

// The case of ASCII letters is ignored. Of the records of one type and name the table holds one,
// from which a chain leads to the others: so many of one name cost no more than as many names.
class NameIndex {
 public:
  explicit NameIndex(const ObjectTable& objects) : objects_(objects) {}

  void Insert(const CHDBRecord& record);
  // The record must be there under the type and name that it has.
  void Remove(const CHDBRecord& record);
  void Clear() noexcept;

  // Calls visit(record) for each record of this type and name, in no order, until it returns false.
  template <class Visit>
  void ForEach(std::uint32_t type, std::string_view name, Visit visit) const {
    std::uint32_t number = First(HashFolded(name, type), type, name);
    while (number != kNone) {
      const std::uint32_t next = Next(number);
      if (!visit(static_cast<const CHDBRecord&>(*objects_.Find(number)))) return;
      number = next;
    }
  }

 private:
  static constexpr std::uint32_t kNone = 0;  // no record's number

  struct Neighbours {
    std::uint32_t previous = kNone;
    std::uint32_t next = kNone;
  };

  std::uint32_t First(std::uint32_t hash, std::uint32_t type, std::string_view name) const;
  std::uint32_t Next(std::uint32_t number) const {
    if (chains_.empty()) return kNone;
    const auto found = chains_.find(number);
    return found != chains_.end() ? found->second.next : kNone;
  }

  const ObjectTable& objects_;
  FlatIndex table_;
  std::unordered_map<std::uint32_t, Neighbours> chains_;  // of records that have namesakes
};

}  // namespace ncc

// The text of rows: how definitions and chunks of lists are written as JSON and read back.
//
//   folder entries  [[4,17],[6,17],null,[3,9,"Name"]]   kind, number; a name of its own; a space
//   that the
//                                                       kind does not imply: [0,9,null,100]
//   id list         [5,9,null,12]                       numbers of folders; another space: [100,12]
//   pair values     [[7,12,0],null]                     the two numbers and the kind
//
// A null is the position of a removed element. Kind 6 implies the record space, any other the
// folder space.
#pragma once

#include "platform/hdb/folder.h"
#include "platform/hdb/record.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

struct CHDBDefinition;

namespace ncc {

// What stands in a chunk, T::Hole() for what was removed.
template <class T>
class Slots {
 public:
  bool IsFull() const { return size_ == slots_.size(); }
  std::uint32_t Size() const { return size_; }
  void Append(const T& element) { slots_[size_++] = element; }
  std::span<const T> View() const { return {slots_.data(), size_}; }

 private:
  std::array<T, kSlotsPerChunk> slots_;
  std::uint32_t size_ = 0;
};

struct EntrySlots : Slots<CHDBFolderEntry> {
  CHDBFolder::Labels labels;
};

// Empty when no slot of the chunk holds an element.
std::string EncodeChunk(const CHDBFolder& folder, std::uint32_t chunk);
std::string EncodeChunk(const IdList& list, std::uint32_t chunk);
std::string EncodeChunk(const PairList& list, std::uint32_t chunk);
std::string EncodeDefinition(const CHDBDefinition& definition);

// The readers throw StorageError for text that no encoder wrote. So a row that was read is written
// again byte for byte, as the totals over all rows presume.
std::string DecodeName(std::string_view utf8);
EntrySlots DecodeEntries(std::string_view text);
Slots<IdListElement> DecodeIds(std::string_view text);
Slots<PairValue> DecodePairs(std::string_view text);
CHDBDefinition DecodeDefinition(std::string_view name, std::uint32_t what, std::string_view text);

}  // namespace ncc

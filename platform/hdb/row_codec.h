// The text of rows: how definitions, chunks of lists and notes are written as JSON and read back.
//
//   folder entries  [[4,17],[6,17],null,[3,9,"Name"]]   kind, number; a name of its own; a space
//   that the
//                                                       kind does not imply: [0,9,null,100]
//   id list         [5,9,null,12]                       numbers of folders; another space: [100,12]
//   pair values     [[7,12,0],null]                     the two numbers and the kind
//
// A null is the position of a removed element. Kind 6 implies the record space, any other the
// folder space. The row of an object has the first chunks of its lists:
//
//   [[[4,17],[6,17]],null,[5,9]]                    folder entries, three id lists, pair values;
//                                                   null without an element, none behind the last
//
// The notes of an object are one of texts by ascending keys: {"comment":"text","tags":"core,spare"}
#pragma once

#include "platform/hdb/folder.h"
#include "platform/hdb/notes.h"
#include "platform/hdb/record.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CHDBDefinition;

namespace ncc {

// Each appends to the text; those of lists append nothing when there is no element.
void EncodeFirstChunks(std::string& out, const CHDBRecord& object);
void EncodeChunk(std::string& out, const CHDBRecord& object, std::uint8_t list,
                 std::uint32_t chunk);
void EncodeDefinition(std::string& out, const CHDBDefinition& definition);
void EncodeNotes(std::string& out, const Notes& notes);
// Throws StorageError for text that EncodeNotes did not write, or that no notes are.
Notes DecodeNotes(std::string_view text);

// What stands in a chunk, T::Hole() for what was removed.
struct ChunkSlots {
  std::vector<CHDBFolderEntry> entries;
  CHDBFolder::Labels labels;
  std::vector<IdListElement> ids;
  std::vector<PairValue> pairs;
};

// Reads rows one after another, in memory that it keeps. Each member throws StorageError for text
// that no encoder wrote. So a row that was read is written again byte for byte, as the totals over
// all rows presume.
class RowDecoder {
 public:
  // Lives until the next one is read.
  std::string_view DecodeName(std::string_view utf8);
  CHDBDefinition DecodeDefinition(std::string_view name, std::uint32_t what, std::string_view text);
  // Give the object what it holds.
  void DecodeFirstChunks(CHDBRecord& object, std::string_view text);
  void DecodeChunk(CHDBRecord& object, std::uint8_t list, std::uint32_t chunk,
                   std::string_view text);

 private:
  std::string name_;
  ChunkSlots slots_;
};

}  // namespace ncc

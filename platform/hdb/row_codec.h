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

#include <string>
#include <string_view>

struct CHDBDefinition;

namespace ncc {

std::string EncodeChunk(const CHDBEntryList::Chunk& chunk);
std::string EncodeChunk(const IdList::Chunk& chunk);
std::string EncodeChunk(const PairList::Chunk& chunk);
std::string EncodeDefinition(const CHDBDefinition& definition);

// The readers throw StorageError for text that no encoder wrote. So a row that was read is written
// again byte for byte, as the totals over all rows presume.
std::string DecodeName(std::string_view utf8);
CHDBEntryList::Chunk DecodeEntryChunk(std::uint32_t number, std::string_view text);
IdList::Chunk DecodeIdChunk(std::uint32_t number, std::string_view text);
PairList::Chunk DecodePairChunk(std::uint32_t number, std::string_view text);
CHDBDefinition DecodeDefinition(std::string_view name, std::uint32_t what, std::string_view text);

}  // namespace ncc

// The unit of storage: what an engine keeps, loads and commits. A row is one object, one chunk of
// an ordered list, the notes of an object, or one definition; which of them it is and whose stands
// in its key.
#pragma once

#include "platform/storage/history.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// Which part of the database a row holds. The order is the order of loading: definitions, then
// objects, then the lists that name them and the notes about them.
enum class RowKind : std::uint8_t {
  kDefinition = 0,  // an index, a space, or the parent link: number = ordinal of the definition
  kObject = 1,      // an object and the beginnings of its lists: number = the object's number
  kChunk = 2,       // 64 further positions of one ordered list of an object
  kNote = 3,        // the notes of an object: number = the object's number
};

// Key of a row. Total order: kind, number, list, chunk.
struct RowKey {
  RowKind kind = RowKind::kDefinition;
  std::uint32_t number = 0;  // the object that the row belongs to
  std::uint8_t list = 0;     // kChunk: which list of the object, 0 to 7
  std::uint32_t chunk = 0;   // kChunk: positions chunk*64 to chunk*64+63; below 2^26

  friend auto operator<=>(const RowKey&, const RowKey&) = default;
};

// A key as a number, in the order of keys.
constexpr std::uint64_t Pack(const RowKey& key) {
  return std::uint64_t{static_cast<std::uint8_t>(key.kind)} << 61 |
         std::uint64_t{key.number} << 29 | std::uint64_t{key.list} << 26 | key.chunk;
}
constexpr RowKey Unpack(std::uint64_t key) {
  return {static_cast<RowKind>(key >> 61), static_cast<std::uint32_t>(key >> 29),
          static_cast<std::uint8_t>(key >> 26 & 7), static_cast<std::uint32_t>(key & 0x3FFFFFF)};
}

// Contents of a row. Text is UTF-8 (the code page 1251 names of the library, converted without
// loss).
template <class Text>
struct BasicRow {
  RowKey key;
  std::uint32_t type = 0;  // kObject, kDefinition: the type code; else 0
  Text name{};             // kObject, kDefinition: UTF-8 text; else empty
  Text body{};             // kObject: the data image, any bytes; else JSON text
  Text lists{};            // kObject: JSON text, empty when no list begins there; else empty

  friend bool operator==(const BasicRow&, const BasicRow&) = default;
};
using Row = BasicRow<std::string>;
using RowView = BasicRow<std::string_view>;

inline RowView ViewOf(const Row& row) { return {row.key, row.type, row.name, row.body, row.lists}; }
inline Row CopyOf(const RowView& row) {
  return {row.key, row.type, std::string(row.name), std::string(row.body), std::string(row.lists)};
}

// What stands under a key: a row, or none.
struct KeyedRow {
  RowKey key;
  std::optional<Row> row;
};

// What is kept about all rows together, so that a row that is missing, or is an older one, shows
// although every row that is there has its right checksum: the revision's writer counted each row
// that it put or removed, and nothing else changes these numbers.
struct RowTotals {
  std::uint64_t rows = 0;
  std::uint64_t sum = 0;  // of the sums of all rows in any order, each spread over 64 bits

  friend bool operator==(const RowTotals&, const RowTotals&) = default;
};

// What a database says about itself beside its rows.
struct StoredState {
  std::uint64_t revision = 0;  // 0 when nothing was ever committed
  RowTotals totals;
  std::uint64_t unit = 0;  // drawn for each commit: no two databases have it in common
  HistoryBounds history = {};

  friend bool operator==(const StoredState&, const StoredState&) = default;
};

// A commit that was stored: what stands under the keys that it changed, ascending, and the state
// that it led to.
struct StoredUnit {
  StoredState state;
  std::vector<KeyedRow> rows;
};

// A row that differs from what is stored.
struct RowChange {
  RowKey key;
  const Row* before = nullptr;  // null: not stored yet
  const Row* now = nullptr;     // null: to be removed
  std::uint32_t sum = 0;        // of the row as it is now
};

// Changes that become stored as a whole or not at all. Their rows are made while they are visited,
// so that they need not be in memory together.
class ChangeSet {
 public:
  // Visits each change, ascending by key, which lives until `visit` returns. Gives the state of the
  // database once all are stored, whose revision is never 0. Each call does the same.
  virtual StoredState ForEach(const std::function<void(const RowChange&)>& visit) const = 0;

  // Visits what the history gets, once ForEach has visited all: the entry of this commit, none when
  // the history keeps none, or all entries of a database that is copied, newest first. Entries
  // older than the state's history.first go.
  virtual void ForEachEntry(const std::function<void(const HistoryEntry&)>& visit) const {
    static_cast<void>(visit);
  }

 protected:
  ~ChangeSet() = default;
};

}  // namespace ncc

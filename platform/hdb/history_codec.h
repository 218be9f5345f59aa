// The rows that a unit replaced, as the history keeps them: packed bytes, compressed.
#pragma once

#include "platform/storage/row.h"

#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// A row that is not what it was, and both; nothing where there is none.
struct RowDifference {
  RowKey key;
  std::optional<Row> before;
  std::optional<Row> now;
};

class RowPacker {
 public:
  // Null for none.
  void Add(const RowKey& key, const Row* row);
  std::string Pack() const;

 private:
  std::string bytes_;
};

// Throws StorageError for what no RowPacker gave.
std::vector<KeyedRow> UnpackRows(std::string_view packed);

}  // namespace ncc

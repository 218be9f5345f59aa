// The rows that a unit replaced, as the history keeps them: packed bytes, compressed.
#pragma once

#include "platform/storage/row.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// A row as it was before a unit; nothing where there was none.
struct FormerRow {
  RowKey key;
  std::optional<Row> row;
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
std::vector<FormerRow> UnpackRows(std::string_view packed);

}  // namespace ncc

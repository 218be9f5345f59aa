// The rows that a unit replaced, as the history keeps them: packed bytes, compressed.
#pragma once

#include "platform/storage/row.h"

#include <string>
#include <string_view>
#include <vector>

namespace ncc {

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

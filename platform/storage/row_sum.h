// Checksums of rows, and what is kept about all rows of a database together.
#pragma once

#include "platform/storage/row.h"
#include "platform/text/bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ncc {

// Numbers of fixed width, least significant byte first, on their way into a checksum.
class SumHead {
 public:
  void Add(std::uint64_t value, std::size_t bytes) {
    PutNumber(bytes_.data() + size_, value, bytes);
    size_ += bytes;
  }
  std::uint32_t Sum() const;

 private:
  std::array<char, 48> bytes_;
  std::size_t size_ = 0;
};

// The CRC-32C of a row's key, lengths and contents; no two rows give the same bytes to it.
std::uint32_t SumOf(const RowView& row);
inline std::uint32_t SumOf(const Row& row) { return SumOf(ViewOf(row)); }

// Takes a row with this sum (see SumOf) into the totals, or out of them.
void AddTo(RowTotals& totals, std::uint32_t sum);
void TakeFrom(RowTotals& totals, std::uint32_t sum);

// Throws StorageError "database is damaged: ..." when the rows found are not those that the last
// commit left.
void CheckTotals(const RowTotals& found, const RowTotals& stored);

}  // namespace ncc

#include "platform/storage/row_sum.h"

#include "platform/crc32c.h"
#include "platform/storage/engine.h"

#include <string>

namespace ncc {
namespace {

// A CRC is linear: two rows that changed in the same bits would change a plain sum of CRCs by
// amounts that often cancel. Spread over 64 bits by a mixing that is not, they do not.
std::uint64_t Spread(std::uint32_t sum) {
  std::uint64_t bits = (sum + 1ULL) * 0x9E3779B97F4A7C15ULL;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ULL;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBULL;
  return bits ^ (bits >> 31);
}

}  // namespace

std::uint32_t SumHead::Sum() const { return ExtendCrc32c(0, {bytes_.data(), size_}); }

std::uint32_t SumOf(const RowView& row) {
  SumHead head;
  head.Add(static_cast<std::uint8_t>(row.key.kind), 1);
  head.Add(row.key.number, 4);
  head.Add(row.key.list, 1);
  head.Add(row.key.chunk, 4);
  head.Add(row.type, 4);
  head.Add(row.name.size(), 8);
  head.Add(row.body.size(), 8);
  head.Add(row.lists.size(), 8);
  std::uint32_t sum = head.Sum();
  for (const std::string_view text : {row.name, row.body, row.lists}) sum = ExtendCrc32c(sum, text);
  return sum;
}

void AddTo(RowTotals& totals, std::uint32_t sum) {
  ++totals.rows;
  totals.sum += Spread(sum);
}

void TakeFrom(RowTotals& totals, std::uint32_t sum) {
  --totals.rows;
  totals.sum -= Spread(sum);
}

void CheckTotals(const RowTotals& found, const RowTotals& stored) {
  if (found == stored) return;
  const std::string last = " its last change left";
  if (found.rows == stored.rows) {
    throw StorageError("database is damaged: some of its rows are older than" + last + " them");
  }
  throw StorageError("database is damaged: it has " + std::to_string(found.rows) +
                     " rows and not the " + std::to_string(stored.rows) + " that" + last);
}

}  // namespace ncc

#include "platform/storage/history_rows.h"

#include "platform/crc32c.h"
#include "platform/storage/row_sum.h"

#include <algorithm>
#include <utility>

namespace ncc {
namespace {

constexpr std::uint8_t kHistoryTag = 0xFE;

// Of all that stands in the row; no two rows give the same bytes to it.
std::int64_t SumOf(const HistoryEntry& entry) {
  const std::string* const texts[] = {&entry.origin.person, &entry.origin.program,
                                      &entry.origin.text, &entry.replaced};
  SumHead head;
  head.Add(kHistoryTag, 1);
  head.Add(entry.revision, 8);
  head.Add(static_cast<std::uint64_t>(entry.time), 8);
  for (const std::string* text : texts) head.Add(text->size(), 4);
  std::uint32_t sum = head.Sum();
  for (const std::string* text : texts) sum = ExtendCrc32c(sum, *text);
  return sum;
}

[[noreturn]] void ThrowDamaged(const Connection& db, std::uint64_t revision, const char* what) {
  throw StorageError("database is damaged: the history of revision " + std::to_string(revision) +
                     " " + what + " (" + db.Name() + ")");
}

HistoryEntry EntryAt(const Connection& db, const Statement& row, std::uint64_t revision) {
  HistoryEntry entry;
  entry.revision = static_cast<std::uint64_t>(row.Integer(0));
  if (entry.revision != revision) ThrowDamaged(db, revision, "is missing");
  entry.time = row.Integer(1);
  entry.origin = {std::string(row.Bytes(2)), std::string(row.Bytes(3)), std::string(row.Bytes(4))};
  entry.replaced = row.Bytes(5);
  if (SumOf(entry) != row.Integer(6)) ThrowDamaged(db, revision, "does not match its checksum");
  return entry;
}

}  // namespace

HistoryWriter::HistoryWriter(const Connection& db)
    : put_(db, "INSERT INTO history VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)"),
      cut_(db, "DELETE FROM history WHERE revision < ?1") {}

void HistoryWriter::Put(const HistoryEntry& entry) {
  put_.Bind(1, static_cast<std::int64_t>(entry.revision)).Bind(2, entry.time);
  put_.BindText(3, entry.origin.person).BindText(4, entry.origin.program);
  put_.BindText(5, entry.origin.text).BindBlob(6, entry.replaced).Bind(7, SumOf(entry)).Run();
}

void HistoryWriter::Cut(std::uint64_t first) {
  cut_.Bind(1, static_cast<std::int64_t>(first)).Run();
}

void ReadHistoryRows(const Connection& db, const HistoryBounds& bounds, std::uint64_t last,
                     std::uint64_t from, std::uint64_t to,
                     const std::function<bool(HistoryEntry&&)>& visit) {
  const std::uint64_t oldest = std::max(from, bounds.first);
  std::uint64_t revision = std::min(to, last);
  Statement rows(db,
                 "SELECT revision, time, person, program, text, replaced, sum FROM history "
                 "WHERE revision BETWEEN ?1 AND ?2 ORDER BY revision DESC");
  rows.Bind(1, static_cast<std::int64_t>(oldest)).Bind(2, static_cast<std::int64_t>(revision));
  for (; revision >= oldest; --revision) {
    if (!rows.Step()) ThrowDamaged(db, revision, "is missing");
    if (!visit(EntryAt(db, rows, revision))) return;
  }
}

std::uint64_t FirstHistoryRowSince(const Connection& db, std::int64_t time, std::uint64_t last) {
  Statement rows(db, "SELECT revision, time FROM history ORDER BY revision");
  while (rows.Step()) {
    if (rows.Integer(1) >= time) return static_cast<std::uint64_t>(rows.Integer(0));
  }
  return last + 1;
}

}  // namespace ncc

// The history of a database as rows of its own table.
#pragma once

#include "platform/storage/history.h"
#include "platform/storage/sqlite_statement.h"

#include <cstdint>
#include <functional>

namespace ncc {

inline constexpr const char* kHistoryTable =
    "CREATE TABLE history(revision INTEGER PRIMARY KEY, time INTEGER, person TEXT, program TEXT, "
    "text TEXT, replaced BLOB, sum INTEGER)";

// Within the transaction of a commit.
class HistoryWriter {
 public:
  explicit HistoryWriter(const Connection& db);

  void Put(const HistoryEntry& entry);
  // Removes what is older than the revision.
  void Cut(std::uint64_t first);

 private:
  Statement put_;
  Statement cut_;
};

// See StorageEngine. `bounds` and `last` are what the last commit left: an entry that is missing or
// is not what was stored is damage.
void ReadHistoryRows(const Connection& db, const HistoryBounds& bounds, std::uint64_t last,
                     std::uint64_t from, std::uint64_t to,
                     const std::function<bool(HistoryEntry&&)>& visit);
std::uint64_t FirstHistoryRowSince(const Connection& db, std::int64_t time, std::uint64_t last);

}  // namespace ncc

// Reading what is stored, as of one moment.
#pragma once

#include "platform/cluster/client.h"
#include "platform/cluster/layout.h"
#include "platform/cluster/records.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ncc::etcd {

// The head, and when in the store's life it was seen.
struct HeadSeen {
  Head head;                  // of revision 0 where nothing was committed yet
  std::int64_t modified = 0;  // the store's revision that wrote it; 0: it is not there
  std::int64_t revision = 0;  // of the store
};

// A commit with all its blocks.
struct UnitBlocks {
  StoredState state;
  std::vector<std::string> blocks;
  std::size_t Size() const;
};

// All rows, still packed: those of the base and what has changed them since.
struct Stored {
  HeadSeen seen;
  Base base;
  std::int64_t base_modified = 0;   // the store's revision that wrote it; 0: there is none
  std::vector<std::string> blocks;  // of the base
  std::vector<UnitBlocks> units;
};

class Reader {
 public:
  Reader(Client& client, const Layout& layout) : client_(client), layout_(layout) {}

  HeadSeen ReadHead();
  // Where the store drops what is being read, it begins again.
  Stored ReadAll();
  // Some of the commits behind a revision, with the head that was there then; no commits when there
  // are none behind it, nothing when they are not all kept.
  std::optional<std::vector<UnitBlocks>> ReadUnits(std::uint64_t after, HeadSeen& seen);
  // The unit that led to a revision, without its blocks; nothing when it is not kept.
  std::optional<Unit> ReadUnit(std::uint64_t revision);

  HeadSeen TakeHead(const Answer& answer, const Found& found) const;

 private:
  Stored TryReadAll();
  std::vector<std::string> ReadValues(const std::string& prefix, std::uint32_t count,
                                      std::int64_t revision);
  UnitBlocks ReadBlocks(const KeyValue& stored, std::int64_t revision);

  Client& client_;
  const Layout& layout_;
};

// Calls `row` for every row, ascending by key, and adds them to the totals.
using VisitRow = std::function<void(const RowView& row, std::uint32_t sum)>;
void ForEachRow(const Stored& stored, const VisitRow& row);

// The rows of a commit.
StoredUnit Unpacked(const UnitBlocks& unit);

}  // namespace ncc::etcd

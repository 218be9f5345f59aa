// Commits that tell who made them, and what a database holds after them.
#pragma once

#include "support/engine_history.h"

#include <cstdint>

// Of one attempt to commit; no two have the same.
using Tag = std::uint64_t;

class Ledger {
 public:
  explicit Ledger(Contents contents);

  const Contents& Now() const { return contents_; }

  // The commit of everything to a database that is empty.
  ListedChanges Base(Tag tag) const;
  // One that leads to the next revision: a few rows, and now and then one of a megabyte. Follows
  // from the revision and the tag alone. The history goes on from revision `first`.
  ListedChanges Next(Tag tag, std::uint64_t first) const;
  void Take(const ListedChanges& changes);

 private:
  Contents contents_;
  ncc::RowTotals totals_;
};

Tag TagOf(const ncc::HistoryEntry& entry);

// An engine that keeps its rows in memory and fails on demand, for trying what stands above it.
#pragma once

#include "platform/storage/engine.h"
#include "tests/support/network_fault.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ncc {

// The contents of one database. Outlives the engines that open it one after another, or beside its
// owner to follow.
class MemoryStore {
 public:
  // Commits are counted from 1 over the life of the store, the failed ones included.
  std::uint64_t CommitCount() const { return commit_count_; }

  // The commit of that number fails and keeps nothing.
  void FailCommit(std::uint64_t number) { failing_.insert(number); }
  // The commit of that number is kept and reported as failed.
  void FailCommitButKeep(std::uint64_t number) { failing_but_kept_.insert(number); }
  // The commit of that number fails, and what is stored then is another's of the same revision.
  void FailCommitForAnother(std::uint64_t number) {
    failing_but_kept_.insert(number);
    of_another_.insert(number);
  }
  // Whether loading fails from now on.
  void FailLoads(bool fail) { loads_fail_ = fail; }

  void SetNetwork(Network network) { network_ = network; }

  std::uint64_t Revision() const { return state_.revision; }
  const std::map<RowKey, Row>& Rows() const { return rows_; }

 private:
  friend class MemoryEngine;

  void Keep(const ChangeSet& changes);

  std::map<RowKey, Row> rows_;
  std::map<std::uint64_t, HistoryEntry> history_;
  std::map<std::uint64_t, StoredUnit> units_;  // the last ones
  StoredState state_;
  std::uint64_t commit_count_ = 0;
  std::set<std::uint64_t> failing_;
  std::set<std::uint64_t> failing_but_kept_;
  std::set<std::uint64_t> of_another_;
  bool loads_fail_ = false;
  Network network_ = Network::kWorks;
  std::uint64_t owner_ = 0;  // 0: nobody
  std::uint64_t owners_ = 0;
};

// Makes engines over that store, whatever the path. Beyond the contract they throw std::logic_error
// when the caller breaks it: rows out of order, no revision, a call before Settle or Load after a
// failed commit.
EngineFactory MemoryEngineFactory(std::shared_ptr<MemoryStore> store);

}  // namespace ncc

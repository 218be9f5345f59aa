// An engine that keeps its rows in memory and fails on demand, for trying what stands above it.
#pragma once

#include "platform/storage/engine.h"
#include "tests/support/network_fault.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace ncc {

// The contents of one database. Outlives the engines that open it one after another, or beside its
// owner to follow, also from other threads.
class MemoryStore {
 public:
  // Commits are counted from 1 over the life of the store, the failed ones included.
  std::uint64_t CommitCount() const {
    const Lock lock(mutex_);
    return commit_count_;
  }

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
  void FailLoads(bool fail) {
    const Lock lock(mutex_);
    loads_fail_ = fail;
  }

  void SetNetwork(Network network) {
    const Lock lock(mutex_);
    network_ = network;
  }

  // The owner is heard of no more.
  void LoseOwner() {
    const Lock lock(mutex_);
    owner_ = 0;
    moved_.notify_all();
  }

  std::uint64_t Revision() const { return state_.revision; }
  const std::map<RowKey, Row>& Rows() const { return rows_; }

 private:
  friend class MemoryEngine;
  using Lock = std::unique_lock<std::recursive_mutex>;

  void Keep(const ChangeSet& changes);

  mutable std::recursive_mutex mutex_;
  std::condition_variable_any moved_;  // what is stored, or who owns
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
  std::uint64_t engines_ = 0;                         // that there were so far: the last one's name
  std::uint64_t owner_ = 0;                           // 0: nobody
  bool was_closed_ = false;                           // by the last owner
  std::map<std::uint64_t, std::uint64_t> followers_;  // the revisions that they are at
};

// Makes engines over that store, whatever the path. Beyond the contract they throw std::logic_error
// when the caller breaks it: rows out of order, no revision, a call before Settle or Load after a
// failed commit.
EngineFactory MemoryEngineFactory(std::shared_ptr<MemoryStore> store);

}  // namespace ncc

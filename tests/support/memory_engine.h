// An engine that keeps its rows in memory and fails on demand, for trying what stands above it.
#pragma once

#include "platform/storage/engine.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ncc {

// The contents of one database. Outlives the engines that open it one after another.
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
  // The next engine that opens the store finds the last kept commit gone.
  void ForgetLastCommit() { forget_ = true; }
  // Whether loading fails from now on.
  void FailLoads(bool fail) { loads_fail_ = fail; }

  std::uint64_t Revision() const { return state_.revision; }
  const std::map<RowKey, Row>& Rows() const { return rows_; }

  // What CopyTo wrote under that name; null when it wrote nothing there.
  std::shared_ptr<MemoryStore> Copy(const std::string& file) const;

 private:
  friend class MemoryEngine;

  using RowBefore = std::pair<RowKey, std::optional<Row>>;

  void Keep(const ChangeSet& changes);
  void UndoLastCommit();
  void SetAside(const RowKey& key);

  std::map<RowKey, Row> rows_;
  StoredState state_;
  std::uint64_t commit_count_ = 0;
  std::set<std::uint64_t> failing_;
  std::set<std::uint64_t> failing_but_kept_;
  std::set<std::uint64_t> of_another_;
  bool forget_ = false;
  bool loads_fail_ = false;
  bool in_use_ = false;
  std::vector<RowBefore> before_last_commit_;
  StoredState state_before_last_commit_;
  std::map<std::string, std::shared_ptr<MemoryStore>> copies_;
};

// Makes engines over that store, whatever the path. Beyond the contract they throw std::logic_error
// when the caller breaks it: rows out of order, no revision, a call before Load after a failed
// commit.
EngineFactory MemoryEngineFactory(std::shared_ptr<MemoryStore> store);

}  // namespace ncc

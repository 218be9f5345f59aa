// Making requests of a commit: most are one, what is large is staged first.
#pragma once

#include "platform/cluster/layout.h"
#include "platform/cluster/records.h"
#include "platform/cluster/request.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace ncc::etcd {

// What is put in place together.
struct PreparedCommit {
  StoredState state;
  Transaction writes;    // of the commit itself: all but the head
  std::size_t size = 0;  // of its rows
};

// Calls `stage` for each transaction that is to be run before; it changes nothing that anybody
// reads. `before` is the state that the commit follows.
PreparedCommit Prepare(const Layout& layout, const ChangeSet& changes, const StoredState& before,
                       const std::function<void(Transaction& writes)>& stage);

}  // namespace ncc::etcd

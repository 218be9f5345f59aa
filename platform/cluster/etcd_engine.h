// A database in etcd: a replicated key-value store, asked over its JSON gateway.
//
// A commit is one transaction: the owner's key is still mine, and the head is the one that I know
// -> put the commit and the head. Large commits are staged before under keys of their own, in
// requests below etcd's usual limits of 1.5 MB and 128 operations. Who owns is decided by the store
// alone, so a clock that jumps or a process that was paused can lose the ownership but never write
// beside the next owner.
#pragma once

#include "platform/cluster/etcd_settings.h"
#include "platform/storage/engine.h"

#include <memory>
#include <string>

namespace ncc::etcd {

std::unique_ptr<StorageEngine> OpenEtcdEngine(const EtcdSettings& settings,
                                              const OpenRequest& request);

}  // namespace ncc::etcd

// Owning a database: a key on a lease that is kept alive as long as this object lives.
#pragma once

#include "platform/cluster/client.h"
#include "platform/cluster/layout.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace ncc::etcd {

class Ownership {
 public:
  // See StorageEngine::Acquire. Asks that node first. `mark` tells the keys of this engine from all
  // others: one that it has put without learning of it is its own. It has no other Ownership whose
  // key is still there.
  Ownership(const EtcdSettings& settings, const Layout& layout, std::uint64_t mark,
            std::size_t node, std::chrono::milliseconds wait, bool force);
  // Lets go at once, where the cluster answers.
  ~Ownership();
  Ownership(const Ownership&) = delete;
  Ownership& operator=(const Ownership&) = delete;

  // The store's revision that made the owner's key: what each write of this owner is compared with.
  std::int64_t Token() const { return token_; }

 private:
  void Acquire(Client& client, std::chrono::milliseconds wait, bool force);
  void KeepAlive();
  void Stop() noexcept;
  void LetGo();

  const EtcdSettings settings_;
  const Layout layout_;
  const std::uint64_t mark_;
  Client client_;  // of the thread, while it runs
  std::int64_t lease_ = 0;
  std::int64_t token_ = 0;  // 0: it has not become the owner
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stops_ = false;
  std::thread thread_;
};

}  // namespace ncc::etcd

// A follower tells how far it is, for those who look after the cluster.
#pragma once

#include "platform/cluster/client.h"
#include "platform/cluster/layout.h"
#include "platform/storage/engine.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace ncc::etcd {

// Its key goes with this object, or soon after its process. What goes wrong is tried again later
// and told nobody: it harms nobody who follows.
class Presence {
 public:
  Presence(Client& client, const Layout& layout) : client_(client), layout_(layout) {}
  ~Presence();
  Presence(const Presence&) = delete;
  Presence& operator=(const Presence&) = delete;

  // To be called often: writes seldom.
  void Tell(std::uint64_t revision);

 private:
  using Clock = std::chrono::steady_clock;

  void Write(std::uint64_t revision);

  Client& client_;
  const Layout& layout_;
  std::int64_t lease_ = 0;       // 0: none
  std::uint64_t told_ = 0;       // revision
  std::int64_t since_ = 0;       // when it began to follow
  Clock::time_point next_{};     // that it may write
  Clock::time_point renewed_{};  // the lease
};

// Those who follow now.
std::vector<EngineStatus::Follower> ReadFollowers(Client& client, const Layout& layout);

}  // namespace ncc::etcd

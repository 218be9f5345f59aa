// What a round plays in: nodes, the network between them and the owner, the owner and a follower.
#pragma once

#include "cluster/etcd_nodes.h"
#include "cluster/proxy.h"
#include "platform/cluster/etcd_settings.h"
#include "soak/machines.h"
#include "soak/owner.h"

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

// A promise that was not kept.
struct Violation : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Three nodes, each behind a network that the owner has to itself. Used for many rounds.
class Place {
 public:
  // Without machines the nodes run side by side on this one.
  explicit Place(const Machines* machines);

  const Machines* const machines;
  EtcdNodes nodes;
  std::vector<std::unique_ptr<Proxy>> networks;  // between the owner and each node

  // `timeout` in seconds.
  ncc::etcd::EtcdSettings Settings(const std::string& prefix, int timeout) const;
  ncc::etcd::EtcdSettings SettingsOfOwner(const std::string& prefix, int timeout) const;
};

struct Scene {
  using Wait = std::chrono::milliseconds;

  Scene(Place& where, const std::string& kind, std::uint64_t seed);

  // From 0 to `most`.
  int Draw(int most) { return std::uniform_int_distribution<int>(0, most)(random); }
  Wait DrawWait(int most) { return Wait(Draw(most)); }

  Place& place;
  EtcdNodes& nodes;
  std::mt19937_64 random;
  std::string prefix;
  std::unique_ptr<OwnerProcess> owner;
  std::vector<std::size_t> struck;  // nodes that are away
};

// What the machines of a cluster are given, so that they find and trust each other.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ncc::tool {

// A machine that keeps the database, "HOST", "HOST:PORT" or "HOST:PORT:PEER_PORT".
struct Machine {
  std::string host;  // a name or an IPv4 address
  std::uint16_t port = 2379;
  std::uint16_t peer_port = 2380;
  std::string name;  // among the machines

  std::string ClientUrl() const;
  std::string PeerUrl() const;
};

// Throws Failure for what names no machine, for two at one place and for a number of them that
// protects nothing.
std::vector<Machine> ParseMachines(const std::vector<std::string>& texts);

struct ClusterPlan {
  std::vector<Machine> machines;
  std::string name;      // of the database
  unsigned days = 3650;  // that certificates are valid
  unsigned lease = 5;    // seconds after which a silent owner has lost the database
  std::string etc = "/etc/nccnet-cluster";  // where the machines will have what is made for them
};

// Makes DIR/MACHINE for each machine, DIR/centre for those that work with the database, and the
// authority that signs for all of them. Throws Failure; a folder that is there is refused.
void WriteCluster(const ClusterPlan& plan, const std::string& folder);

}  // namespace ncc::tool

// Machines for nodes, with networks and disks of their own, within this process and its children.
#pragma once

#include "cluster/etcd_nodes.h"

#include <cstddef>
#include <string>
#include <vector>

class Machines {
 public:
  // Whether the system allows it, to root mostly.
  static bool AreAllowed();

  // This process leaves its networks for good; it must not have threads yet.
  explicit Machines(std::size_t count);

  const std::vector<NodePlace>& Places() const { return places_; }

  enum class Net { kOfClients, kOfNodes };
  // Nothing passes between the machine and that network, and nobody is told.
  void Cut(std::size_t machine, Net net) const { Switch(machine, net, "down"); }
  void Join(std::size_t machine, Net net) const { Switch(machine, net, "up"); }

 private:
  static void Switch(std::size_t machine, Net net, const char* state);

  std::vector<NodePlace> places_;
};

// Puts the folder of a node onto a small disk of its own, and back. What its log and its store had
// reserved is not reserved there.
void MoveToSmallDisk(const std::string& folder);
void MoveBack(const std::string& folder);
void FillDisk(const std::string& folder);

// The servers and APs of a database, read once.
#pragma once

#include <cstdint>
#include <vector>

#include "values.h"

namespace ncc::tool {

struct ServerView {
  Node entry;
  std::vector<Node> aps;              // in the server's order
  std::vector<std::uint32_t> linked;  // ids, in link order
};

struct Network {
  Preferences preferences;
  std::vector<ServerView> servers;  // in the order in which they were added

  std::size_t ApCount() const;
};

Network LoadNetwork(CNCCNet& net);

}  // namespace ncc::tool

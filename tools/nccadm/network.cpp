#include "network.h"

#include <utility>

namespace ncc::tool {

std::size_t Network::ApCount() const {
  std::size_t count = 0;
  for (const ServerView& server : servers) count += server.aps.size();
  return count;
}

Network LoadNetwork(CNCCNet& net) {
  Network network;
  network.preferences = ReadPreferences(net);
  for (Node& entry : ListServers(net)) {
    ServerView& server = network.servers.emplace_back();
    server.aps = ListApsOf(net, entry.id);
    for (const Node& linked : ListLinked(net, entry.id)) server.linked.push_back(linked.id);
    server.entry = std::move(entry);
  }
  return network;
}

}  // namespace ncc::tool

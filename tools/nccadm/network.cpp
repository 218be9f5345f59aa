#include "network.h"

#include <list>

namespace ncc::tool {

std::size_t Network::ApCount() const {
  std::size_t count = 0;
  for (const ServerView& server : servers) count += server.aps.size();
  return count;
}

Network LoadNetwork(CNCCNet& net) {
  Network network;
  network.preferences = *net.Preferences();
  std::list<CNNEntry> servers;
  network.servers.reserve(net.GetListServer(servers));
  std::list<CNNEntry> nodes;
  for (const CNNEntry& entry : servers) {
    ServerView& server = network.servers.emplace_back();
    server.entry = entry;
    net.GetListAP(entry.id, nodes);
    server.aps.assign(nodes.begin(), nodes.end());
    net.GetListLinkedSrv(entry.id, nodes);
    for (const CNNEntry& linked : nodes) server.linked.push_back(linked.id);
  }
  return network;
}

}  // namespace ncc::tool

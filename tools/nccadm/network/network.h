// What a database holds, read once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "nccnet/netdb.h"
#include "network/notes.h"
#include "network/object.h"
#include "network/preferences.h"

namespace ncc::tool {

struct ServerView {
  Object entry;
  std::vector<Object> aps;            // in the server's order
  std::vector<std::uint32_t> linked;  // ids, in link order
};

// Relations are ids in the order in which they were made.
struct GroupView {
  Object entry;
  std::vector<std::uint32_t> nodes;
  std::vector<std::uint32_t> deps;
};

struct DepView {
  Object entry;
  std::vector<std::uint32_t> links;
  std::vector<std::uint32_t> users;  // one may stand twice
  std::vector<std::uint32_t> groups;
};

struct UserView {
  Object entry;
  std::vector<Membership> memberships;
};

struct Network {
  Preferences preferences;
  // Each in the order in which they were added.
  std::vector<ServerView> servers;
  std::vector<GroupView> groups;
  std::vector<DepView> deps;
  std::vector<UserView> users;
  // The groups of the nodes that are in more than one.
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> groups_of_nodes;
  std::unordered_map<std::uint32_t, Notes> notes;  // of the objects that have any

  std::size_t ApCount() const;
};

// The servers and APs alone.
Network LoadNetwork(CNCCNet& net);
// Everything.
Network LoadWholeNetwork(CNCCNet& net);

}  // namespace ncc::tool

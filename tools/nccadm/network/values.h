// The library's packed records as ordinary values: their fields may be bound to references.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nccnet/netdb.h"

namespace ncc::tool {

// A server or an AP.
struct Node {
  std::string name;  // bytes of code page 1251
  std::uint32_t id = 0;
  std::uint32_t number = 0;
  std::uint32_t flags = 0;
  std::uint32_t ap_count = 0;
  std::uint32_t server_id = 0;
  std::uint16_t value = 0;
  std::uint8_t settings = 0;
  bool is_server = false;
};

struct Preferences {
  std::uint32_t net_number = 0;
  std::uint32_t next_id = 0;
  std::uint32_t server_counter = 0;
  std::uint32_t ngrp_counter = 0;
  std::uint32_t value_14 = 0;
  std::uint32_t value_20 = 0;
  std::uint8_t byte_12 = 0;
  std::uint8_t node_settings = 0;
  std::uint8_t byte_18 = 0;
  std::uint8_t byte_19 = 0;
};

Preferences ReadPreferences(CNCCNet& net);
// Sets the preferences proper; network number and counters stay.
void SetPreferences(CNCCNet& net, const Preferences& preferences);

Node NodeFrom(const CNNEntry& entry);
std::optional<Node> NodeById(CNCCNet& net, std::uint32_t id);
// The same for an id that the database has just given. Throws Failure when it has none such.
Node Reload(CNCCNet& net, unsigned long id);
std::optional<Node> ServerByName(CNCCNet& net, const std::string& name);
// The first of that name.
std::optional<Node> ApByName(CNCCNet& net, const std::string& name);

std::vector<Node> ListServers(CNCCNet& net);
std::vector<Node> ListLinked(CNCCNet& net, std::uint32_t server);
std::vector<Node> ListAps(CNCCNet& net);  // all, by id
std::vector<Node> ListApsOf(CNCCNet& net, std::uint32_t server);

}  // namespace ncc::tool

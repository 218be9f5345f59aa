// The preferences block of a network as ordinary values.
#pragma once

#include <cstdint>

#include "nccnet/netdb.h"

namespace ncc::tool {

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

// Calls `visit` with the name and the value of each field that the administrator may set, the same
// one of every block.
template <class Visit, class... Blocks>
void VisitPreferences(Visit visit, Blocks&... blocks) {
  visit("byte_12", blocks.byte_12...);
  visit("node_settings", blocks.node_settings...);
  visit("value_14", blocks.value_14...);
  visit("byte_18", blocks.byte_18...);
  visit("byte_19", blocks.byte_19...);
  visit("value_20", blocks.value_20...);
}

// The same of the counters.
template <class Visit, class... Blocks>
void VisitCounters(Visit visit, Blocks&... blocks) {
  visit("next_id", blocks.next_id...);
  visit("server_counter", blocks.server_counter...);
  visit("ngrp_counter", blocks.ngrp_counter...);
}

Preferences ReadPreferences(CNCCNet& net);
// Sets the preferences proper and raises counters that are lower; the network number stays.
void SetPreferences(CNCCNet& net, const Preferences& preferences);

}  // namespace ncc::tool

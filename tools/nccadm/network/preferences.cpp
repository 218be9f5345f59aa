#include "network/preferences.h"

namespace ncc::tool {

Preferences ReadPreferences(CNCCNet& net) {
  const CNetPref& block = *net.Preferences();
  return {block.net_number, block.next_id, block.server_counter, block.ngrp_counter, block.value_14,
          block.value_20,   block.byte_12, block.node_settings,  block.byte_18,      block.byte_19};
}

void SetPreferences(CNCCNet& net, const Preferences& preferences) {
  CNetPref& block = *net.Preferences();
  block.byte_12 = preferences.byte_12;
  block.node_settings = preferences.node_settings;
  block.value_14 = preferences.value_14;
  block.byte_18 = preferences.byte_18;
  block.byte_19 = preferences.byte_19;
  block.value_20 = preferences.value_20;
  if (block.next_id < preferences.next_id) block.next_id = preferences.next_id;
  if (block.server_counter < preferences.server_counter) {
    block.server_counter = preferences.server_counter;
  }
  if (block.ngrp_counter < preferences.ngrp_counter) block.ngrp_counter = preferences.ngrp_counter;
}

}  // namespace ncc::tool

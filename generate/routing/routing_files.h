// The routing files of all servers.
#pragma once

#include "generate/generation.h"

namespace ncc {

// Each is false when it ended at a failure; tunnels also when no server has a tunnel value.
bool WriteRoutingMaps(Generation& run, const char* folder);
bool WriteTunnels(Generation& run, const char* folder);
bool WriteRegistrations(Generation& run, const char* folder);

}  // namespace ncc

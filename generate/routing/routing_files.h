// The routing files of all servers.
#pragma once

#include "generate/generation.h"
#include "generate/reasons.h"

#include <functional>
#include <string>
#include <string_view>

namespace ncc {

// What the files of a server say. `why` gets the reasons of the lines, of a map those of its
// records.
std::string ComposeRoutingMap(const NetState& net, std::uint32_t server, Reasons* why = nullptr);
// The lines of the tunnels, which a stamp follows. Throws Refusal when no server has a value.
std::string ComposeTunnels(const NetState& net, Reasons* why = nullptr);
// A registration up to its own stamp, and from there on; `stamp_of(extension)` is the stamp of a
// file that lies beside it.
std::string ComposeRegistrationHead(NetState& net, std::uint32_t server,
                                    const std::function<std::string(const char*)>& stamp_of,
                                    Reasons* why = nullptr);
std::string ComposeRegistrationTail(std::uint32_t server, std::string_view own_stamp,
                                    std::string_view tunnels_stamp, Reasons* why = nullptr);

// Each is false when it ended at a failure; tunnels also when no server has a tunnel value.
bool WriteRoutingMaps(Generation& run, const char* folder);
bool WriteTunnels(Generation& run, const char* folder);
bool WriteRegistrations(Generation& run, const char* folder);

}  // namespace ncc

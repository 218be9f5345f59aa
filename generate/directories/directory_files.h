// The directory files of APs and servers: what each is, and where the forms of their generators
// differ.
#pragma once

#include "generate/node_file.h"

#include <cstdint>
#include <string>

namespace ncc {

void WriteApUsers(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApDepLinks(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApNodes(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApDepPlaces(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApStampList(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteServerUsers(Generation& run, const std::string& folder, std::uint32_t server);
void WriteServerNodes(Generation& run, const std::string& folder, std::uint32_t server);
void WriteServerStampList(Generation& run, const std::string& folder, std::uint32_t server);
// The files that nodes expect and nothing is in.
void WriteEmptyApl(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteEmptyTunnels(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteEmptyCrc(Generation& run, const std::string& folder, std::uint32_t ap);

inline constexpr NodeFile kApUsers = {kTypeAP, "A\\", WriteApUsers, kNoCallback};
inline constexpr NodeFile kApDepLinks = {kTypeAP, "C\\", WriteApDepLinks};
inline constexpr NodeFile kEmptyApl = {kTypeAP, "L\\", WriteEmptyApl};
inline constexpr NodeFile kApNodes = {kTypeAP, "N\\", WriteApNodes};
inline constexpr NodeFile kEmptyTunnels = {kTypeAP, "T\\", WriteEmptyTunnels, kNoCallback};
inline constexpr NodeFile kApDepPlaces = {kTypeAP, "U\\", WriteApDepPlaces};
inline constexpr NodeFile kEmptyCrc = {kTypeAP, "R\\", WriteEmptyCrc, kNeverStops | kAllBefore};
inline constexpr NodeFile kApStampList = {kTypeAP, "R\\", WriteApStampList,
                                          kNeverStops | kTakesParent};
inline constexpr NodeFile kServerUsers = {kTypeServer, "", WriteServerUsers};
inline constexpr NodeFile kServerNodes = {kTypeServer, "", WriteServerNodes};
inline constexpr NodeFile kServerStampList = {kTypeServer, "", WriteServerStampList, kNeverStops};

}  // namespace ncc

// Notes of objects in the library's database.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "network/session.h"

namespace ncc::tool {

using Notes = std::map<std::string, std::string>;  // UTF-8, by key

Notes NotesOf(CNCCNet& net, std::uint32_t id);
// Those of all objects that have any.
std::unordered_map<std::uint32_t, Notes> AllNotes(CNCCNet& net);

// Gives the object exactly these notes, all or none. Throws Failure with the library's reason.
void SetNotes(Session& session, std::uint32_t id, const Notes& notes);

// Whether one of the texts has the pattern or, behind "tag:", one of the tags is that word; letters
// of either case are the same.
bool MatchesNotes(const Notes& notes, const std::string& wanted);

}  // namespace ncc::tool

// What the forms of explain do.
#pragma once

#include <string>

#include "network/session.h"

namespace ncc::tool {

// Whether the one, a node or a user, sees or is a member at the other, and why; kExitFound when
// not.
int ExplainPair(Session& session, const std::string& one, const std::string& other);

// A generated file or, with ":LINE" behind it, one of its lines.
int ExplainFileOrLine(Session& session, const std::string& text);

}  // namespace ncc::tool

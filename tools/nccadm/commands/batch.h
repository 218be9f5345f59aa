// Several commands as one change.
#pragma once

#include <string>
#include <string_view>

#include "network/session.h"

namespace ncc::tool {

// Carries out the commands of a text, one a line, as one change; `source` is where it comes from.
// Throws Failure for the first that is refused, and nothing was changed.
int RunAsOneChange(Session& session, const std::string& source, std::string_view text);

}  // namespace ncc::tool

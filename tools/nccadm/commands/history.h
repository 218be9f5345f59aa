// How much of the history is kept, as the user says it.
#pragma once

#include <string>

#include "nccnet/history.h"

namespace ncc::tool {

// Reads "all", "none", a number of revisions, or one of days such as "90d". Throws Failure.
CHistoryRule ParseHistoryRule(const std::string& text);

}  // namespace ncc::tool

// The history, as the user says and reads it.
#pragma once

#include <string>

#include "console/output.h"
#include "nccnet/history.h"

namespace ncc::tool {

// Reads "all", "none", a number of revisions, or one of days such as "90d". Throws Failure.
CHistoryRule ParseHistoryRule(const std::string& text);

// "revision 15, 2026-03-01 14:02:11, anna: user join Ivanov Office"
std::string TitleOf(const CHistoryEntry& entry);
Json JsonOf(const CHistoryEntry& entry);

}  // namespace ncc::tool

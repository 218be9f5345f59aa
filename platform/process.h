// Who runs this process, and when it is.
#pragma once

#include <cstdint>
#include <string>

namespace ncc {

// The name of the user that the process runs for; the number when it has none.
std::string UserOfProcess();

// The file name of the program; empty when that cannot be told.
std::string ProgramOfProcess();

// Since 1970-01-01 UTC, by the system's clock.
std::int64_t MicrosecondsNow();

}  // namespace ncc

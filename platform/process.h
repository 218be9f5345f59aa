// Who and what runs this process, and when it is.
#pragma once

#include <cstdint>
#include <string>

namespace ncc {

// The name of the user that the process runs for; the number when it has none.
std::string UserOfProcess();

// The file name of the program; empty when that cannot be told.
std::string ProgramOfProcess();

// "process 4711 (nccadm apply city.yaml)", no control characters in it.
std::string DescribeThisProcess();
// With which arguments it was started, separated by blanks; the beginning when they are long.
std::string CommandOfThisProcess();

std::string HostName();

// Since 1970-01-01 UTC, by the system's clock.
std::int64_t MicrosecondsNow();

// "2026-03-01 14:02:11", of seconds since 1970-01-01 UTC.
std::string LocalTime(std::int64_t seconds);

}  // namespace ncc

// Points in time, as people write and read them: local time of this machine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ncc::tool {

// Microseconds since 1970-01-01 UTC.
using Time = std::int64_t;

Time Now();

// "2026-03-01 14:02:11"
std::string LocalTime(Time time);
// "2026-03-01T14:02:11.000000Z", for documents.
std::string UtcTime(Time time);

// Reads "2026-03-01", "2026-03-01 14:02", "2026-03-01 14:02:11", with a T for the blank, too, and
// with a Z behind it as UTC; or how long ago: "90m", "3h", "2d". Nothing for anything else.
std::optional<Time> ParseTime(std::string_view text, Time now);

}  // namespace ncc::tool

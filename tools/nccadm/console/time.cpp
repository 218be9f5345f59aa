#include "console/time.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr Time kSecond = 1000000;
constexpr std::uint64_t kLongestAgo = 1000000;  // of any unit

std::optional<Time> ParseAgo(std::string_view text, Time now) {
  if (text.size() < 2) return std::nullopt;
  const auto count = ParseNumber(text.substr(0, text.size() - 1), kLongestAgo);
  if (!count) return std::nullopt;
  const Time units = static_cast<Time>(*count);
  switch (text.back()) {
    case 'm':
      return now - units * 60 * kSecond;
    case 'h':
      return now - units * 60 * 60 * kSecond;
    case 'd':
      return now - units * 24 * 60 * 60 * kSecond;
    default:
      return std::nullopt;
  }
}

// strptime takes the 31st of every month.
bool IsInCalendar(std::tm fields) {
  const int day = fields.tm_mday;
  ::timegm(&fields);
  return fields.tm_mday == day;
}

// The whole text by one of the formats.
bool ParseFields(const std::string& text, std::tm& fields) {
  for (const char* format :
       {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"}) {
    fields = {};
    const char* const end = ::strptime(text.c_str(), format, &fields);
    if (end != nullptr && *end == '\0') return IsInCalendar(fields);
  }
  return false;
}

}  // namespace

Time Now() {
  using std::chrono::duration_cast;
  using std::chrono::microseconds;
  return duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string LocalTime(Time time) {
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time_t{time / kSecond}));
}

std::string UtcTime(Time time) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(std::time_t{time / kSecond}),
                     time % kSecond);
}

std::optional<Time> ParseTime(std::string_view text, Time now) {
  if (const auto ago = ParseAgo(text, now)) return std::max(*ago, Time{0});
  const bool is_utc = text.ends_with('Z');
  if (is_utc) text.remove_suffix(1);
  std::tm fields{};
  if (!ParseFields(std::string(text), fields)) return std::nullopt;
  fields.tm_isdst = -1;
  const std::time_t seconds = is_utc ? ::timegm(&fields) : std::mktime(&fields);
  return std::int64_t{seconds} * kSecond;
}

}  // namespace ncc::tool

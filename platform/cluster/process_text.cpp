#include "platform/cluster/process_text.h"

#include "platform/process.h"

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstddef>
#include <cstdio>

namespace ncc::etcd {
namespace {

constexpr std::size_t kMark = 16;

}  // namespace

std::string ProcessText(std::uint64_t mark, std::int64_t since) {
  std::array<char, kMark + 1> digits{};
  std::snprintf(digits.data(), digits.size(), "%016" PRIx64, mark);
  return std::string(digits.data()) + " " + std::to_string(since) + " " + DescribeThisProcess() +
         " on " + HostName();
}

std::uint64_t MarkOf(const std::string& text) {
  std::uint64_t mark = 0;
  const char* const end = text.data() + kMark;
  const bool is_mark =
      text.size() > kMark && std::from_chars(text.data(), end, mark, 16).ptr == end;
  return is_mark ? mark : 0;
}

std::string DescribeProcess(const std::string& text) {
  long long since = 0;
  int behind = 0;
  if (text.size() <= kMark || std::sscanf(text.c_str() + kMark, " %lld %n", &since, &behind) != 1 ||
      behind == 0)
    return "another process";
  return text.substr(kMark + static_cast<std::size_t>(behind)) + ", since " + LocalTime(since);
}

}  // namespace ncc::etcd

#include "description/difference.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include <fmt/format.h>
#include <dtl/dtl.hpp>

namespace ncc::tool {
namespace {

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1);
    lines.emplace_back(text.substr(0, text[end] == '\n' ? end : end + 1));
    text.remove_prefix(end + 1);
  }
  return lines;
}

}  // namespace

std::string DifferenceOf(std::string_view before, std::string_view before_title,
                         std::string_view after, std::string_view after_title) {
  if (before == after) return {};
  dtl::Diff<std::string> difference(LinesOf(before), LinesOf(after));
  difference.onHuge();  // else what is far apart is told as replaced
  difference.compose();
  difference.composeUnifiedHunks();
  std::ostringstream text;
  difference.printUnifiedFormat(text);
  return fmt::format("--- {}\n+++ {}\n{}", before_title, after_title, text.str());
}

}  // namespace ncc::tool

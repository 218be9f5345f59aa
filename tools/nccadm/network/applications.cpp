#include "network/applications.h"

#include <limits>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/failure.h"
#include "console/nearest.h"
#include "console/text.h"

namespace ncc::tool {

std::vector<std::string> Applications::NamesOf(std::uint32_t mask) const {
  std::vector<std::string> texts;
  for (std::size_t bit = 0; bit < names_.size(); ++bit) {
    if ((mask >> bit & 1U) == 0) continue;
    texts.push_back(names_[bit]);
    mask &= ~(1U << bit);
  }
  if (mask != 0) texts.push_back(fmt::format("0x{:X}", mask));
  return texts;
}

std::string Applications::TextOf(std::uint32_t mask) const {
  return mask == 0 ? "none" : fmt::format("{}", fmt::join(NamesOf(mask), ","));
}

std::optional<std::uint32_t> Applications::Parse(std::string_view text) const {
  const std::string wanted = FoldName(text);
  for (std::size_t bit = 0; bit < names_.size(); ++bit) {
    if (FoldName(names_[bit]) == wanted) return 1U << bit;
  }
  const auto number = ParseNumber(text, std::numeric_limits<std::uint32_t>::max());
  if (!number) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

std::string Applications::Complain(std::string_view text) const {
  const std::string closest = ClosestMatch(text, names_);
  if (closest.empty()) return fmt::format("\"{}\" is not an application", text);
  return fmt::format("\"{}\" is not an application; did you mean \"{}\"?", text, closest);
}

std::uint32_t Applications::ParseAll(const std::vector<std::string>& texts) const {
  std::uint32_t mask = 0;
  for (const std::string& text : texts) {
    const auto bits = Parse(text);
    if (!bits) {
      throw Failure(Complain(text),
                    "'nccadm app list' shows all names; a bit without a name is given as a number "
                    "such as 0x20000.");
    }
    mask |= *bits;
  }
  return mask;
}

}  // namespace ncc::tool

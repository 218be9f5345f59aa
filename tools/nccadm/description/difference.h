// What two descriptions differ by, as texts.
#pragma once

#include <string>
#include <string_view>

namespace ncc::tool {

// In the unified format, with three lines around each difference, below the two titles. Empty when
// there is none.
std::string DifferenceOf(std::string_view before, std::string_view before_title,
                         std::string_view after, std::string_view after_title);

}  // namespace ncc::tool

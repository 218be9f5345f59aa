// What goes with an object when it is deleted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "network/view.h"

namespace ncc::tool {

// As a question; empty when nothing goes with it.
std::string LossOf(View& view, const Object& object);

// How many memberships `is_lost` picks among those of the users of a Dep.
std::size_t CountLost(View& view, std::uint32_t dep,
                      const std::function<bool(const Membership&)>& is_lost);

}  // namespace ncc::tool

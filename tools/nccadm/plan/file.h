// A plan kept in a file until somebody has agreed to it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "nccnet/netdb.h"
#include "plan/plan.h"

namespace ncc::tool {

inline constexpr std::size_t kMaxPlanBytes = 256U << 20;

bool IsPlan(std::string_view text);

std::string WritePlan(const Plan& plan);

// The plan without the lines to show. Throws Failure when `text` is not a whole plan.
Plan ReadPlan(std::string_view text);

// Throws Failure unless the plan was made for the database as it is now.
void RequireCurrent(const Plan& plan, CNCCNet& net);

}  // namespace ncc::tool

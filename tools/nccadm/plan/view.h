// Plans as people read them, and the questions that are asked about them.
#pragma once

#include <string>
#include <vector>

#include "console/output.h"
#include "plan/plan.h"

namespace ncc::tool {

// Like a difference of two files: an entry for each object, a line for each thing about it.
void PrintChanges(Output& out, const std::vector<Change>& changes);

Json JsonOf(const Change& change);
Json TalliesJson(const Plan& plan);

// What was done, a line for each kind that there is.
void PrintTallies(Output& out, const Plan& plan);

// "Plan: servers 1 to add; links 2 to add, 1 to remove."
std::string SummaryOf(const Plan& plan);

// What the database has beyond the file; empty when there is nothing.
std::string KeptOf(const Plan& plan);

// Of which kinds more than 30 % would be removed; empty when of none.
std::string MassRemovalOf(const Plan& plan);

}  // namespace ncc::tool

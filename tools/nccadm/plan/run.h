// Makes, carries out and reports plans, for every command that works by one.
#pragma once

#include <string>

#include "description/yaml_tree.h"
#include "plan/plan.h"

namespace ncc::tool {

// A file that the user wrote, with what is said when it has faults.
struct Source {
  std::string file;
  std::string refused;
};

// Throws Failure that lists the problems when there are any.
void RefuseProblems(const Source& source, ProblemList& problems);

// Compares a description with the session's database. Throws Failure when there are problems.
Plan PlanFor(Session& session, const Description& description, const Network& network, bool prune,
             const Source& source, ProblemList& problems);

// Does all of the plan or nothing.
void CarryOut(Session& session, const Plan& plan);

// What was done, as text or document.
void ReportDone(Session& session, const Plan& plan);

}  // namespace ncc::tool

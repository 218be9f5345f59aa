// Which generators a run takes, and in which order.
#pragma once

#include <string>
#include <vector>

#include "files/generation.h"
#include "files/output_folder.h"
#include "network/session.h"

namespace ncc::tool {

struct GenerateArguments {
  std::string out = ".";
  unsigned mode = 0;
  std::vector<std::string> only;
  bool is_full = false;
  bool is_short = false;
  bool no_share = false;
  std::string key;
  bool unstamped = false;
  bool force = false;
  bool changed = false;
  bool dry_run = false;
  bool verify = false;
  std::string list;
};

struct GenerationPlan {
  std::vector<GenerationStep> steps;
  std::vector<FolderChange> changes;
};

// What "generate WHAT" does. The folders of the steps are those of the current directory. Throws
// Failure for an object that WHAT does not take.
GenerationPlan PlanGeneration(Session& session, const std::string& what,
                              const GenerateArguments& arguments);

// The same for all nodes, of a network that is open; `arguments` name none.
GenerationPlan PlanWholeGeneration(CNCCNet& net, const std::string& database_folder,
                                   const std::string& what, const GenerateArguments& arguments);

// What made the files that a manifest tells of, of all nodes; "generate all" when it has none.
GenerationPlan PlanLikeBefore(CNCCNet& net, const CManifest& manifest);

}  // namespace ncc::tool

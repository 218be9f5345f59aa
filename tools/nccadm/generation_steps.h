// Which generators a run takes, and in which order.
#pragma once

#include <string>
#include <vector>

#include "generation.h"
#include "session.h"

namespace ncc::tool {

struct GenerateArguments {
  std::string out = ".";
  unsigned mode = 0;
  std::vector<std::string> only;
  bool is_full = false;
  bool is_short = false;
  bool no_share = false;
};

// The steps of "generate WHAT". Their folders are those of the current directory. Throws Failure
// for an object that WHAT does not take.
std::vector<GenerationStep> StepsOf(Session& session, const std::string& what,
                                    const GenerateArguments& arguments);

}  // namespace ncc::tool

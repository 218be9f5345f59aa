// What changes of the network do to the files that were generated from it.
#pragma once

#include <string>

#include "console/output.h"
#include "files/change_list.h"
#include "files/changed_files.h"
#include "network/session.h"

namespace ncc::tool {

// What "generate --changed" would do.
struct Impact {
  std::string folder;
  ChangeReport report;
  FileOwners owners;
};

// Asks for the network as the session has it now, also within a unit, and writes nothing. What was
// generated into the folder would be, in the same way; all files where nothing was. Throws Failure
// when that cannot be told, as without the stamping key.
Impact AskImpact(Session& session, const std::string& folder);

void PrintImpact(Output& out, const Impact& impact);
Json JsonOf(const Impact& impact);

}  // namespace ncc::tool

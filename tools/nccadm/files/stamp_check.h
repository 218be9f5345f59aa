// Files that hold stamps of others: stamp lists (.crg), registrations (.reg), tunnels (.tun).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/output.h"
#include "files/stamper.h"

namespace ncc::tool {

enum class StampFault { kDiffers, kMissing, kUnstamped, kMalformed };

struct StampProblem {
  std::string file;  // that the stamp is of
  StampFault fault = StampFault::kDiffers;
  std::uint32_t listed = 0;
  std::uint32_t found = 0;
  std::string text;  // of a line that is none
};

// Says what is wrong, for people; and as a member of documents.
std::string TextOf(const StampProblem& problem);
Json StampProblemJson(const StampProblem& problem);

// Whether files of this name hold stamps.
bool HoldsStamps(const std::string& name);

// The stamp of the file that a list names, in whichever letter case; nothing when there is none.
using StampOf = std::function<std::optional<std::uint32_t>(const std::string& name)>;

struct StampFindings {
  std::size_t stamps = 0;
  std::vector<StampProblem> problems;
  std::vector<std::string> right;  // the files that have the stamps given for them
};

// Checks every stamp in a file of this name.
StampFindings CheckStamps(const std::string& name, std::string_view bytes, const Stamper& stamper,
                          const StampOf& stamp_of);

}  // namespace ncc::tool

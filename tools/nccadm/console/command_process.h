// A command in a process of its own, so that it works, fails and is interrupted as one typed alone.
#pragma once

#include <string>
#include <vector>

namespace ncc::tool {

enum class CommandInput { kInherited, kNone };

// Runs this program with these arguments, waits for its end, and gives its exit code. The
// interrupt key is the command's alone meanwhile. Throws Failure when the command cannot begin, and
// when a signal ends it.
int RunCommand(const std::vector<std::string>& arguments, CommandInput input);

}  // namespace ncc::tool

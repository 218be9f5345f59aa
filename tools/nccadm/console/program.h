// Other programs that the tool has do a part of its work.
#pragma once

#include <string>
#include <vector>

namespace ncc::tool {

// Runs a program of the search path to its end, with nothing on its standard input. Throws Failure
// with what it wrote to its standard error when it cannot be run or fails; `package` has it.
void RunProgram(const std::vector<std::string>& words, const std::string& package);

}  // namespace ncc::tool

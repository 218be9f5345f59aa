// What can stand at a place of a command line: commands, options, words of a choice, names of the
// database.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "console/typed_line.h"

namespace ncc::tool {

struct Proposals {
  std::vector<std::string> words;  // whole ones; each begins with what is typed of it
  bool are_files = false;          // any file can stand there
};

// For what goes on with the line, a command without the name of the tool. Names are those of the
// database of --db in the line or, where it is not there, `database`. Nothing is said of one that
// cannot be read: it has no names.
Proposals Propose(const CLI::App& root, const TypedLine& line, const std::string& database);

}  // namespace ncc::tool

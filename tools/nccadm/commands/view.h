// Showing what Session::Shown() holds; for its own network and for neighbouring ones.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "network/session.h"

namespace ncc::tool {

struct TreeArguments {
  std::string server;
  int depth = 2;
  bool deps = false;
  bool groups = false;
};

void AddTreeOptions(CLI::App& command, TreeArguments& arguments);
int ShowTree(Session& session, const TreeArguments& arguments);

// Objects by a part of the name or of a note, a pattern, a tag, an id or an address; kExitFailed
// when there is none.
int FindObjects(Session& session, const std::string& text);

// One object of whichever kind. Throws Failure when none or several are meant.
int ShowObject(Session& session, const std::string& text);

}  // namespace ncc::tool

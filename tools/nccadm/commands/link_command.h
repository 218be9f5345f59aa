// link and unlink, for whatever can be linked in pairs.
#pragma once

#include <functional>
#include <string>

#include "commands/command_line.h"

namespace ncc::tool {

// Two objects of one kind, as their family knows them.
struct LinkEnds {
  std::string one;  // the name to show, in quotes
  std::string other;
  bool same = false;  // whether both names mean one object
  bool linked = false;
  std::function<bool(bool wanted)> set;  // links or unlinks; false when the library refuses
  std::function<Json()> describe;        // both
};

struct LinkWords {
  const char* family;  // "dep"
  const char* word;    // "Dep"
  const char* words;   // "Deps"
  const char* key;     // "deps"
};

// Makes the link be there or not, and says so.
int SetLink(Session& session, const LinkWords& words, const LinkEnds& ends, bool wanted);

// Adds both commands through `add`, which gets the name, the description, the example and whether
// the link is wanted.
void AddLinkCommands(const LinkWords& words, const std::string& sample,
                     const std::function<void(const std::string&, const std::string&,
                                              const std::string&, bool)>& add);

}  // namespace ncc::tool

#include "commands/link_command.h"

#include <fmt/format.h>

namespace ncc::tool {

int SetLink(Session& session, const LinkWords& words, const LinkEnds& ends, bool wanted) {
  if (ends.same) {
    throw Failure(fmt::format("both names mean the {} {}", words.word, ends.one),
                  fmt::format("Links join two different {}.", words.words));
  }
  const bool changes = ends.linked != wanted;
  if (changes && !ends.set(wanted)) {
    throw session.Refusal(
        fmt::format("the link of {} and {} was not changed", ends.one, ends.other));
  }
  const char* const verb = changes ? "are now" : wanted ? "were already" : "were";
  const char* const state = wanted ? "linked" : changes ? "unlinked" : "not linked";
  session.Out().Say(
      fmt::format("The {} {} and {} {} {}.", words.words, ends.one, ends.other, verb, state));
  if (session.IsJson()) {
    session.Out().Document(
        {{"changed", changes}, {"linked", wanted}, {words.key, ends.describe()}});
  }
  return kExitDone;
}

void AddLinkCommands(const LinkWords& words, const std::string& sample,
                     const std::function<void(const std::string&, const std::string&,
                                              const std::string&, bool)>& add) {
  for (const bool wanted : {true, false}) {
    const std::string name = wanted ? "link" : "unlink";
    const std::string description = wanted
                                        ? fmt::format("Link two {}", words.words)
                                        : fmt::format("Take the link of two {} away", words.words);
    add(name, description, fmt::format("{} {} {}", words.family, name, sample), wanted);
  }
}

}  // namespace ncc::tool

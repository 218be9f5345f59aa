// dep add, rename, delete, list, show, link, unlink, link-all
#include <cstddef>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/object_commands.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/terminal.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// Pair by pair: LinkAllDeps would add to every link that exists already.
int LinkAll(Session& session) {
  CNCCNet& net = session.Net();
  const std::vector<Object> deps = session.Shown().All(Kind::kDep);
  const InterruptGuard interrupt;
  Progress progress(session.Out(), "Linking", deps.size());
  std::size_t added = 0;
  Batch batch(session);
  for (std::size_t i = 0; i < deps.size(); ++i, progress.Step()) {
    for (std::size_t j = i + 1; j < deps.size(); ++j) {
      interrupt.Check();
      bool changed = false;
      if (!net.LinkDepToDep(deps[i].id, static_cast<unsigned long>(deps[j].id), &changed)) {
        throw session.Refusal(
            fmt::format("the Deps {} and {} were not linked", Quoted(deps[i]), Quoted(deps[j])));
      }
      added += changed ? 1U : 0U;
    }
  }
  batch.Store();
  const std::size_t pairs = deps.empty() ? 0 : deps.size() * (deps.size() - 1) / 2;
  session.Out().Say(fmt::format("{} are linked with each other; new links: {}, unchanged: {}.",
                                CountOf(deps.size(), Kind::kDep), added, pairs - added));
  if (session.IsJson()) {
    session.Out().Document({{"links", {{"added", added}, {"unchanged", pairs - added}}}});
  }
  return kExitDone;
}

}  // namespace

void AddDepCommands(CommandLine& line) {
  ObjectFamily family(line, Kind::kDep);
  family.AddBare("link-all", "Link every Dep with every other one", "dep link-all",
                 [](Session& session, const auto&) { return LinkAll(session); });
}

}  // namespace ncc::tool

// dep add, rename, delete, list, show, link, unlink, link-all
#include <fmt/format.h>

#include "command_line.h"
#include "object_commands.h"
#include "terminal.h"

namespace ncc::tool {
namespace {

int SetLink(Session& session, const ObjectArguments& arguments, bool wanted) {
  const Object one = FindObject(session, Kind::kDep, arguments.object);
  const Object other = FindObject(session, Kind::kDep, arguments.other);
  if (one.id == other.id) {
    throw Failure(fmt::format("both names mean the Dep {}", Quoted(one)),
                  "Links join two different Deps.");
  }
  CNCCNet& net = session.Net();
  const unsigned long first = one.id;
  const unsigned long second = other.id;
  const bool changes = HasId(ListLinkedDeps(net, one.id), other.id) != wanted;
  const bool done = !changes || (wanted ? net.LinkDepToDep(first, second)
                                        : net.DeleteLinkDepToDep(first, second));
  if (!done) {
    throw session.Refusal(
        fmt::format("the link of {} and {} was not changed", Quoted(one), Quoted(other)));
  }
  session.Out().Say(fmt::format("The Deps {} and {} {} {}.", Quoted(one), Quoted(other),
                                changes  ? "are now"
                                : wanted ? "were already"
                                         : "were",
                                wanted    ? "linked"
                                : changes ? "unlinked"
                                          : "not linked"));
  if (session.IsJson()) {
    ObjectWriter writer(session);
    session.Out().Document({{"changed", changes},
                            {"linked", wanted},
                            {"deps", {writer.Describe(one), writer.Describe(other)}}});
  }
  return kExitDone;
}

// Pair by pair: LinkAllDeps would add to every link that exists already.
int LinkAll(Session& session) {
  CNCCNet& net = session.Net();
  const std::vector<Object> deps = ListObjects(net, Kind::kDep);
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
  batch.Keep();
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
  ObjectFamily family(line, Kind::kDep, "Deps, the groups of users, and the links between them",
                      "Office");
  for (const bool wanted : {true, false}) {
    const std::string name = wanted ? "link" : "unlink";
    CLI::App& command = family.Add(
        name, wanted ? "Link two Deps" : "Take the link of two Deps away",
        "dep " + name + " Office Archive", [wanted](Session& session, const auto& arguments) {
          return SetLink(session, arguments, wanted);
        });
    command.add_option("OTHER", family.Arguments().other, "The other Dep")->required();
  }
  family.AddBare("link-all", "Link every Dep with every other one", "dep link-all",
                 [](Session& session, const auto&) { return LinkAll(session); });
}

}  // namespace ncc::tool

// dep add, rename, delete, list, show, link, unlink, link-all
#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/link_command.h"
#include "commands/object_commands.h"
#include "console/terminal.h"

namespace ncc::tool {
namespace {

constexpr LinkWords kWords = {"dep", "Dep", "Deps", "deps"};

int LinkDeps(Session& session, const ObjectArguments& arguments, bool wanted) {
  const Object one = FindObject(session, Kind::kDep, arguments.object);
  const Object other = FindObject(session, Kind::kDep, arguments.other);
  CNCCNet& net = session.Net();
  const unsigned long first = one.id;
  const unsigned long second = other.id;
  const auto set = [&](bool link) {
    return link ? net.LinkDepToDep(first, second) : net.DeleteLinkDepToDep(first, second);
  };
  const auto describe = [&] {
    ObjectWriter writer(session);
    return Json{writer.Describe(one), writer.Describe(other)};
  };
  const bool linked = HasId(ListLinkedDeps(net, one.id), other.id);
  return SetLink(session, kWords,
                 {Quoted(one), Quoted(other), one.id == other.id, linked, set, describe}, wanted);
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
  AddLinkCommands(
      kWords, "Office Archive",
      [&family](const auto& name, const auto& description, const auto& example, bool wanted) {
        CLI::App& command = family.Add(name, description, example,
                                       [wanted](Session& session, const auto& arguments) {
                                         return LinkDeps(session, arguments, wanted);
                                       });
        command.add_option("OTHER", family.Arguments().other, "The other Dep")->required();
      });
  family.AddBare("link-all", "Link every Dep with every other one", "dep link-all",
                 [](Session& session, const auto&) { return LinkAll(session); });
}

}  // namespace ncc::tool

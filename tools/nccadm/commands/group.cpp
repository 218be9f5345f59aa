// group add, rename, delete, list, show, add-node, remove-node, add-dep, remove-dep
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/object_commands.h"
#include "console/text.h"
#include "network/loss.h"
#include "network/reference.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

int AddNode(Session& session, const ObjectArguments& arguments) {
  const Object group = FindObject(session, Kind::kGroup, arguments.object);
  const Object node = FindNode(session, arguments.other);
  CNCCNet& net = session.Net();
  View& view = session.Shown();
  const bool changes = !HasId(view.Related(Relation::kNodesOfGroup, group.id), node.id);
  if (changes && !net.LinkNNToNGrp(group.id, node.id)) {
    throw session.Refusal(fmt::format("{} was not added to {}", Quoted(node), Quoted(group)));
  }
  return Report(session, group, changes,
                fmt::format("{} {} in the node group {}.", Quoted(node),
                            changes ? "is now" : "was already", Quoted(group)));
}

// Both removals end memberships even where there is nothing to remove, so they run only where
// there is.
int RemoveNode(Session& session, const ObjectArguments& arguments) {
  const Object group = FindObject(session, Kind::kGroup, arguments.object);
  const Object node = FindNode(session, arguments.other);
  CNCCNet& net = session.Net();
  View& view = session.Shown();
  if (!HasId(view.Related(Relation::kNodesOfGroup, group.id), node.id)) {
    return Report(session, group, false,
                  fmt::format("{} was not in the node group {}.", Quoted(node), Quoted(group)));
  }
  std::size_t lost = 0;
  for (const Object& dep : view.Related(Relation::kDepsOfGroup, group.id)) {
    lost += CountLost(view, dep.id,
                      [&node](const Membership& membership) { return membership.node == node.id; });
  }
  if (lost > 0) {
    session.Confirm(
        fmt::format("users of the node group {} have memberships at {}, which would be "
                    "deleted with its place in the group",
                    Quoted(group), Quoted(node)));
  }
  if (!net.DeleteNNFromNGrp(group.id, node.id)) {
    throw session.Refusal(fmt::format("{} was not taken out of {}", Quoted(node), Quoted(group)));
  }
  return Report(session, group, true,
                fmt::format("Took {} out of the node group {}.", Quoted(node), Quoted(group)));
}

int AddDep(Session& session, const ObjectArguments& arguments) {
  const Object group = FindObject(session, Kind::kGroup, arguments.object);
  const Object dep = FindObject(session, Kind::kDep, arguments.other);
  CNCCNet& net = session.Net();
  View& view = session.Shown();
  const std::vector<Object> before = view.Related(Relation::kGroupsOfDep, dep.id);
  const bool changes = dep.group != group.id || !HasId(before, group.id);
  if (changes && !net.LinkDepToNGrp(group.id, dep.id)) {
    throw session.Refusal(fmt::format("{} was not added to {}", Quoted(dep), Quoted(group)));
  }
  std::string text = fmt::format("The Dep {} {} in the node group {}.", Quoted(dep),
                                 changes ? "is now" : "was already", Quoted(group));
  for (const Object& other : before) {
    if (other.id != group.id) text += fmt::format(" It stays listed in {} too.", Quoted(other));
  }
  return Report(session, group, changes, text);
}

int RemoveDep(Session& session, const ObjectArguments& arguments) {
  const Object group = FindObject(session, Kind::kGroup, arguments.object);
  const Object dep = FindObject(session, Kind::kDep, arguments.other);
  CNCCNet& net = session.Net();
  View& view = session.Shown();
  if (!HasId(view.Related(Relation::kDepsOfGroup, group.id), dep.id)) {
    return Report(
        session, group, false,
        fmt::format("The Dep {} was not in the node group {}.", Quoted(dep), Quoted(group)));
  }
  const std::size_t lost = CountLost(
      view, dep.id, [&dep](const Membership& membership) { return membership.dep == dep.id; });
  if (lost > 0) {
    session.Confirm(
        fmt::format("the users of the Dep {} have {} of it, which would be deleted "
                    "with its place in the node group",
                    Quoted(dep), CountText(lost, "membership")));
  }
  if (!net.DeleteDepFromNGrp(group.id, dep.id)) {
    throw session.Refusal(fmt::format("{} was not taken out of {}", Quoted(dep), Quoted(group)));
  }
  return Report(
      session, group, true,
      fmt::format("Took the Dep {} out of the node group {}.", Quoted(dep), Quoted(group)));
}

}  // namespace

void AddGroupCommands(CommandLine& line) {
  ObjectFamily family(line, Kind::kGroup);
  ObjectArguments& arguments = family.Arguments();
  const auto add_pair = [&](const char* name, const char* description, const char* example,
                            ObjectAction action, const char* place, const char* meaning) {
    CLI::App& command = family.Add(name, description, example, std::move(action));
    command.add_option(place, arguments.other, meaning)->required();
  };
  const char* const node = "The server or AP: its name or id:NUMBER";
  const char* const dep = "The Dep: its name or id:NUMBER";
  add_pair("add-node", "Put a server or an AP into a node group", "group add-node Region Center",
           AddNode, "NODE", node);
  add_pair("remove-node", "Take a node out, with the memberships of the group's users at it",
           "group remove-node Region Center", RemoveNode, "NODE", node);
  add_pair("add-dep", "Assign a Dep to a node group", "group add-dep Region Office", AddDep, "DEP",
           dep);
  add_pair("remove-dep", "Take a Dep out, with the memberships of the Dep that its users have",
           "group remove-dep Region Office", RemoveDep, "DEP", dep);
}

}  // namespace ncc::tool

// user add, rename, delete, list, show, join, leave, primary, memberships
#include <algorithm>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/object_commands.h"
#include "console/text.h"
#include "nccnet/netdb.h"
#include "network/changes.h"
#include "network/loss.h"
#include "network/object_writer.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

bool HasNode(const std::vector<Membership>& memberships, std::uint32_t node) {
  return std::any_of(memberships.begin(), memberships.end(),
                     [node](const Membership& membership) { return membership.node == node; });
}

std::vector<Object> UsersOf(Session& session, const Object& dep) {
  return session.Shown().Related(Relation::kUsersOfDep, dep.id);
}

std::vector<Membership> MembershipsOf(Session& session, const Object& user, const Object& dep) {
  std::vector<Membership> memberships = session.Shown().MembershipsOf(user.id);
  std::erase_if(memberships,
                [&dep](const Membership& membership) { return membership.dep != dep.id; });
  return memberships;
}

void RequireMember(Session& session, const Object& user, const Object& dep) {
  if (HasId(UsersOf(session, dep), user.id)) return;
  throw Failure(
      fmt::format("the user {} is not in the Dep {}", Quoted(user), Quoted(dep)),
      fmt::format("To put it there, type: nccadm user join id:{} id:{}", user.id, dep.id));
}

void RequirePossible(Session& session, const Object& user, const Object& dep, const Object& node) {
  if (HasNode(PossibleMemberships(session.Net(), user.id, dep.id), node.id)) return;
  throw Failure(fmt::format("{} is not in the node group of the Dep {}", Quoted(node), Quoted(dep)),
                "'nccadm group add-node' puts nodes into a node group.");
}

int Join(Session& session, const ObjectArguments& arguments) {
  const Object user = FindObject(session, Kind::kUser, arguments.object);
  const Object dep = FindObject(session, Kind::kDep, arguments.other);
  CNCCNet& net = session.Net();
  // The library would list the user a second time.
  const bool changes = !HasId(UsersOf(session, dep), user.id);
  if (changes && !net.LinkABToDep(dep.id, static_cast<unsigned long>(user.id), arguments.flag)) {
    throw session.Refusal(fmt::format("the user {} did not join {}", Quoted(user), Quoted(dep)));
  }
  const bool asks_in_vain = !changes && arguments.flag;
  return Report(session, user, changes,
                fmt::format("The user {} {} in the Dep {}.{}", Quoted(user),
                            changes ? "is now" : "was already", Quoted(dep),
                            asks_in_vain ? " Memberships stay as they are." : ""));
}

int Leave(Session& session, const ObjectArguments& arguments) {
  const Object user = FindObject(session, Kind::kUser, arguments.object);
  const Object dep = FindObject(session, Kind::kDep, arguments.other);
  CNCCNet& net = session.Net();
  const std::vector<Object> members = UsersOf(session, dep);
  const auto places = std::count_if(members.begin(), members.end(),
                                    [&user](const Object& member) { return member.id == user.id; });
  const std::size_t lost = MembershipsOf(session, user, dep).size();
  Batch batch(session);
  // One call takes one of the places that the user has in the Dep.
  for (auto i = places; i > 0; --i) {
    net.DeleteABFromDep(dep.id, static_cast<unsigned long>(user.id));
  }
  if (HasId(UsersOf(session, dep), user.id)) {
    throw session.Refusal(fmt::format("the user {} did not leave {}", Quoted(user), Quoted(dep)));
  }
  batch.Store();
  if (places == 0) {
    return Report(session, user, false,
                  fmt::format("The user {} was not in the Dep {}.", Quoted(user), Quoted(dep)));
  }
  const char* rest =
      user.primary_dep == dep.id ? " The primary collective still names the Dep." : "";
  return Report(session, user, true,
                fmt::format("The user {} left the Dep {} and {} there.{}", Quoted(user),
                            Quoted(dep), CountText(lost, "membership"), rest));
}

int ChangePrimary(Session& session, const ObjectArguments& arguments) {
  const bool names_both = !arguments.other.empty() && !arguments.third.empty();
  if (arguments.flag ? !arguments.other.empty() : !names_both) {
    throw Failure("either DEP and NODE or --none is needed",
                  "'nccadm user primary --help' shows the usage.", kExitUsage);
  }
  const Object user = FindObject(session, Kind::kUser, arguments.object);
  CNCCNet& net = session.Net();
  Membership collective;
  std::string text = fmt::format("The user {} has no primary collective now.", Quoted(user));
  if (!arguments.flag) {
    const Object dep = FindObject(session, Kind::kDep, arguments.other);
    const Object node = FindNode(session, arguments.third);
    RequireMember(session, user, dep);
    RequirePossible(session, user, dep, node);
    collective = {dep.id, node.id, 0};
    text = fmt::format("The primary collective of the user {} is now {} at {}.", Quoted(user),
                       Quoted(dep), Quoted(node));
  }
  const bool changes = user.primary_dep != collective.dep || user.primary_node != collective.node;
  if (changes && !SetPrimary(net, user.id, collective.dep, collective.node)) {
    throw session.Refusal(fmt::format("the user {} was not changed", Quoted(user)));
  }
  return Report(session, user, changes, text);
}

// What the user's memberships of the Dep become.
std::vector<Membership> Changed(Session& session, const Object& user, const Object& dep,
                                const ObjectArguments& arguments) {
  std::vector<Membership> memberships = MembershipsOf(session, user, dep);
  for (const std::string& reference : arguments.removed) {
    const Object node = FindNode(session, reference);
    std::erase_if(memberships,
                  [&node](const Membership& membership) { return membership.node == node.id; });
  }
  if (arguments.added.empty() && !arguments.flag) return memberships;
  RequireMember(session, user, dep);
  std::vector<Membership> wanted;
  if (arguments.flag) wanted = PossibleMemberships(session.Net(), user.id, dep.id);
  for (const std::string& reference : arguments.added) {
    const Object node = FindNode(session, reference);
    RequirePossible(session, user, dep, node);
    wanted.push_back({dep.id, node.id, 0});
  }
  for (const Membership& membership : wanted) {
    std::erase_if(memberships,
                  [&membership](const Membership& old) { return old.node == membership.node; });
    memberships.push_back(
        {membership.dep, membership.node, static_cast<std::uint8_t>(arguments.kind.value_or(0))});
  }
  return memberships;
}

int ShowMemberships(Session& session, const Object& user,
                    const std::vector<Membership>& memberships) {
  ObjectWriter writer(session);
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document({{"id", user.id}, {"memberships", writer.MembershipsJson(memberships)}});
  } else if (memberships.empty()) {
    out.Say("There are no such memberships.");
  } else {
    out.PrintTable(writer.MembershipTable(memberships));
  }
  return kExitDone;
}

int Memberships(Session& session, const ObjectArguments& arguments) {
  const bool changes = arguments.flag || !arguments.added.empty() || !arguments.removed.empty();
  if (changes && arguments.other.empty()) {
    throw Failure("a Dep is needed to change memberships",
                  "'nccadm user memberships --help' shows the usage.", kExitUsage);
  }
  if (arguments.kind && !arguments.flag && arguments.added.empty()) {
    throw Failure("--kind is the kind of what --add or --all adds",
                  "'nccadm user memberships --help' shows the usage.", kExitUsage);
  }
  if (!changes) session.OnlyRead();
  const Object user = FindObject(session, Kind::kUser, arguments.object);
  CNCCNet& net = session.Net();
  if (arguments.other.empty())
    return ShowMemberships(session, user, session.Shown().MembershipsOf(user.id));
  const Object dep = FindObject(session, Kind::kDep, arguments.other);
  if (changes) {
    const std::vector<Membership> changed = Changed(session, user, dep, arguments);
    if (!SetMemberships(net, user.id, dep.id, changed, true)) {
      throw session.Refusal(fmt::format("the user {} was not changed", Quoted(user)));
    }
  }
  return ShowMemberships(session, user, MembershipsOf(session, user, dep));
}

void AddMembershipsCommand(ObjectFamily& family) {
  CLI::App& command = family.Add(
      "memberships",
      "Show the memberships of a user, all or those of one Dep, or change those of the Dep",
      "user memberships Ivanov\nuser memberships Ivanov Office --add Center --remove North\n"
      "user memberships Ivanov Office --all --kind 1",
      Memberships);
  ObjectArguments& arguments = family.Arguments();
  command.add_option("DEP", arguments.other, "The Dep: its name or id:NUMBER");
  command
      .add_option("--add", arguments.added, "A node where the user becomes a member; repeatable")
      ->type_name("NODE")
      ->allow_extra_args(false);
  command
      .add_option("--remove", arguments.removed,
                  "A node where the user is none any more; repeatable")
      ->type_name("NODE")
      ->allow_extra_args(false);
  command.add_flag("--all", arguments.flag, "Add every node of the Dep's node group");
  command
      .add_option("--kind", arguments.kind,
                  "The kind of what is added, 0 to 255; 0 when it is left out")
      ->check(CLI::Range(0U, 255U).description(""));
}

}  // namespace

void AddUserCommands(CommandLine& line) {
  ObjectFamily family(line, Kind::kUser);
  ObjectArguments& arguments = family.Arguments();
  const auto add_dep = [&arguments](CLI::App& command) {
    return command.add_option("DEP", arguments.other, "The Dep: its name or id:NUMBER");
  };

  CLI::App& join =
      family.Add("join",
                 "Put a user into a Dep; one without a primary collective gets the first node of "
                 "the Dep's node group",
                 "user join Ivanov Office --memberships", Join);
  add_dep(join)->required();
  join.add_flag("--memberships", arguments.flag,
                "Make the user a member at every node of the Dep's node group");

  add_dep(family.Add("leave", "Take a user out of a Dep, with its memberships there",
                     "user leave Ivanov Office", Leave))
      ->required();

  CLI::App& primary =
      family.Add("primary", "Set the primary collective of a user",
                 "user primary Ivanov Office Center\nuser primary Ivanov --none", ChangePrimary);
  add_dep(primary);
  primary.add_option("NODE", arguments.third, "The server or AP: its name or id:NUMBER");
  primary.add_flag("--none", arguments.flag, "Take it away");
  AddMembershipsCommand(family);
}

}  // namespace ncc::tool

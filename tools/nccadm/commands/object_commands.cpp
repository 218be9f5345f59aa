#include "commands/object_commands.h"

#include <set>

#include <fmt/format.h>

#include "console/text.h"
#include "network/nodes.h"

namespace ncc::tool {
namespace {

int AddObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  const std::string name = RequireName(arguments.object);
  CNCCNet& net = session.Net();
  RefuseTakenName(net, kind, name, 0);
  const unsigned long id = Create(net, kind, name);
  if (id == 0) {
    throw session.Refusal(
        fmt::format("the {} \"{}\" was not added", WordOf(kind), arguments.object));
  }
  const Object object = ReloadObject(net, kind, id);
  session.Out().Say(fmt::format("Added the {} {}.", WordOf(kind), Quoted(object)));
  if (session.IsJson()) {
    ObjectWriter(session).Show(object);
  } else {
    session.Out().Line(fmt::format("id:{}", id));
  }
  return kExitDone;
}

// Gives an object a name that no other one has and no user types.
void RenameAside(Session& session, const Object& object) {
  std::string aside = fmt::format("\x01{}", object.id);
  while (!Rename(session.Net(), object, aside)) {
    if (aside.size() == kMaxNameLength) {
      throw session.Refusal(fmt::format("{} cannot be renamed", Quoted(object)));
    }
    aside += '\x01';
  }
}

int RenameObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  const std::string name = RequireName(arguments.other);
  const Object object = FindObject(session, kind, arguments.object);
  CNCCNet& net = session.Net();
  RefuseTakenName(net, kind, name, object.id);
  Batch batch(session);
  // A name in another letter case counts as taken by the object itself.
  if (FoldName(object.name) == FoldName(name)) RenameAside(session, object);
  if (!Rename(net, object, name)) {
    throw session.Refusal(fmt::format("the {} {} was not renamed", WordOf(kind), Quoted(object)));
  }
  batch.Keep();
  session.Out().Say(fmt::format("Renamed the {} {} to \"{}\".", WordOf(kind), Quoted(object),
                                PrintableName(name)));
  if (session.IsJson()) ObjectWriter(session).Show(ReloadObject(net, kind, object.id));
  return kExitDone;
}

// What goes with the object beside itself, for a question; empty when nothing does.
std::string LossOf(CNCCNet& net, const Object& object) {
  if (object.kind == Kind::kUser) return {};
  const bool is_dep = object.kind == Kind::kDep;
  const std::size_t count =
      is_dep ? ListUsersOf(net, object.id).size() : ListDepsOf(net, object.id).size();
  if (count == 0) return {};
  return fmt::format("the {} {} has {}; memberships {} would be deleted with it",
                     WordOf(object.kind), Quoted(object),
                     CountOf(count, is_dep ? Kind::kUser : Kind::kDep),
                     is_dep ? "of it" : "of those");
}

int DeleteObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  const Object object = FindObject(session, kind, arguments.object);
  CNCCNet& net = session.Net();
  const std::string loss = LossOf(net, object);
  if (!loss.empty()) session.Confirm(loss);
  const Json document = {{"deleted", ObjectWriter(session).Describe(object)}};
  if (!Delete(net, object)) {
    throw session.Refusal(fmt::format("the {} {} was not deleted", WordOf(kind), Quoted(object)));
  }
  session.Out().Say(fmt::format("Deleted the {} {}.", WordOf(kind), Quoted(object)));
  if (session.IsJson()) session.Out().Document(document);
  return kExitDone;
}

}  // namespace

ObjectFamily::ObjectFamily(CommandLine& line, Kind kind, const std::string& description,
                           const std::string& sample)
    : line_(line), kind_(kind), group_(line.AddGroup(KeyOf(kind), description)) {
  const std::string key = KeyOf(kind);
  const std::string word = WordOf(kind);
  CLI::App& add =
      AddBare("add", "Add a " + word + " and print its id", key + " add " + sample,
              [kind](auto& session, auto& all) { return AddObject(session, kind, all); });
  add.add_option("NAME", arguments_->object, "Its name")->required();
  CLI::App& rename =
      Add("rename", "Rename a " + word, key + " rename " + sample + " \"New name\"",
          [kind](auto& session, auto& all) { return RenameObject(session, kind, all); });
  rename.add_option("NAME", arguments_->other, "Its new name")->required();
  Add("delete", "Delete a " + word + " with its links and memberships",
      key + " delete " + sample + " --yes",
      [kind](auto& session, auto& all) { return DeleteObject(session, kind, all); });
  AddBare("list", std::string("List all ") + WordOfAll(kind) + " by id", key + " list",
          [kind](auto& session, auto&) {
            ObjectWriter(session).ShowAll(kind, ListObjects(session.Net(), kind));
            return kExitDone;
          });
  Add("show", "Show one " + word, key + " show " + sample, [kind](auto& session, auto& all) {
    ObjectWriter(session).Show(FindObject(session, kind, all.object));
    return kExitDone;
  });
}

CLI::App& ObjectFamily::Add(const std::string& name, const std::string& description,
                            const std::string& examples, ObjectAction action) {
  CLI::App& command = AddBare(name, description, examples, std::move(action));
  const std::string place = kind_ == Kind::kUser ? "USER" : kind_ == Kind::kDep ? "DEP" : "GROUP";
  command
      .add_option(place, arguments_->object,
                  std::string("The ") + WordOf(kind_) + ": its name or id:NUMBER")
      ->required();
  return command;
}

CLI::App& ObjectFamily::AddBare(const std::string& name, const std::string& description,
                                const std::string& examples, ObjectAction action) {
  CLI::App& command = CommandLine::AddCommand(group_, name, description, examples);
  line_.OnRun(command, [arguments = arguments_, action = std::move(action)](Session& session) {
    return action(session, *arguments);
  });
  return command;
}

int Report(Session& session, const Object& object, bool changed, const std::string& text) {
  session.Out().Say(text);
  if (session.IsJson()) {
    const Object now = ReloadObject(session.Net(), object.kind, object.id);
    session.Out().Document(
        {{"changed", changed}, {KeyOf(now.kind), ObjectWriter(session).Describe(now)}});
  }
  return kExitDone;
}

std::size_t CountLost(CNCCNet& net, std::uint32_t dep,
                      const std::function<bool(const Membership&)>& is_lost) {
  std::set<std::uint32_t> seen;  // a user can stand in a Dep more than once
  std::size_t count = 0;
  for (const Object& user : ListUsersOf(net, dep)) {
    if (!seen.insert(user.id).second) continue;
    for (const Membership& one : ListMemberships(net, user.id)) count += is_lost(one) ? 1U : 0U;
  }
  return count;
}

std::string CountMemberships(std::size_t count) {
  return fmt::format("{} membership{}", count, count == 1 ? "" : "s");
}

}  // namespace ncc::tool

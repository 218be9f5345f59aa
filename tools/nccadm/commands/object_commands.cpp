#include "commands/object_commands.h"

#include <array>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "console/text.h"
#include "nccnet/netdb.h"
#include "network/changes.h"
#include "network/loss.h"
#include "network/object_writer.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

struct FamilyWords {
  const char* description;
  const char* place;
  const char* adding;  // behind "add "
  const char* sample;
  const char* new_name;
  const char* goes;  // with it when it is deleted
  const char* listing;
  const char* shown;
  const char* linked = nullptr;  // two samples; where objects of the kind can be linked in pairs
};

const FamilyWords& FamilyWordsOf(Kind kind) {
  static constexpr const char* kNewName = "\"New name\"";
  static constexpr const char* kGoes = "its links and memberships";
  static constexpr std::array<FamilyWords, 5> kWords = {{
      {"Servers and the links between them", "SERVER", "Center --app ncc --value 10", "Center",
       "\"City centre\"", "its APs and links", "List the servers in the order of their adding",
       "id:1", "Center North"},
      {"Subscriber points", "AP", "Center Ivanov --app mail,files", "Ivanov", "\"Ivanov A.\"",
       "its links", "List all APs by id, or those of a server in its order", "id:12"},
      {"Node groups: nodes and the Deps that work at them", "GROUP", "Region", "Region", kNewName,
       kGoes, "List all node groups by id", "Region"},
      {"Deps, the groups of users, and the links between them", "DEP", "Office", "Office", kNewName,
       kGoes, "List all Deps by id", "Office", "Office Archive"},
      {"Users, their Deps and their memberships", "USER", "Ivanov", "Ivanov", kNewName, kGoes,
       "List all users by id", "Ivanov"},
  }};
  return kWords[static_cast<std::size_t>(kind)];
}

bool IsNode(Kind kind) { return kind == Kind::kServer || kind == Kind::kAp; }

int AddObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  Object wanted;
  wanted.kind = kind;
  wanted.name = RequireName(arguments.object);
  wanted.flags = session.Apps().ParseAll(arguments.applications);
  wanted.value = arguments.value;
  std::string place;
  View& view = session.Shown();
  if (kind == Kind::kAp) {
    const Object server = FindObject(session, Kind::kServer, arguments.other);
    wanted.server_id = server.id;
    place = fmt::format(" to the server {}", Quoted(server));
  }
  const bool may_repeat = kind == Kind::kAp && arguments.flag;
  if (!may_repeat) RefuseTakenName(view, kind, wanted.name, 0);
  const unsigned long id = Add(session.Net(), wanted);
  if (id == 0) {
    throw session.Refusal(
        fmt::format("the {} \"{}\" was not added", WordOf(kind), arguments.object));
  }
  const Object object = Reload(session, kind, id);
  if (IsNode(kind)) place += fmt::format(", address {}", view.AddressOf(object.id));
  session.Out().Say(fmt::format("Added the {} {}{}.", WordOf(kind), Quoted(object), place));
  if (session.IsJson()) {
    ObjectWriter(session).Show(object);
  } else {
    session.Out().Line(fmt::format("id:{}", id));
  }
  return kExitDone;
}

int RenameObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  const std::string name = RequireName(arguments.other);
  const Object object = FindObject(session, kind, arguments.object);
  RefuseTakenName(session.Shown(), kind, name, object.id);
  Batch batch(session);
  // A name in another letter case counts as taken by the object itself.
  if (FoldName(object.name) == FoldName(name)) RenameAside(session, object);
  if (!Rename(session.Net(), object, name)) {
    throw session.Refusal(fmt::format("the {} {} was not renamed", WordOf(kind), Quoted(object)));
  }
  batch.Store();
  session.Out().Say(fmt::format("Renamed the {} {} to \"{}\".", WordOf(kind), Quoted(object),
                                PrintableName(name)));
  if (session.IsJson()) ObjectWriter(session).Show(Reload(session, kind, object.id));
  return kExitDone;
}

int MoveAp(Session& session, const ObjectArguments& arguments) {
  const Object ap = FindObject(session, Kind::kAp, arguments.object);
  const Object server = FindObject(session, Kind::kServer, arguments.other);
  const bool moves = ap.server_id != server.id;
  const unsigned long id = ap.id;
  // Moving to the same server would still carry the AP to the end of its list.
  if (moves && !session.Net().ChangeSrv(id, static_cast<unsigned long>(server.id))) {
    throw session.Refusal(fmt::format("the AP {} was not moved", Quoted(ap)));
  }
  session.Out().Say(
      moves ? fmt::format("Moved the AP {} to the server {}.", Quoted(ap), Quoted(server))
            : fmt::format("The AP {} is at the server {} already.", Quoted(ap), Quoted(server)));
  if (session.IsJson()) ObjectWriter(session).Show(Reload(session, Kind::kAp, id));
  return kExitDone;
}

int DeleteObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  const Object object = FindObject(session, kind, arguments.object);
  const std::string loss = LossOf(session.Shown(), object);
  if (!loss.empty()) session.Confirm(loss);
  const Json document = {{"deleted", ObjectWriter(session).JsonOf(object)}};
  Batch batch(session);
  if (!Delete(session, object)) {
    throw session.Refusal(fmt::format("the {} {} was not deleted", WordOf(kind), Quoted(object)));
  }
  batch.Store();
  const std::string aps =
      object.IsServer() ? fmt::format(" with {}", CountOf(object.ap_count, Kind::kAp)) : "";
  session.Out().Say(fmt::format("Deleted the {} {}{}.", WordOf(kind), Quoted(object), aps));
  if (session.IsJson()) session.Out().Document(document);
  return kExitDone;
}

int ListObjects(Session& session, Kind kind, const ObjectArguments& arguments) {
  session.OnlyRead();
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  View& view = session.Shown();
  std::vector<Object> objects;
  if (arguments.other.empty()) {
    objects = view.All(kind);
  } else {
    const Object server = FindObject(session, Kind::kServer, arguments.other);
    objects = view.Related(Relation::kApsOfServer, server.id);
  }
  std::erase_if(objects, [mask](const Object& object) { return (object.flags & mask) != mask; });
  ObjectWriter(session).ShowAll(kind, objects);
  return kExitDone;
}

int ShowObject(Session& session, Kind kind, const ObjectArguments& arguments) {
  session.OnlyRead();
  ObjectWriter(session).Show(FindObject(session, kind, arguments.object));
  return kExitDone;
}

bool SetLinked(CNCCNet& net, Kind kind, unsigned long one, unsigned long other, bool wanted) {
  if (kind == Kind::kServer) {
    return wanted ? net.LinkSrvToSrv(one, other) : net.DeleteLink(one, other);
  }
  return wanted ? net.LinkDepToDep(one, other) : net.DeleteLinkDepToDep(one, other);
}

// Makes the link be there or not, and says so.
int LinkObjects(Session& session, Kind kind, const ObjectArguments& arguments, bool wanted) {
  const Object one = FindObject(session, kind, arguments.object);
  const Object other = FindObject(session, kind, arguments.other);
  if (one.id == other.id) {
    throw Failure(fmt::format("both names mean the {} {}", WordOf(kind), Quoted(one)),
                  fmt::format("Links join two different {}.", WordOfAll(kind)));
  }
  const Relation links = kind == Kind::kServer ? Relation::kLinksOfServer : Relation::kLinksOfDep;
  const bool changes = HasId(session.Shown().Related(links, one.id), other.id) != wanted;
  if (changes && !SetLinked(session.Net(), kind, one.id, other.id, wanted)) {
    throw session.Refusal(
        fmt::format("the link of {} and {} was not changed", Quoted(one), Quoted(other)));
  }
  const char* const verb = changes ? "are now" : wanted ? "were already" : "were";
  const char* const state = wanted ? "linked" : changes ? "unlinked" : "not linked";
  session.Out().Say(fmt::format("The {} {} and {} {} {}.", WordOfAll(kind), Quoted(one),
                                Quoted(other), verb, state));
  if (session.IsJson()) {
    ObjectWriter writer(session);
    session.Out().Document({{"changed", changes},
                            {"linked", wanted},
                            {KeyOfAll(kind), Json{writer.JsonOf(one), writer.JsonOf(other)}}});
  }
  return kExitDone;
}

}  // namespace

ObjectFamily::ObjectFamily(CommandLine& line, Kind kind)
    : line_(line),
      kind_(kind),
      group_(line.AddGroup(KeyOf(kind), FamilyWordsOf(kind).description)) {
  const FamilyWords& words = FamilyWordsOf(kind);
  const std::string key = KeyOf(kind);
  const std::string object = fmt::format("{} {}", ArticleOf(kind), WordOf(kind));
  AddAdding();
  Add("rename", fmt::format("Rename {}", object),
      fmt::format("{} rename {} {}", key, words.sample, words.new_name),
      [kind](auto& session, auto& all) { return RenameObject(session, kind, all); })
      .add_option("NAME", arguments_->other, "Its new name")
      ->required();
  if (kind == Kind::kAp) {
    Add("move", "Move an AP to another server", "ap move Ivanov North", MoveAp)
        .add_option("SERVER", arguments_->other, "The server: its name or id:NUMBER")
        ->required();
  }
  Add("delete", fmt::format("Delete {} with {}", object, words.goes),
      fmt::format("{} delete {} --yes", key, words.sample),
      [kind](auto& session, auto& all) { return DeleteObject(session, kind, all); });
  AddListing();
  Add("show", fmt::format("Show one {}", WordOf(kind)), fmt::format("{} show {}", key, words.shown),
      [kind](auto& session, auto& all) { return ShowObject(session, kind, all); });
  if (words.linked != nullptr) AddLinking();
  line.AddDryRun(group_);
}

void ObjectFamily::AddAdding() {
  const char* const to = kind_ == Kind::kAp ? " to a server" : "";
  CLI::App& add = AddBare(
      "add", fmt::format("Add {} {}{} and print its id", ArticleOf(kind_), WordOf(kind_), to),
      fmt::format("{} add {}", KeyOf(kind_), FamilyWordsOf(kind_).adding),
      [kind = kind_](auto& session, auto& all) { return AddObject(session, kind, all); });
  if (kind_ == Kind::kAp) {
    add.add_option("SERVER", arguments_->other, "The server: its name or id:NUMBER")->required();
  }
  add.add_option("NAME", arguments_->object, "Its name")->required();
  if (IsNode(kind_)) {
    CommandLine::AddApplicationsOption(add, arguments_->applications, "--app", "Its applications");
  }
  if (kind_ == Kind::kServer) {
    add.add_option("--value", arguments_->value, "Its value, 0 to 65535; it stays as given here")
        ->capture_default_str();
  } else if (kind_ == Kind::kAp) {
    add.add_flag("--allow-duplicate", arguments_->flag, "Add it also when another AP has the name");
  }
}

void ObjectFamily::AddListing() {
  const std::string key = KeyOf(kind_);
  const char* const more = kind_ == Kind::kServer ? "\nserver list --app kc"
                           : kind_ == Kind::kAp   ? "\nap list Center --app kc"
                                                  : "";
  CLI::App& list =
      AddBare("list", FamilyWordsOf(kind_).listing, fmt::format("{} list{}", key, more),
              [kind = kind_](auto& session, auto& all) { return ListObjects(session, kind, all); });
  if (kind_ == Kind::kAp) {
    list.add_option("SERVER", arguments_->other, "The server: its name or id:NUMBER");
  }
  if (IsNode(kind_)) {
    CommandLine::AddApplicationsOption(list, arguments_->applications, "--app",
                                       "Only those that have all these applications");
  }
}

void ObjectFamily::AddLinking() {
  for (const bool wanted : {true, false}) {
    const std::string name = wanted ? "link" : "unlink";
    CLI::App& command =
        Add(name,
            wanted ? fmt::format("Link two {}", WordOfAll(kind_))
                   : fmt::format("Take the link of two {} away", WordOfAll(kind_)),
            fmt::format("{} {} {}", KeyOf(kind_), name, FamilyWordsOf(kind_).linked),
            [kind = kind_, wanted](auto& session, auto& all) {
              return LinkObjects(session, kind, all, wanted);
            });
    command.add_option("OTHER", arguments_->other, fmt::format("The other {}", WordOf(kind_)))
        ->type_name(FamilyWordsOf(kind_).place)
        ->required();
  }
}

CLI::App& ObjectFamily::Add(const std::string& name, const std::string& description,
                            const std::string& examples, ObjectAction action) {
  CLI::App& command = AddBare(name, description, examples, std::move(action));
  command
      .add_option(FamilyWordsOf(kind_).place, arguments_->object,
                  fmt::format("The {}: its name or id:NUMBER", WordOf(kind_)))
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
    const Object now = Reload(session, object.kind, object.id);
    session.Out().Document(
        {{"changed", changed}, {KeyOf(now.kind), ObjectWriter(session).JsonOf(now)}});
  }
  return kExitDone;
}

void AddServerCommands(CommandLine& line) { ObjectFamily(line, Kind::kServer); }
void AddApCommands(CommandLine& line) { ObjectFamily(line, Kind::kAp); }

}  // namespace ncc::tool

// ap add, rename, move, delete, list, show
#include <memory>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/text.h"
#include "network/nodes.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string ap;
  std::string server;
  std::string name;
  std::vector<std::string> applications;
  bool allow_duplicate = false;
};

void RefuseTaken(CNCCNet& net, const std::string& name, std::uint32_t except) {
  const auto holder = ApByName(net, name);
  if (!holder || holder->id == except) return;
  throw Failure(fmt::format("an AP is named {} already (id:{}, at the server \"{}\")",
                            Quoted(*holder), holder->id,
                            PrintableName(ServerNameOf(net, *holder))));
}

int Add(Session& session, const Arguments& arguments) {
  const std::string name = RequireName(arguments.name);
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  const Node server = FindServer(session, arguments.server);
  CNCCNet& net = session.Net();
  if (!arguments.allow_duplicate) RefuseTaken(net, name, 0);
  const unsigned long id = net.AddAP(server.id, name.c_str(), mask);
  if (id == 0) throw session.Refusal(fmt::format("the AP \"{}\" was not added", arguments.name));
  const Node ap = Reload(net, id);
  session.Out().Say(fmt::format("Added the AP {} to the server {}, address {}.", Quoted(ap),
                                Quoted(server), AddressOf(net, ap.id)));
  if (session.IsJson()) {
    NodeWriter(session).Show(ap);
  } else {
    session.Out().Line(fmt::format("id:{}", id));
  }
  return kExitDone;
}

int Rename(Session& session, const Arguments& arguments) {
  const std::string name = RequireName(arguments.name);
  const Node ap = FindAp(session, arguments.ap);
  CNCCNet& net = session.Net();
  RefuseTaken(net, name, ap.id);
  Batch batch(session);
  // A name in another letter case counts as taken by the AP itself.
  if (FoldName(ap.name) == FoldName(name)) RenameAside(session, ap);
  if (!net.ModifyAP(ap.id, name.c_str())) {
    throw session.Refusal(fmt::format("the AP {} was not renamed", Quoted(ap)));
  }
  batch.Keep();
  session.Out().Say(fmt::format("Renamed the AP {} to \"{}\".", Quoted(ap), PrintableName(name)));
  if (session.IsJson()) NodeWriter(session).Show(Reload(net, ap.id));
  return kExitDone;
}

int Move(Session& session, const Arguments& arguments) {
  const Node ap = FindAp(session, arguments.ap);
  const Node server = FindServer(session, arguments.server);
  CNCCNet& net = session.Net();
  const bool moves = ap.server_id != server.id;
  // Moving to the same server would still carry the AP to the end of its list.
  if (moves && !net.ChangeSrv(ap.id, server.id)) {
    throw session.Refusal(fmt::format("the AP {} was not moved", Quoted(ap)));
  }
  session.Out().Say(
      moves ? fmt::format("Moved the AP {} to the server {}.", Quoted(ap), Quoted(server))
            : fmt::format("The AP {} is at the server {} already.", Quoted(ap), Quoted(server)));
  if (session.IsJson()) NodeWriter(session).Show(Reload(net, ap.id));
  return kExitDone;
}

int Delete(Session& session, const Arguments& arguments) {
  const Node ap = FindAp(session, arguments.ap);
  if (const std::string loss = LossOf(session.Net(), ap); !loss.empty()) session.Confirm(loss);
  const Json document = {{"deleted", NodeWriter(session).Describe(ap)}};
  Batch batch(session);
  if (!DeleteAp(session, ap)) {
    throw session.Refusal(fmt::format("the AP {} was not deleted", Quoted(ap)));
  }
  batch.Keep();
  session.Out().Say(fmt::format("Deleted the AP {}.", Quoted(ap)));
  if (session.IsJson()) session.Out().Document(document);
  return kExitDone;
}

int List(Session& session, const Arguments& arguments) {
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  CNCCNet& net = session.Net();
  std::vector<Node> aps = arguments.server.empty()
                              ? ListAps(net)
                              : ListApsOf(net, FindServer(session, arguments.server).id);
  std::erase_if(aps, [mask](const Node& ap) { return (ap.flags & mask) != mask; });
  NodeWriter writer(session);
  Output& out = session.Out();
  if (out.IsJson()) {
    out.List({}, "aps", aps, [&writer](const Node& ap) { return writer.Describe(ap); });
    return kExitDone;
  }
  if (aps.empty()) {
    out.Say("There are no such APs.");
    return kExitDone;
  }
  Table table = {NodeWriter::ApHeading()};
  for (const Node& ap : aps) table.push_back(writer.ApRow(ap));
  out.PrintTable(table);
  return kExitDone;
}

int Show(Session& session, const Arguments& arguments) {
  const Node ap = FindAp(session, arguments.ap);
  NodeWriter(session).Show(ap);
  return kExitDone;
}

using Action = int (*)(Session&, const Arguments&);

}  // namespace

void AddApCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("ap", "Subscriber points");
  auto arguments = std::make_shared<Arguments>();
  const auto add_action = [&](const char* name, const char* description, const char* example,
                              Action action) -> CLI::App& {
    CLI::App& command = CommandLine::AddCommand(group, name, description, example);
    line.OnRun(command,
               [arguments, action](Session& session) { return action(session, *arguments); });
    return command;
  };
  const auto add_ap = [&](CLI::App& command) {
    command.add_option("AP", arguments->ap, "The AP: its name or id:NUMBER")->required();
  };
  const auto add_server = [&](CLI::App& command) {
    return command.add_option("SERVER", arguments->server, "The server: its name or id:NUMBER");
  };

  CLI::App& add = add_action("add", "Add an AP to a server and print its id",
                             "ap add Center Ivanov --app mail,files", Add);
  add_server(add)->required();
  add.add_option("NAME", arguments->name, "Its name")->required();
  add.add_option("--app", arguments->applications, "Its applications")
      ->delimiter(',')
      ->allow_extra_args(false);
  add.add_flag("--allow-duplicate", arguments->allow_duplicate,
               "Add it also when another AP has the name");

  CLI::App& rename = add_action("rename", "Rename an AP", "ap rename Ivanov \"Ivanov A.\"", Rename);
  add_ap(rename);
  rename.add_option("NAME", arguments->name, "Its new name")->required();

  CLI::App& move = add_action("move", "Move an AP to another server", "ap move Ivanov North", Move);
  add_ap(move);
  add_server(move)->required();

  add_ap(add_action("delete", "Delete an AP with its links", "ap delete Ivanov --yes", Delete));

  CLI::App& list = add_action("list", "List all APs by id, or those of a server in its order",
                              "ap list\nap list Center --app kc", List);
  add_server(list);
  list.add_option("--app", arguments->applications, "Only those that have all these applications")
      ->delimiter(',')
      ->allow_extra_args(false);

  add_ap(add_action("show", "Show one AP", "ap show id:12", Show));
}

}  // namespace ncc::tool

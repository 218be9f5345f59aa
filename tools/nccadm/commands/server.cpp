// server add, rename, delete, list, show, link, unlink
#include <memory>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/link_command.h"
#include "console/text.h"
#include "network/nodes.h"
#include "network/objects.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string server;
  std::string other;
  std::vector<std::string> applications;
  std::uint16_t value = 10;
};

void RefuseTaken(CNCCNet& net, const std::string& name, std::uint32_t except) {
  const auto holder = ServerByName(net, name);
  if (!holder || holder->id == except) return;
  throw Failure(fmt::format("a server is named {} already (id:{})", Quoted(*holder), holder->id));
}

int Add(Session& session, const Arguments& arguments) {
  const std::string name = RequireName(arguments.server);
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  CNCCNet& net = session.Net();
  RefuseTaken(net, name, 0);
  const unsigned long id = net.AddServer(name.c_str(), mask, arguments.value);
  if (id == 0) {
    throw session.Refusal(fmt::format("the server \"{}\" was not added", arguments.server));
  }
  const Node server = Reload(net, id);
  session.Out().Say(
      fmt::format("Added the server {}, address {}.", Quoted(server), AddressOf(net, server.id)));
  if (session.IsJson()) {
    NodeWriter(session).Show(server);
  } else {
    session.Out().Line(fmt::format("id:{}", id));
  }
  return kExitDone;
}

int Rename(Session& session, const Arguments& arguments) {
  const std::string name = RequireName(arguments.other);
  const Node server = FindServer(session, arguments.server);
  CNCCNet& net = session.Net();
  RefuseTaken(net, name, server.id);
  Batch batch(session);
  // A name in another letter case counts as taken by the server itself.
  if (FoldName(server.name) == FoldName(name)) RenameAside(session, server);
  if (!net.ModifyServer(server.id, name.c_str())) {
    throw session.Refusal(fmt::format("the server {} was not renamed", Quoted(server)));
  }
  batch.Keep();
  session.Out().Say(
      fmt::format("Renamed the server {} to \"{}\".", Quoted(server), PrintableName(name)));
  if (session.IsJson()) NodeWriter(session).Show(Reload(net, server.id));
  return kExitDone;
}

std::string CountAps(const Node& server) {
  return fmt::format("{} AP{}", server.ap_count, server.ap_count == 1 ? "" : "s");
}

int Delete(Session& session, const Arguments& arguments) {
  const Node server = FindServer(session, arguments.server);
  if (const std::string loss = LossOf(session.Net(), server); !loss.empty()) session.Confirm(loss);
  const Json document = {{"deleted", NodeWriter(session).Describe(server)}};
  if (!session.Net().DeleteServer(server.id)) {
    throw session.Refusal(fmt::format("the server {} was not deleted", Quoted(server)));
  }
  session.Out().Say(
      fmt::format("Deleted the server {} with {}.", Quoted(server), CountAps(server)));
  if (session.IsJson()) session.Out().Document(document);
  return kExitDone;
}

int List(Session& session, const Arguments& arguments) {
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  std::vector<Node> servers = ListServers(session.Net());
  std::erase_if(servers, [mask](const Node& server) { return (server.flags & mask) != mask; });
  NodeWriter writer(session);
  Output& out = session.Out();
  if (out.IsJson()) {
    out.List({}, "servers", servers, [&writer](const Node& one) { return writer.Describe(one); });
    return kExitDone;
  }
  if (servers.empty()) {
    out.Say("There are no such servers.");
    return kExitDone;
  }
  Table table = {NodeWriter::ServerHeading()};
  for (const Node& server : servers) table.push_back(writer.ServerRow(server));
  out.PrintTable(table);
  return kExitDone;
}

constexpr LinkWords kWords = {"server", "server", "servers", "servers"};

int LinkServers(Session& session, const Arguments& arguments, bool wanted) {
  const Node one = FindServer(session, arguments.server);
  const Node other = FindServer(session, arguments.other);
  CNCCNet& net = session.Net();
  const auto set = [&](bool link) {
    return link ? net.LinkSrvToSrv(one.id, other.id) : net.DeleteLink(one.id, other.id);
  };
  const auto describe = [&] {
    NodeWriter writer(session);
    return Json{writer.Describe(one), writer.Describe(other)};
  };
  const bool linked = HasId(ListLinked(net, one.id), other.id);
  return SetLink(session, kWords,
                 {Quoted(one), Quoted(other), one.id == other.id, linked, set, describe}, wanted);
}

using Action = int (*)(Session&, const Arguments&);

CLI::App& AddAction(CommandLine& line, CLI::App& group, const char* name, const char* description,
                    const char* example, const std::shared_ptr<Arguments>& arguments,
                    Action action) {
  CLI::App& command = CommandLine::AddCommand(group, name, description, example);
  line.OnRun(command,
             [arguments, action](Session& session) { return action(session, *arguments); });
  return command;
}

}  // namespace

void AddServerCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("server", "Servers and the links between them");
  auto arguments = std::make_shared<Arguments>();
  const auto add_server = [&arguments](CLI::App& command) {
    command.add_option("SERVER", arguments->server, "The server: its name or id:NUMBER")
        ->required();
  };

  CLI::App& add = AddAction(line, group, "add", "Add a server and print its id",
                            "server add Center --app ncc --value 10", arguments, Add);
  add.add_option("NAME", arguments->server, "Its name")->required();
  add.add_option("--app", arguments->applications, "Its applications")
      ->delimiter(',')
      ->allow_extra_args(false);
  add.add_option("--value", arguments->value, "Its value, 0 to 65535; it stays as given here")
      ->capture_default_str();

  CLI::App& rename = AddAction(line, group, "rename", "Rename a server",
                               "server rename Center \"City centre\"", arguments, Rename);
  add_server(rename);
  rename.add_option("NAME", arguments->other, "Its new name")->required();

  CLI::App& remove = AddAction(line, group, "delete", "Delete a server with its APs and links",
                               "server delete Center --yes", arguments, Delete);
  add_server(remove);

  CLI::App& list = AddAction(line, group, "list", "List the servers in the order of their adding",
                             "server list\nserver list --app kc", arguments, List);
  list.add_option("--app", arguments->applications, "Only those that have all these applications")
      ->delimiter(',')
      ->allow_extra_args(false);

  CLI::App& show = CommandLine::AddCommand(group, "show", "Show one server", "server show id:1");
  add_server(show);
  line.OnRun(show, [arguments](Session& session) {
    const Node server = FindServer(session, arguments->server);
    NodeWriter(session).Show(server);
    return kExitDone;
  });

  AddLinkCommands(kWords, "Center North",
                  [&](const auto& name, const auto& description, const auto& example, bool wanted) {
                    CLI::App& command = CommandLine::AddCommand(group, name, description, example);
                    add_server(command);
                    command.add_option("OTHER", arguments->other, "The other server")->required();
                    line.OnRun(command, [arguments, wanted](Session& session) {
                      return LinkServers(session, *arguments, wanted);
                    });
                  });
}

}  // namespace ncc::tool

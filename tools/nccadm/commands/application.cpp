// app list, set, nodes
#include <memory>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/text.h"
#include "network/applications.h"
#include "network/changes.h"
#include "network/object_writer.h"
#include "network/reference.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string node;
  std::vector<std::string> applications;
  std::vector<std::string> added;
  std::vector<std::string> removed;
  bool none = false;
  bool any = false;
  bool all = false;
  int settings = -1;
};

int ListNames(Session& session) {
  const std::vector<std::string>& names = session.Apps().Names();
  Output& out = session.Out();
  Json all = Json::array();
  Table table = {{"BIT", "MASK", "NAME"}};
  for (std::size_t bit = 0; bit < names.size(); ++bit) {
    all.push_back({{"number", bit + 1}, {"mask", 1U << bit}, {"name", names[bit]}});
    table.push_back({std::to_string(bit), fmt::format("0x{:X}", 1U << bit), names[bit]});
  }
  if (out.IsJson()) {
    out.Document({{"applications", std::move(all)}});
  } else {
    out.PrintTable(table);
  }
  return kExitDone;
}

int List(Session& session, const Arguments& arguments) {
  session.OnlyRead();
  if (arguments.node.empty()) {
    if (session.ShowsChosen()) CommandLine::RefuseAt("app list");
    return ListNames(session);
  }
  const Object node = FindNode(session, arguments.node);
  if (session.IsJson()) {
    ObjectWriter(session).Show(node);
    return kExitDone;
  }
  const std::vector<std::string> names = session.Apps().NamesOf(node.flags);
  for (const std::string& name : names) session.Out().Line(name);
  if (names.empty()) session.Out().Say(fmt::format("{} has no applications.", Quoted(node)));
  return kExitDone;
}

void CheckSetUsage(const Arguments& arguments) {
  const bool replaces = arguments.none || !arguments.applications.empty();
  const bool edits = !arguments.added.empty() || !arguments.removed.empty();
  if (replaces && edits) {
    throw Failure("a whole set of applications and --add or --remove exclude each other",
                  "'nccadm app set --help' shows the forms.", kExitUsage);
  }
  if (arguments.none && !arguments.applications.empty()) {
    throw Failure("--none and names of applications exclude each other", {}, kExitUsage);
  }
  if (!replaces && !edits && arguments.settings < 0) {
    throw Failure("nothing is said about the applications",
                  "Name them, or give --none, --add, --remove or --settings.", kExitUsage);
  }
}

int Set(Session& session, const Arguments& arguments) {
  CheckSetUsage(arguments);
  const Applications& known = session.Apps();
  const std::uint32_t named = known.ParseAll(arguments.applications);
  const std::uint32_t added = known.ParseAll(arguments.added);
  const std::uint32_t removed = known.ParseAll(arguments.removed);
  Object node = FindNode(session, arguments.node);
  const bool replaces = arguments.none || !arguments.applications.empty();
  node.flags = replaces ? named : (node.flags | added) & ~removed;
  if (arguments.settings >= 0) node.settings = static_cast<std::uint8_t>(arguments.settings);
  if (!Register(session.Net(), node)) {
    throw session.Refusal(fmt::format("the applications of {} were not set", Quoted(node)));
  }
  const std::vector<std::string> now = known.NamesOf(node.flags);
  session.Out().Say(
      fmt::format("{} has {}.", Quoted(node),
                  now.empty() ? "no applications" : fmt::format("{}", fmt::join(now, ", "))));
  if (session.IsJson()) ObjectWriter(session).Show(node);
  return kExitDone;
}

int ListNodes(Session& session, const Arguments& arguments) {
  session.OnlyRead();
  const std::uint32_t mask = session.Apps().ParseAll(arguments.applications);
  std::vector<Object> nodes = session.Shown().ServersAndAps();
  std::erase_if(nodes, [&](const Object& node) {
    return arguments.any ? (node.flags & mask) == 0 : (node.flags & mask) != mask;
  });
  ObjectWriter(session).ShowMixed(nodes, "nodes", "There are no such servers and APs.");
  return kExitDone;
}

}  // namespace

void AddApplicationCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("app", "Applications of servers and APs");
  line.AddDryRun(group);
  auto arguments = std::make_shared<Arguments>();

  CLI::App& list = line.AddCommand(
      group, "list", "List all applications with their bits, or those of one server or AP",
      "app list\napp list Center", arguments, List);
  list.add_option("NODE", arguments->node, "The server or AP: its name or id:NUMBER");

  CLI::App& set = line.AddCommand(
      group, "set", "Give a server or AP exactly these applications, or change single ones",
      "app set Center ncc mail 0x20000\napp set Center --add kc --remove mail\napp set Center "
      "--none",
      arguments, Set);
  set.add_option("NODE", arguments->node, "The server or AP: its name or id:NUMBER")->required();
  set.add_option("APP", arguments->applications, "Names of applications, or masks as numbers")
      ->delimiter(',');
  CommandLine::AddApplicationsOption(set, arguments->added, "--add", "Add these, keep the others");
  CommandLine::AddApplicationsOption(set, arguments->removed, "--remove",
                                     "Remove these, keep the others");
  set.add_flag("--none", arguments->none, "Remove all");
  set.add_option("--settings", arguments->settings, "Set the settings byte too")
      ->check(CLI::Range(0, 255));

  CLI::App& nodes =
      line.AddCommand(group, "nodes", "List the servers and APs that have applications",
                      "app nodes kc\napp nodes ncc kc --any", arguments, ListNodes);
  nodes.add_option("APP", arguments->applications, "Names of applications, or masks as numbers")
      ->delimiter(',')
      ->required();
  CLI::Option* any =
      nodes.add_flag("--any", arguments->any, "Those that have at least one of them");
  nodes.add_flag("--all", arguments->all, "Those that have all of them; this is the default")
      ->excludes(any);
}

}  // namespace ncc::tool

// tree, find, show
#include "commands/view.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/nearest.h"
#include "console/text.h"
#include "network/network.h"
#include "network/nodes.h"
#include "network/object_tree.h"
#include "network/object_writer.h"
#include "network/reference.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// The servers that are asked for, each with its APs.
std::vector<ServerView> ListTree(Session& session, const TreeArguments& arguments) {
  std::vector<ServerView> tree;
  View& view = session.Shown();
  const std::uint32_t only =
      arguments.server.empty() ? 0 : FindServer(session, arguments.server).id;
  if (arguments.depth == 0) return tree;
  for (Node& server : view.Servers()) {
    if (only != 0 && server.id != only) continue;
    std::vector<Node> aps;
    if (arguments.depth > 1) aps = view.ApsOf(server.id);
    tree.push_back({std::move(server), std::move(aps), {}});
  }
  return tree;
}

void PrintTree(Session& session, const std::vector<ServerView>& tree) {
  View& view = session.Shown();
  Output& out = session.Out();
  const auto line = [&](const char* branch, const Node& node) {
    out.Line(fmt::format("{}{}  {}", branch, out.Paint(Style::kName, PrintableName(node.name)),
                         out.Paint(Style::kFaint, view.AddressOf(node.id))));
  };
  out.Line(fmt::format("network 0x{:04X}", view.Number()));
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const ServerView& server = tree[i];
    const bool last = i + 1 == tree.size();
    line(last ? "└─ " : "├─ ", server.entry);
    for (std::size_t j = 0; j < server.aps.size(); ++j) {
      const bool last_ap = j + 1 == server.aps.size();
      line(last ? (last_ap ? "   └─ " : "   ├─ ") : (last_ap ? "│  └─ " : "│  ├─ "), server.aps[j]);
    }
  }
}

void ListTreeJson(Session& session, const std::vector<ServerView>& tree, int depth) {
  NodeWriter writer(session);
  const auto describe = [&](const ServerView& one) {
    Json server = writer.Describe(one.entry);
    if (depth < 2) return server;
    server["children"] = Json::array();
    for (const Node& ap : one.aps) server["children"].push_back(writer.Describe(ap));
    return server;
  };
  session.Out().List({{"network", session.Shown().Number()}}, "servers", tree, describe);
}

// Whether the text is the object's id, or its address of four or eight hexadecimal digits.
bool IsNumberOf(View& view, std::uint32_t id, const std::string& text) {
  if (text.starts_with("id:")) return ParseNumber(text.substr(3), 0xFFFFFFFF) == id;
  const std::string address = view.AddressOf(id);
  const std::string wanted = FoldName(text);
  const std::string folded = FoldName(address);
  return folded == wanted || (wanted.size() == 4 && folded.ends_with(wanted) && folded.size() == 8);
}

void ShowMatches(Session& session, const std::vector<Node>& nodes,
                 const std::vector<Object>& objects) {
  // Servers and APs alone keep the columns that only they have.
  if (!nodes.empty() && objects.empty()) return NodeWriter(session).ShowMixed(nodes, "matches");
  NodeWriter node_writer(session);
  ObjectWriter object_writer(session);
  View& view = session.Shown();
  Output& out = session.Out();
  Table table = {{"ID", "ADDRESS", "KIND", "NAME"}};
  if (session.IsJson()) out.BeginList({}, "matches");
  const auto add = [&](const auto& object, const char* word, auto& writer) {
    if (session.IsJson()) {
      out.ListItem(writer.Describe(object));
    } else {
      table.push_back({fmt::format("id:{}", object.id), view.AddressOf(object.id), word,
                       PrintableName(object.name)});
    }
  };
  for (const Node& node : nodes) add(node, node.is_server ? "server" : "AP", node_writer);
  for (const Object& object : objects) add(object, WordOf(object.kind), object_writer);
  if (session.IsJson()) return out.EndList();
  if (table.size() == 1) return out.Say("There are no such objects.");
  out.PrintTable(table);
}

Failure NothingNamed(const std::string& text, const std::vector<Node>& nodes,
                     const std::vector<Object>& objects) {
  std::vector<std::string> names;
  for (const Node& node : nodes) names.push_back(node.name);
  for (const Object& object : objects) names.push_back(object.name);
  const std::string closest = ClosestMatch(BytesFromUtf8(text).value_or(text), names);
  return Failure(fmt::format("there is no object \"{}\"", text),
                 closest.empty() ? "'nccadm find' looks for a part of a name."
                                 : fmt::format("Did you mean \"{}\"?", PrintableName(closest)));
}

Failure SeveralNamed(View& view, const std::string& text, const std::vector<Node>& nodes,
                     const std::vector<Object>& objects) {
  std::vector<std::string> ids;
  for (const Node& node : nodes) ids.push_back(DescribeId(view, node));
  for (const Object& object : objects) {
    ids.push_back(fmt::format("id:{} (a {})", object.id, WordOf(object.kind)));
  }
  return Failure(fmt::format("{} objects are named \"{}\"", ids.size(), text),
                 fmt::format("Give the id of the one that is meant: {}.", fmt::join(ids, ", ")));
}

}  // namespace

int ShowTree(Session& session, const TreeArguments& arguments) {
  if (arguments.deps || arguments.groups) {
    ShowObjectTree(session, arguments.deps ? Kind::kDep : Kind::kGroup, arguments.depth);
    return kExitDone;
  }
  const std::vector<ServerView> tree = ListTree(session, arguments);
  if (session.IsJson()) {
    ListTreeJson(session, tree, arguments.depth);
  } else {
    PrintTree(session, tree);
  }
  return kExitDone;
}

void AddTreeOptions(CLI::App& command, TreeArguments& arguments) {
  CLI::Option* server =
      command.add_option("--server", arguments.server, "Only this server: its name or id:NUMBER");
  command
      .add_option("--depth", arguments.depth,
                  "1 for the servers, 2 for their APs too; 3 with --groups for users")
      ->check(CLI::Range(0, 9))
      ->capture_default_str();
  CLI::Option* deps = command.add_flag("--deps", arguments.deps, "Deps and their users instead");
  CLI::Option* groups = command.add_flag("--groups", arguments.groups,
                                         "Node groups with their nodes and Deps instead");
  deps->excludes(server, groups);
  groups->excludes(server);
}

int FindObjects(Session& session, const std::string& text) {
  View& view = session.Shown();
  std::vector<Node> nodes = view.ServersAndAps();
  const auto bytes = BytesFromUtf8(text);
  const std::string pattern = bytes ? FoldForSearch(*bytes) : std::string();
  const auto differs = [&](const auto& object) {
    const bool named = bytes && MatchesPattern(pattern, FoldForSearch(object.name));
    return !named && !IsNumberOf(view, object.id, text);
  };
  std::erase_if(nodes, differs);
  std::vector<Object> objects;
  for (const Kind kind : kObjectKinds) {
    std::vector<Object> all = view.Objects(kind);
    std::erase_if(all, differs);
    objects.insert(objects.end(), all.begin(), all.end());
  }
  ShowMatches(session, nodes, objects);
  return nodes.empty() && objects.empty() ? kExitFailed : kExitDone;
}

int ShowObject(Session& session, const std::string& text) {
  const Reference reference = ParseReference(text);
  View& view = session.Shown();
  const std::vector<Node> all_nodes = view.ServersAndAps();
  std::vector<Object> all_objects;
  for (const Kind kind : kObjectKinds) {
    std::vector<Object> of_kind = view.Objects(kind);
    std::move(of_kind.begin(), of_kind.end(), std::back_inserter(all_objects));
  }
  std::vector<Node> nodes;
  std::vector<Object> objects;
  const auto collect = [&](const auto& is_meant) {
    std::copy_if(all_nodes.begin(), all_nodes.end(), std::back_inserter(nodes), is_meant);
    std::copy_if(all_objects.begin(), all_objects.end(), std::back_inserter(objects), is_meant);
  };
  const std::string wanted = FoldName(reference.name);
  if (!reference.id) collect([&](const auto& one) { return FoldName(one.name) == wanted; });
  // An address only where nothing has the name.
  if (nodes.empty() && objects.empty() && !text.starts_with("name:")) {
    collect([&](const auto& one) { return IsNumberOf(view, one.id, text); });
  }
  if (nodes.empty() && objects.empty()) throw NothingNamed(text, all_nodes, all_objects);
  if (nodes.size() + objects.size() > 1) throw SeveralNamed(view, text, nodes, objects);
  if (objects.empty()) {
    NodeWriter(session).Show(nodes.front());
  } else {
    ObjectWriter(session).Show(objects.front());
  }
  return kExitDone;
}

void AddViewCommands(CommandLine& line) {
  auto arguments = std::make_shared<TreeArguments>();
  CLI::App& tree = CommandLine::AddCommand(
      line.Root(), "tree", "Show the network as a tree",
      "tree\ntree --depth 1\ntree --server Center\ntree --groups --depth 3");
  AddTreeOptions(tree, *arguments);
  line.OnRun(tree, [arguments](Session& session) { return ShowTree(session, *arguments); });

  auto text = std::make_shared<std::string>();
  CLI::App& find = CommandLine::AddCommand(
      line.Root(), "find",
      "Find objects by a part of the name, a pattern with * and ?, an id or an address; "
      "exit code 1 when there is none",
      "find ivan\nfind 'North*'\nfind id:12\nfind 001A000C");
  find.add_option("TEXT", *text, "What to look for")->required();
  line.OnRun(find, [text](Session& session) { return FindObjects(session, *text); });

  CLI::App& show = CommandLine::AddCommand(
      line.Root(), "show", "Show all that is known about one object of whichever kind",
      "show Ivanov\nshow id:12\nshow 001A000C");
  show.add_option("OBJECT", *text, "Its name, id:NUMBER or its address")->required();
  line.OnRun(show, [text](Session& session) { return ShowObject(session, *text); });
}

}  // namespace ncc::tool

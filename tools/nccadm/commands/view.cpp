// tree, find, show
#include "commands/view.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <vector>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/text.h"
#include "network/object_writer.h"
#include "network/reference.h"
#include "network/tree.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// Whether the text is the object's id, or its address of four or eight hexadecimal digits.
bool IsNumberOf(View& view, std::uint32_t id, const std::string& text) {
  if (text.starts_with("id:")) return ParseNumber(text.substr(3), 0xFFFFFFFF) == id;
  const std::string address = view.AddressOf(id);
  const std::string wanted = FoldName(text);
  const std::string folded = FoldName(address);
  return folded == wanted || (wanted.size() == 4 && folded.ends_with(wanted) && folded.size() == 8);
}

std::vector<Object> AllObjects(View& view) {
  std::vector<Object> objects;
  for (const Kind kind : kKinds) {
    std::vector<Object> all = view.All(kind);
    std::move(all.begin(), all.end(), std::back_inserter(objects));
  }
  return objects;
}

}  // namespace

int ShowTree(Session& session, const TreeArguments& arguments) {
  session.OnlyRead();
  const Kind kind = arguments.deps ? Kind::kDep : arguments.groups ? Kind::kGroup : Kind::kServer;
  std::vector<Object> objects;
  if (!arguments.server.empty()) {
    objects.push_back(FindObject(session, Kind::kServer, arguments.server));
  } else if (arguments.depth > 0) {
    objects = session.Shown().All(kind);
  }
  if (arguments.depth == 0) objects.clear();
  ShowTree(session, kind, objects, arguments.depth);
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
  session.OnlyRead();
  View& view = session.Shown();
  const auto bytes = BytesFromUtf8(text);
  const std::string pattern = bytes ? FoldForSearch(*bytes) : std::string();
  std::vector<Object> objects = AllObjects(view);
  std::erase_if(objects, [&](const Object& object) {
    const bool named = bytes && MatchesPattern(pattern, FoldForSearch(object.name));
    if (named || IsNumberOf(view, object.id, text)) return false;
    return !MatchesNotes(view.NotesOf(object.id), text);
  });
  ObjectWriter(session).ShowMixed(objects, "matches", "There are no such objects.");
  return objects.empty() ? kExitFailed : kExitDone;
}

int ShowObject(Session& session, const std::string& text) {
  session.OnlyRead();
  const Reference reference = ParseReference(text);
  View& view = session.Shown();
  const std::vector<Object> all = AllObjects(view);
  std::vector<Object> found;
  const auto collect = [&](const auto& is_meant) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), is_meant);
  };
  const std::string wanted = FoldName(reference.name);
  if (!reference.id) collect([&](const Object& object) { return FoldName(object.name) == wanted; });
  // An address only where nothing has the name.
  if (found.empty() && !text.starts_with("name:")) {
    collect([&](const Object& object) { return IsNumberOf(view, object.id, text); });
  }
  if (found.empty()) {
    throw UnknownName(fmt::format("there is no object \"{}\"", text), text, all,
                      "'nccadm find' looks for a part of a name.");
  }
  if (found.size() > 1) throw SeveralNamed(view, text, found);
  ObjectWriter(session).Show(found.front());
  return kExitDone;
}

void AddViewCommands(CommandLine& line) {
  auto arguments = std::make_shared<TreeArguments>();
  CLI::App& tree = line.AddCommand(
      line.Root(), "tree", "Show the network as a tree",
      "tree\ntree --depth 1\ntree --server Center\ntree --groups --depth 3", arguments, ShowTree);
  AddTreeOptions(tree, *arguments);
  tree.get_option("--server")->type_name("SERVER");

  auto text = std::make_shared<std::string>();
  CLI::App& find = line.AddCommand(
      line.Root(), "find",
      "Find objects by a part of the name or of a note, a pattern with * and ?, a tag, an id or an "
      "address; exit code 1 when there is none",
      "find ivan\nfind 'North*'\nfind tag:core\nfind id:12\nfind 001A000C", text, FindObjects);
  find.add_option("TEXT", *text, "What to look for")->required();

  CLI::App& show = line.AddCommand(line.Root(), "show",
                                   "Show all that is known about one object of whichever kind",
                                   "show Ivanov\nshow id:12\nshow 001A000C", text, ShowObject);
  show.add_option("OBJECT", *text, "Its name, id:NUMBER or its address")->required();
}

}  // namespace ncc::tool

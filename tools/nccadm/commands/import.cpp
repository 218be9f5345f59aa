// import-csv
#include <algorithm>
#include <memory>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/encoding.h"
#include "console/failure.h"
#include "console/nearest.h"
#include "console/text.h"
#include "description/csv.h"
#include "description/description.h"
#include "files/files.h"
#include "network/applications.h"
#include "network/network.h"
#include "network/object.h"
#include "plan/run.h"

namespace ncc::tool {
namespace {

struct Column {
  const char* name;
  bool required;
};

// A table whose first row says what stands in which column.
class CsvTable {
 public:
  CsvTable(std::string_view text, const std::vector<Column>& columns, ProblemList& problems)
      : rows_(ReadCsv(text, problems)) {
    if (!problems.Empty()) return;
    if (rows_.empty()) {
      problems.Add({}, "the file is empty");
      return;
    }
    ReadHeader(columns, problems);
    has_header_ = problems.Empty();
    if (has_header_) CheckWidths(problems);
  }

  // Without one there is no sense in reading on.
  bool HasHeader() const { return has_header_; }

  // Calls `read` with each row below the header.
  template <class Read>
  void ForEachRow(Read read) const {
    for (std::size_t i = 1; i < rows_.size(); ++i) read(rows_[i]);
  }

  // An empty cell where the table has no such column.
  const CsvCell& At(const CsvRow& row, const char* column) const {
    static const CsvCell kEmpty;
    const auto position = positions_.find(column);
    return position == positions_.end() ? kEmpty : row[position->second];
  }

 private:
  void ReadHeader(const std::vector<Column>& columns, ProblemList& problems) {
    std::vector<std::string> known;
    for (const Column& column : columns) known.emplace_back(column.name);
    for (std::size_t i = 0; i < rows_[0].size(); ++i) {
      const CsvCell& cell = rows_[0][i];
      const std::string name = FoldName(cell.text);
      if (std::find(known.begin(), known.end(), name) == known.end()) {
        problems.Add(cell.place, fmt::format("unknown column \"{}\"; known: {}", cell.text,
                                             fmt::join(known, ", ")));
      } else if (!positions_.emplace(name, i).second) {
        problems.Add(cell.place, fmt::format("the column \"{}\" is there twice", name));
      }
    }
    if (positions_.empty()) {
      problems = {};
      problems.Add(rows_[0].front().place,
                   fmt::format("the first line has to name the columns, such as {}, and names none",
                               fmt::join(known, ",")));
      return;
    }
    for (const Column& column : columns) {
      if (!column.required || positions_.contains(column.name)) continue;
      problems.Add(rows_[0].front().place,
                   fmt::format("the column \"{}\" is missing", column.name));
    }
  }

  // Rows of other widths are faults and dropped.
  void CheckWidths(ProblemList& problems) {
    const std::size_t width = rows_.front().size();
    const auto differs = [width](const CsvRow& row) { return row.size() != width; };
    if (rows_.size() > 2 && std::all_of(rows_.begin() + 1, rows_.end(), differs)) {
      problems.Add(rows_[1].front().place,
                   fmt::format("this line and all others have not the number of fields of the "
                               "first, {}; one character has to part the fields of all",
                               width));
      has_header_ = false;
      return;
    }
    for (const CsvRow& row : rows_) {
      if (!differs(row)) continue;
      problems.Add(row.front().place, fmt::format("{} where the first line has {}",
                                                  CountText(row.size(), "field"), width));
    }
    std::erase_if(rows_, differs);
  }

  std::vector<CsvRow> rows_;
  std::unordered_map<std::string, std::size_t> positions_;
  bool has_header_ = false;
};

// The parts of a field, each with its own place.
std::vector<CsvCell> Split(const CsvCell& cell) {
  std::vector<CsvCell> parts;
  if (cell.text.empty()) return parts;
  for (std::size_t start = 0; start <= cell.text.size();) {
    const std::size_t end = std::min(cell.text.find('|', start), cell.text.size());
    std::string part = cell.text.substr(start, end - start);
    part.erase(0, part.find_first_not_of(' '));
    part.erase(part.find_last_not_of(' ') + 1);
    parts.push_back({std::move(part), cell.place});
    start = end + 1;
  }
  return parts;
}

// What both importers do with names.
class Importer {
 public:
  Importer(const Network& network, ProblemList& problems) : network_(network), problems_(problems) {
    result_.network = network.preferences.net_number;
  }

 protected:
  bool ReadName(const CsvCell& cell, const char* what, NamePlace& result) {
    NameBytes name = BytesFromName(cell.text);
    result = {std::move(name.bytes), cell.place};
    if (!name.reason.empty()) problems_.Add(cell.place, fmt::format("{} {}", what, name.reason));
    return name.reason.empty();
  }

  bool ReadOwnName(const CsvCell& cell, const char* what, NamePlace& result) {
    if (!ReadName(cell, "the name", result)) return false;
    const auto [first, added] = seen_.emplace(FoldName(result.name), cell.place.line);
    if (!added) {
      problems_.Add(cell.place, fmt::format("the {} \"{}\" stands in line {} already", what,
                                            cell.text, first->second));
    }
    return added;
  }

  const Network& network_;
  ProblemList& problems_;
  Description result_;

 private:
  std::unordered_map<std::string, int> seen_;  // folded name, line
};

class UserImporter : private Importer {
 public:
  UserImporter(const Network& network, ProblemList& problems) : Importer(network, problems) {
    for (const GroupView& group : network.groups) groups_.emplace(group.entry.id, &group);
    for (const DepView& dep : network.deps) deps_.emplace(FoldName(dep.entry.name), &dep);
    for (const UserView& user : network.users) users_.emplace(FoldName(user.entry.name), &user);
    for (const ServerView& server : network.servers) {
      nodes_.emplace(server.entry.id, &server.entry);
      for (const Object& ap : server.aps) nodes_.emplace(ap.id, &ap);
    }
  }

  Description Run(const CsvTable& table) {
    table.ForEachRow([&](const CsvRow& row) {
      UserDescription user;
      const bool named = ReadOwnName(table.At(row, "name"), "user", user);
      for (const CsvCell& cell : Split(table.At(row, "deps"))) {
        NamePlace dep;
        if (ReadName(cell, "the Dep's name", dep)) user.deps.push_back(std::move(dep));
      }
      AddMemberships(Split(table.At(row, "nodes")), user);
      AddPrimary(user);
      if (named) result_.users.push_back(std::move(user));
    });
    return std::move(result_);
  }

 private:
  static const std::vector<std::uint32_t>& None() {
    static const std::vector<std::uint32_t> kNone;
    return kNone;
  }

  // Where the users of the Dep can work; nothing for a Dep that does not exist, which the plan
  // tells.
  const GroupView* GroupOf(const NamePlace& dep) const {
    const auto view = deps_.find(FoldName(dep.name));
    if (view == deps_.end()) return nullptr;
    const auto group = groups_.find(view->second->entry.group);
    return group == groups_.end() ? nullptr : group->second;
  }

  const std::vector<std::uint32_t>& NodesOf(const NamePlace& dep) const {
    const GroupView* group = GroupOf(dep);
    return group == nullptr ? None() : group->nodes;
  }

  // Those of one name, indexed when the first is asked for.
  const std::vector<std::uint32_t>& NodesOf(const NamePlace& dep, const std::string& folded) {
    const GroupView* group = GroupOf(dep);
    if (group == nullptr) return None();
    const auto [index, added] = nodes_by_name_.try_emplace(group->entry.id);
    if (added) {
      for (const std::uint32_t node : group->nodes) {
        index->second[FoldName(nodes_.at(node)->name)].push_back(node);
      }
    }
    const auto found = index->second.find(folded);
    return found == index->second.end() ? None() : found->second;
  }

  NodeName NameOf(std::uint32_t id, Place place) const {
    const Object& node = *nodes_.at(id);
    return {{node.name, place}, node.IsServer() ? NodeName::Sort::kServer : NodeName::Sort::kAp};
  }

  void AddMemberships(const std::vector<CsvCell>& nodes, UserDescription& user) {
    std::set<std::pair<std::string, std::uint32_t>> seen;  // folded Dep, node
    for (const CsvCell& cell : nodes) {
      const bool all = cell.text == "*";
      const std::string wanted = FoldName(BytesFromUtf8(cell.text).value_or(""));
      bool found = all;
      for (const NamePlace& dep : user.deps) {
        for (const std::uint32_t node : all ? NodesOf(dep) : NodesOf(dep, wanted)) {
          found = true;
          if (seen.emplace(FoldName(dep.name), node).second) {
            user.memberships.push_back({dep, NameOf(node, cell.place), 0});
          }
        }
      }
      if (!found) {
        problems_.Add(cell.place, fmt::format("\"{}\" is in the node group of none of the user's "
                                              "Deps",
                                              cell.text));
      }
    }
  }

  // As joining a Dep gives it, to those that have none.
  void AddPrimary(UserDescription& user) const {
    const auto known = users_.find(FoldName(user.name));
    if (known != users_.end()) {
      const Object& entry = known->second->entry;
      if (entry.primary_dep != 0 || entry.primary_node != 0) return;
    }
    if (!user.memberships.empty()) {
      user.primary = {user.memberships.front().dep, user.memberships.front().node};
      return;
    }
    for (const NamePlace& dep : user.deps) {
      if (NodesOf(dep).empty()) continue;
      user.primary = {dep, NameOf(NodesOf(dep).front(), dep.place)};
      return;
    }
  }

  std::unordered_map<std::uint32_t, const GroupView*> groups_;
  std::unordered_map<std::string, const DepView*> deps_;
  std::unordered_map<std::string, const UserView*> users_;
  std::unordered_map<std::uint32_t, const Object*> nodes_;
  using ByName = std::unordered_map<std::string, std::vector<std::uint32_t>>;  // folded
  std::unordered_map<std::uint32_t, ByName> nodes_by_name_;                    // per group
};

class ApImporter : private Importer {
 public:
  ApImporter(const Network& network, const Applications& applications, ProblemList& problems)
      : Importer(network, problems), applications_(applications) {
    for (const ServerView& server : network.servers) names_.push_back(server.entry.name);
    for (const std::string& name : names_) known_.insert(FoldName(name));
  }

  Description Run(const CsvTable& table) {
    table.ForEachRow([&](const CsvRow& row) {
      NamePlace server;
      ApDescription ap;
      const bool named = ReadOwnName(table.At(row, "name"), "AP", ap);
      ReadSettings(table.At(row, "settings"), ap);
      ReadApplications(table.At(row, "applications"), ap);
      if (ReadServer(table.At(row, "server"), server) && named) {
        ServerOf(server).aps.push_back(std::move(ap));
      }
    });
    return std::move(result_);
  }

 private:
  bool ReadServer(const CsvCell& cell, NamePlace& server) {
    if (!ReadName(cell, "the server's name", server)) return false;
    if (known_.contains(FoldName(server.name))) return true;
    // A search for nothing when the problem is only counted.
    const std::string closest =
        problems_.IsFull() ? std::string() : Utf8FromBytes(ClosestMatch(server.name, names_));
    problems_.Add(
        cell.place,
        fmt::format("there is no server \"{}\"{}", cell.text,
                    closest.empty() ? "" : fmt::format("; did you mean \"{}\"?", closest)));
    return false;
  }

  ServerDescription& ServerOf(const NamePlace& name) {
    const auto [position, added] = positions_.emplace(FoldName(name.name), result_.servers.size());
    if (added) static_cast<NamePlace&>(result_.servers.emplace_back()) = name;
    return result_.servers[position->second];
  }

  void ReadSettings(const CsvCell& cell, ApDescription& ap) {
    if (cell.text.empty()) return;
    const auto number = ParseNumber(cell.text, 0xFF);
    if (number) {
      ap.settings = static_cast<std::uint8_t>(*number);
    } else {
      problems_.Add(cell.place, fmt::format("the settings must be a number from 0 to 255, not "
                                            "\"{}\"",
                                            cell.text));
    }
  }

  void ReadApplications(const CsvCell& cell, ApDescription& ap) {
    for (const CsvCell& part : Split(cell)) {
      const auto bits = applications_.Parse(part.text);
      if (!bits) problems_.Add(part.place, applications_.Complain(part.text));
      ap.applications = ap.applications.value_or(0) | bits.value_or(0);
    }
  }

  const Applications& applications_;
  std::vector<std::string> names_;
  std::unordered_set<std::string> known_;
  std::unordered_map<std::string, std::size_t> positions_;
};

struct Arguments {
  std::string what;
  std::string file;
  std::string encoding;
};

int Import(Session& session, const Arguments& arguments) {
  const bool users = arguments.what == "users";
  session.Net();
  const std::string text =
      Utf8FromFile(ReadFile(arguments.file, kMaxYamlBytes), arguments.encoding, arguments.file);
  ProblemList problems;
  const CsvTable table(text,
                       users
                           ? std::vector<Column>{{"name", true}, {"deps", false}, {"nodes", false}}
                           : std::vector<Column>{{"name", true},
                                                 {"server", true},
                                                 {"applications", false},
                                                 {"settings", false}},
                       problems);
  const Source source{arguments.file,
                      fmt::format("{} was not imported; nothing was changed", arguments.file)};
  if (!table.HasHeader()) RefuseProblems(source, problems);
  const Network network = LoadWholeNetwork(session.Net());
  const Description description = users ? UserImporter(network, problems).Run(table)
                                        : ApImporter(network, session.Apps(), problems).Run(table);
  Plan plan = PlanFor(session, description, network, false, source, problems);
  // A table does not claim to speak of the whole network.
  for (Tally& tally : plan.tallies) tally.kept = 0;
  CarryOut(session, plan);
  ReportDone(session, plan);
  return kExitDone;
}

}  // namespace

void AddImportCommand(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& command = line.AddCommand(
      line.Root(), "import-csv",
      "Add users or APs from a table, or bring those that exist to what it says: all of it or "
      "nothing",
      "import-csv users staff.csv\nimport-csv aps rooms.csv", arguments, Import);
  line.AddDryRun(command);
  command.footer(
      "The first line names the columns, in any order; commas, semicolons or tabs part them.\n"
      "Users: name; deps, and nodes where the user is to be a member (* for every node of the\n"
      "Deps' node groups). APs: name, server; applications, settings. Several in one field are\n"
      "parted by |.\n"
      "Example:\n"
      "  nccadm import-csv users staff.csv\n\n"
      "  name;deps;nodes\n"
      "  Ivanov;Office;*\n"
      "  Petrova;Office|Archive;Center|North\n\n"
      "  nccadm import-csv aps rooms.csv\n\n"
      "  name,server,applications\n"
      "  \"Room 12, left\",Center,mail|files");
  command.add_option("KIND", arguments->what, "What the rows are")
      ->type_name("users|aps")
      ->required()
      ->check(CLI::IsMember({"users", "aps"}).description(""));
  command.add_option("FILE", arguments->file, "The table; - for standard input")->required();
  command.add_option("--encoding", arguments->encoding,
                     "What the table was saved in: utf-8, cp1251, utf-16 or another that iconv "
                     "knows; by default its mark tells, and without one it is UTF-8");
}

}  // namespace ncc::tool

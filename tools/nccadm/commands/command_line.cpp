#include "commands/command_line.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/failure.h"
#include "console/nearest.h"
#include "console/terminal.h"
#include "files/impact.h"
#include "plan/difference.h"
#include "plan/view.h"

namespace ncc::tool {
namespace {

using Family = void (*)(CommandLine&);

// In the order in which help shows them.
constexpr Family kFamilies[] = {
    AddDatabaseCommands, AddServerCommands,  AddApCommands,          AddUserCommands,
    AddDepCommands,      AddGroupCommands,   AddApplicationCommands, AddViewCommands,
    AddNoteCommand,      AddCheckCommand,    AddExplainCommand,      AddDescriptionCommands,
    AddImportCommand,    AddExportCommands,  AddExchangeCommands,    AddGenerateCommands,
    AddSendListCommand,  AddHistoryCommands, AddBatchCommand,        AddShellCommand,
    AddStampCommands,    AddPackageCommands, AddJournalCommands,     AddClusterCommands,
    AddStandbyCommands,  AddMapCommand,      AddCompletionCommand,
};

constexpr const char* kFooter =
    "Objects are named by their name or as id:NUMBER.\n"
    "Exit codes: 0 done; 1 refused or failed; 2 wrong usage; 3 a check found something;\n"
    "4 a plan holds changes; 5 done in part; 6 the database is in use;\n"
    "7 it is not known whether the change is stored; 130 interrupted.";

std::string ExampleFooter(const std::string& examples) {
  std::string footer = "Example:";
  std::istringstream lines(examples);
  for (std::string line; std::getline(lines, line);) footer += "\n  nccadm " + line;
  return footer;
}

std::string QuotedForShell(std::string_view word) {
  std::string quoted = "'";
  for (const char c : word) c == '\'' ? quoted.append("'\\''") : quoted.append(1, c);
  return quoted + "'";
}

// What was typed, without what says how and on which database.
std::string TypedCommand(int argc, char** argv) {
  const std::set<std::string_view> with_value = {"--db", "--wait", "--color", "--operator", "--at"};
  const std::set<std::string_view> alone = {"--json", "-q", "--quiet", "-y", "--yes"};
  std::string command;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (alone.contains(word) || with_value.contains(word.substr(0, word.find('=')))) {
      if (with_value.contains(word)) ++i;
      continue;
    }
    const bool is_plain = !word.empty() && word.find_first_of(" \t'\"\\") == std::string_view::npos;
    command.append(command.empty() ? "" : " ");
    command.append(is_plain ? std::string(word) : QuotedForShell(word));
  }
  return command;
}

// The end of a command that was only tried.
int TellAndDrop(Session& session) {
  const std::vector<std::uint32_t> objects = session.ChangedObjects();
  const State after = TakeState(session.Net(), objects);
  std::optional<Impact> impact;
  if (!session.FilesFolder().empty()) impact = AskImpact(session, session.FilesFolder());
  session.EndUnit(false);
  if (impact) impact->owners.Learn(session, impact->report.changes);
  const auto changes = Compare(TakeState(session.Net(), objects), after, session.Apps());
  Output& out = session.Out();
  if (out.IsJson()) {
    Json document = {{"dry_run", true}, {"changes", Json::array()}};
    for (const Change& change : changes) document["changes"].push_back(JsonOf(change));
    if (impact) document["files"] = JsonOf(*impact);
    out.Document(document);
  } else {
    PrintChanges(out, changes);
    if (impact) PrintImpact(out, *impact);
  }
  out.Say(changes.empty() ? "Nothing would change." : "Nothing was changed.");
  return changes.empty() ? kExitDone : kExitPlanned;
}

// The command that the user got to.
struct Reached {
  const CLI::App* app;
  std::string path;
};

Reached ReachedFrom(const CLI::App& root) {
  Reached reached{&root, "nccadm"};
  while (!reached.app->get_subcommands().empty()) {
    reached.app = reached.app->get_subcommands().front();
    reached.path += " " + reached.app->get_name();
  }
  return reached;
}

std::string DidYouMean(const std::vector<std::string>& found) {
  return found.empty() ? "" : fmt::format("Did you mean \"{}\"? ", fmt::join(found, "\" or \""));
}

Failure UnknownCommand(const CLI::App& root, const Reached& reached, const std::string& word) {
  constexpr std::size_t kMostNamed = 3;
  std::map<std::string, std::string> paths;
  const auto collect = [&paths](const CLI::App& app, const std::string& path) {
    for (const CLI::App* command : app.get_subcommands({})) {
      if (command->get_group().empty()) continue;
      paths.try_emplace(command->get_name(), path + " " + command->get_name());
    }
  };
  collect(*reached.app, reached.path);
  collect(root, "nccadm");
  Nearest nearest(word, kMostNamed);
  for (const auto& [name, path] : paths) nearest.Offer(name);
  std::vector<std::string> found = nearest.Found();
  for (std::string& name : found) name = paths[name];
  return Failure(fmt::format("there is no command \"{} {}\"", reached.path, word),
                 fmt::format("{}'{} --help' lists the commands.", DidYouMean(found), reached.path),
                 kExitUsage);
}

// What is said of a word that looks like an option and is none of the command's.
std::string HintAbout(const std::string& word, const CLI::App& root, const Reached& reached) {
  Nearest nearest(word.substr(0, word.find('=')));
  bool takes_names = false;
  for (const CLI::App* app : {&root, reached.app}) {
    for (const CLI::Option* option : app->get_options()) {
      takes_names = takes_names || option->get_positional();
      for (const std::string& name : option->get_lnames()) nearest.Offer("--" + name);
    }
  }
  std::string hint = DidYouMean(nearest.Found());
  if (!takes_names || !hint.empty()) return hint;
  return fmt::format("A name that begins with \"-\" stands behind \"--\", at the end: '{} -- {}'. ",
                     reached.path, word);
}

// Why the command line was refused, from what the parser could make nothing of.
Failure UsageFailure(const CLI::App& root, const std::string& what) {
  const Reached reached = ReachedFrom(root);
  std::string hint;
  for (const std::string& word : root.remaining(true)) {
    const bool is_option = word.size() > 1 && word.front() == '-';
    if (is_option) {
      hint = HintAbout(word, root, reached);
    } else if (!reached.app->get_subcommands({}).empty()) {
      return UnknownCommand(root, reached, word);
    }
    break;
  }
  if (root.remaining(true).empty() && reached.app->get_require_subcommand_min() > 0) {
    return Failure(fmt::format("'{}' needs a command", reached.path),
                   fmt::format("'{} --help' lists the commands.", reached.path), kExitUsage);
  }
  return Failure(what, fmt::format("{}'{} --help' shows the usage.", hint, reached.path),
                 kExitUsage);
}

// An empty value is mostly a variable of a script that was not set, and never the same as none.
// Only names of objects and of databases are refused where they are used.
void RefuseEmptyValues(const CLI::App& root) {
  const Reached reached = ReachedFrom(root);
  for (const CLI::App* app : {&root, reached.app}) {
    for (const CLI::Option* option : app->get_options()) {
      const std::string name = option->get_name();
      const auto& values = option->results();
      if (name == "NAME" || name == "--db" ||
          std::find(values.begin(), values.end(), "") == values.end())
        continue;
      throw Failure(fmt::format("the value of {} is empty", name),
                    fmt::format("'{} --help' shows the usage.", reached.path), kExitUsage);
    }
  }
}

}  // namespace

CommandLine::CommandLine() : app_("Administers the database of a network.", "nccadm") {
  app_.require_subcommand(1);
  app_.fallthrough();  // the commands inherit it, so that the options below may stand anywhere
  app_.footer(kFooter);
  app_.set_help_all_flag("--help-all", "Show the help of all commands");
  app_.set_version_flag("--version", "nccadm " NCCADM_VERSION, "Show the version");
  app_.add_option("--db", options_.database, "The database")
      ->type_name("DIR/NAME")
      ->envname("NCCADM_DB");
  app_.add_flag("--json", options_.json, "Print the result as one JSON document");
  app_.add_flag("-q,--quiet", options_.quiet, "Print results and errors only");
  app_.add_flag("-y,--yes", options_.yes, "Answer every question with yes");
  app_.add_option("--wait", options_.wait,
                  "How long to wait for a database that is in use: 10 on a terminal, else 0")
      ->type_name("SECONDS");
  const std::map<std::string, ColorMode> modes = {
      {"auto", ColorMode::kAuto}, {"always", ColorMode::kAlways}, {"never", ColorMode::kNever}};
  app_.add_option("--operator", options_.person,
                  "Who does it, for the history; the default is the user of the system")
      ->type_name("WHO")
      ->envname("NCCADM_OPERATOR");
  app_.add_option("--at", options_.at,
                  "Show the network of this revision or time: 12, '2026-03-01 14:02', 90m, 3h, 2d")
      ->type_name("WHEN");
  app_.add_option_function<std::string>(
          "--color",
          [this, modes](const std::string& when) {
            const auto found = modes.find(when);
            if (found == modes.end())
              throw CLI::ValidationError("--color", when + " is none of auto, always and never");
            options_.color = found->second;
          },
          "When there are colours")
      ->type_name("auto|always|never");
  // So that what is said of one command goes before what a shell says of all.
  for (CLI::Option* option : app_.get_options([](const CLI::Option*) { return true; })) {
    option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  }
}

CLI::App& CommandLine::AddGroup(const std::string& name, const std::string& description) {
  CLI::App& group = *app_.add_subcommand(name, description);
  group.require_subcommand(1);
  group.footer("'nccadm " + name + " COMMAND --help' tells more about a command.");
  return group;
}

CLI::App& CommandLine::AddCommand(CLI::App& parent, const std::string& name,
                                  const std::string& description, const std::string& examples) {
  CLI::App& command = *parent.add_subcommand(name, description);
  command.footer(ExampleFooter(examples));
  return command;
}

void CommandLine::AddDryRun(CLI::App& command) {
  undoable_.insert(&command);
  command.add_flag("--dry-run", options_.dry_run,
                   "Show what would change, and change nothing; exit code 4 when anything would");
  AddFilesOption(command)->needs("--dry-run");
}

CLI::Option* CommandLine::AddFilesOption(CLI::App& command) {
  return command
      .add_option("--files", options_.files,
                  "Show which files of this output folder it would change, too; the current one "
                  "when none is given")
      ->type_name("DIR")
      ->expected(0, 1)
      ->default_str(".");
}

CLI::Option* CommandLine::AddKeyOption(CLI::App& command, std::string& file) {
  return command
      .add_option("--key", file, "The stamping key; the default is the one of NCCNET_STAMP_KEY")
      ->type_name("FILE");
}

void CommandLine::AddApplicationsOption(CLI::App& command, std::vector<std::string>& applications,
                                        const std::string& name, const std::string& meaning) {
  command.add_option(name, applications, meaning)
      ->type_name("APP")
      ->delimiter(',')
      ->allow_extra_args(false);
}

void CommandLine::OnRun(CLI::App& command, std::function<int(Session&)> action,
                        Interrupts interrupts) {
  command.callback([this, action = std::move(action), interrupts] {
    action_ = action;
    interrupts_ = interrupts;
  });
}

void CommandLine::WatchInterrupts() {
  watch_.emplace([this] { return output_.FailInterrupted(); });
}

std::vector<std::string> CommandLine::OptionsInForce() const {
  std::vector<std::string> words;
  for (const CLI::Option* option : app_.get_options()) {
    if (option->count() == 0) continue;
    const bool is_flag = option->get_items_expected_max() == 0;
    const std::string& value = option->results().back();
    words.push_back(is_flag ? option->get_name() : option->get_name() + "=" + value);
  }
  return words;
}

int CommandLine::Parse(int argc, char** argv, bool& finished) {
  finished = true;
  try {
    app_.parse(argc, argv);
    RefuseEmptyValues(app_);
  } catch (const CLI::Success& request) {
    std::ostringstream text;
    std::ostringstream unused;
    app_.exit(request, text, unused);
    output_.Raw(text.str());
    output_.Finish();
    return kExitDone;
  } catch (const CLI::ParseError& error) {
    throw UsageFailure(app_, error.what());
  }
  finished = false;
  return kExitDone;
}

void CommandLine::RefuseUselessAt() const {
  const Reached reached = ReachedFrom(app_);
  const CLI::App* app = reached.app;
  while (app != nullptr && !timeless_.contains(app)) app = app->get_parent();
  if (options_.at.empty() || app == nullptr) return;
  RefuseAt(reached.path);
}

void CommandLine::RefuseAt(const std::string& command) {
  throw Failure(fmt::format("'{}' does not look at the network: --at means nothing", command),
                "Leave --at out.", kExitUsage);
}

int CommandLine::RunAction() {
  Session session(options_, output_);
  if (options_.dry_run) output_.Mute(true);
  int code = action_(session);
  output_.Mute(false);
  if (session.IsInUnit()) code = TellAndDrop(session);
  output_.Finish(session.MayHaveChanged());
  return code;
}

void CommandLine::RefuseOptionsOfUnits() const {
  for (const CLI::App* app = &app_; app != nullptr;) {
    for (const CLI::Option* option : app->get_options()) {
      const std::string name = option->get_name();
      const bool is_of_all = app == &app_ || name == "--dry-run" || name == "--files";
      if (option->count() == 0 || !is_of_all || name == "--yes") continue;
      throw Failure(fmt::format("{} cannot be said of one of several changes", name),
                    "Say it of all of them: behind the name of the file.", kExitUsage);
    }
    app = app->get_subcommands().empty() ? nullptr : app->get_subcommands().front();
  }
}

// Making all commands takes longer than most of them.
void CommandLine::AddFamilyOf(const std::string& word) {
  static const auto kFamiliesByWord = [] {
    std::map<std::string, Family, std::less<>> families;
    for (const Family add : kFamilies) {
      CommandLine line;
      add(line);
      for (const CLI::App* command : line.app_.get_subcommands({}))
        families.emplace(command->get_name(), add);
    }
    return families;
  }();
  const auto family = kFamiliesByWord.find(word);
  family != kFamiliesByWord.end() ? family->second(*this) : AddAllCommands(*this);
}

void CommandLine::RunInUnit(Session& session, std::vector<std::string> words) {
  CommandLine line;
  line.AddFamilyOf(words.front());
  for (CLI::Option* option : line.app_.get_options()) option->envname("");
  std::reverse(words.begin(), words.end());
  try {
    line.app_.parse(std::move(words));
    RefuseEmptyValues(line.app_);
  } catch (const CLI::Success&) {
    throw Failure("help and version cannot be asked for in one of several changes",
                  "Type the command alone.", kExitUsage);
  } catch (const CLI::ParseError& error) {
    throw UsageFailure(line.app_, error.what());
  }
  const Reached reached = ReachedFrom(line.app_);
  const CLI::App* app = reached.app;
  while (app != nullptr && !line.undoable_.contains(app)) app = app->get_parent();
  if (app == nullptr || reached.app->get_name() == "batch") {
    throw Failure(fmt::format("'{}' cannot be one of several changes", reached.path),
                  "Only commands for objects, apply and import-csv can.", kExitUsage);
  }
  line.RefuseOptionsOfUnits();
  const bool said_yes = session.SaysYes();
  session.SayYes(said_yes || line.options_.yes);
  line.action_(session);
  session.SayYes(said_yes);
}

int CommandLine::Main(int argc, char** argv) {
  try {
    PrepareStreams();
    return Run(argc, argv);
  } catch (const std::exception& error) {
    output_.Fail(Failure(error.what()));
    return kExitFailed;
  }
}

int CommandLine::Run(int argc, char** argv) {
  try {
    bool finished = false;
    const int code = Parse(argc, argv, finished);
    if (finished) return code;
    if (interrupts_ == Interrupts::kWatched) WatchInterrupts();
    output_.Configure(options_.json, options_.quiet, options_.color);
    RefuseUselessAt();
    options_.command = TypedCommand(argc, argv);
    return RunAction();
  } catch (const Failure& failure) {
    output_.Fail(failure);
    return failure.ExitCode();
  }
}

void AddAllCommands(CommandLine& line) {
  for (const Family add : kFamilies) add(line);
}

}  // namespace ncc::tool

#include "commands/command_line.h"

#include <exception>
#include <map>
#include <sstream>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/failure.h"
#include "console/nearest.h"
#include "console/terminal.h"

namespace ncc::tool {
namespace {

constexpr const char* kFooter =
    "Objects are named by their name or as id:NUMBER.\n"
    "Exit codes: 0 done; 1 refused or failed; 2 wrong usage; 3 a check found something;\n"
    "4 a plan holds changes; 5 done in part; 6 the database is in use; 130 interrupted.";

std::string ExampleFooter(const std::string& examples) {
  std::string footer = "Example:";
  std::istringstream lines(examples);
  for (std::string line; std::getline(lines, line);) footer += "\n  nccadm " + line;
  return footer;
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
  return Failure(what, fmt::format("{}'{} --help' shows the usage.", hint, reached.path),
                 kExitUsage);
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
  app_.add_option("--color", options_.color, "Colours: auto, always or never")
      ->type_name("WHEN")
      ->transform(CLI::CheckedTransformer(modes).description(""));
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

CLI::Option* CommandLine::AddKeyOption(CLI::App& command, std::string& file) {
  return command
      .add_option("--key", file, "The stamping key; the default is the one of NCCNET_STAMP_KEY")
      ->type_name("FILE");
}

void CommandLine::OnRun(CLI::App& command, std::function<int(Session&)> action) {
  command.callback([this, action = std::move(action)] { action_ = action; });
}

int CommandLine::Parse(int argc, char** argv, bool& finished) {
  finished = true;
  try {
    app_.parse(argc, argv);
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

int CommandLine::RunAction() {
  Session session(options_, output_);
  const int code = action_(session);
  output_.Finish();
  return code;
}

int CommandLine::Main(int argc, char** argv) {
  try {
    PrepareStreams();
    const InterruptWatch watch([this] { return output_.FailInterrupted(); });
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
    output_.Configure(options_.json, options_.quiet, options_.color);
    return RunAction();
  } catch (const Failure& failure) {
    output_.Fail(failure);
    return failure.ExitCode();
  }
}

}  // namespace ncc::tool

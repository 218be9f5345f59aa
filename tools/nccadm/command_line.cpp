#include "command_line.h"

#include <map>
#include <sstream>
#include <utility>

#include "failure.h"
#include "terminal.h"

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

// The command that the user got to, for the hint to its help.
std::string PathOf(const CLI::App* app) {
  std::string path = "nccadm";
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    path += " " + app->get_name();
  }
  return path;
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
    throw Failure(error.what(), "'" + PathOf(&app_) + " --help' shows the usage.", kExitUsage);
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
    bool finished = false;
    const int code = Parse(argc, argv, finished);
    if (finished) return code;
    output_.Configure(options_.json, options_.quiet, options_.color);
    return RunAction();
  } catch (const Failure& failure) {
    output_.Fail(failure);
    std::fflush(stdout);
    return failure.ExitCode();
  } catch (const std::exception& error) {
    output_.Fail(Failure(error.what()));
    std::fflush(stdout);
    return kExitFailed;
  }
}

}  // namespace ncc::tool

// The tree of commands: each family adds its own, this class parses and runs one of them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "console/terminal.h"
#include "network/session.h"

namespace ncc::tool {

// Who minds the interrupt key and requests to terminate while a command runs.
enum class Interrupts { kWatched, kOfCommand };

class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  CLI::App& Root() { return app_; }
  // That of --db; empty when there is none.
  const std::string& Database() const { return options_.database; }

  // A family of commands, such as "server".
  CLI::App& AddGroup(const std::string& name, const std::string& description);

  // A command of a family or of the root. Examples are lines without the tool's name.
  static CLI::App& AddCommand(CLI::App& parent, const std::string& name,
                              const std::string& description, const std::string& examples);

  // The same with an action that gets the arguments of its family.
  template <class Arguments>
  CLI::App& AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                       const std::string& examples, const std::shared_ptr<Arguments>& arguments,
                       int (*action)(Session&, const Arguments&)) {
    CLI::App& command = AddCommand(parent, name, description, examples);
    OnRun(command, [arguments, action](Session& session) { return action(session, *arguments); });
    return command;
  }

  // "--dry-run", for commands that change nothing but the open database, or a family of them.
  void AddDryRun(CLI::App& command);
  // For a command, or a family, that looks at no state of the network: there is none to choose.
  void RefuseAt(const CLI::App& command) { timeless_.insert(&command); }
  // Refuses it, for a command that looks at none when it is given so.
  [[noreturn]] static void RefuseAt(const std::string& command);
  // An option --files [DIR].
  CLI::Option* AddFilesOption(CLI::App& command);

  // "--key FILE", for commands that make or test stamps.
  static CLI::Option* AddKeyOption(CLI::App& command, std::string& file);

  // "--app APP", comma lists of applications.
  static void AddApplicationsOption(CLI::App& command, std::vector<std::string>& applications,
                                    const std::string& name, const std::string& meaning);

  // What the command does; the result is the exit code.
  void OnRun(CLI::App& command, std::function<int(Session&)> action,
             Interrupts interrupts = Interrupts::kWatched);

  // For a command that minded interrupts itself so far.
  void WatchInterrupts();

  // The options before the command that were given, as words that say the same again.
  std::vector<std::string> OptionsInForce() const;

  // Parses and runs. Never throws.
  int Main(int argc, char** argv);

  // Runs a command, words without the tool's name, within the unit of the session. Throws Failure
  // also for one that cannot be part of a unit.
  static void RunInUnit(Session& session, std::vector<std::string> words);

 private:
  int Run(int argc, char** argv);
  int Parse(int argc, char** argv, bool& finished);
  int RunAction();
  // The commands beside that of such a name; all when there is none.
  void AddFamilyOf(const std::string& word);
  void RefuseUselessAt() const;
  // Throws Failure when the command that was parsed has an option of whole units.
  void RefuseOptionsOfUnits() const;

  CLI::App app_;
  std::set<const CLI::App*> undoable_;  // commands and families that can be tried or be in a unit
  std::set<const CLI::App*> timeless_;  // that --at means nothing for
  Options options_;
  Output output_;
  std::function<int(Session&)> action_;
  Interrupts interrupts_ = Interrupts::kWatched;
  std::optional<InterruptWatch> watch_;
};

// The families. A new one gets a file, a function here and a place in kFamilies.
void AddDatabaseCommands(CommandLine& line);     // init, info, backup, restore
void AddServerCommands(CommandLine& line);       // server ...
void AddApCommands(CommandLine& line);           // ap ...
void AddUserCommands(CommandLine& line);         // user ...
void AddDepCommands(CommandLine& line);          // dep ...
void AddGroupCommands(CommandLine& line);        // group ...
void AddApplicationCommands(CommandLine& line);  // app ...
void AddViewCommands(CommandLine& line);         // tree, find, show
void AddNoteCommand(CommandLine& line);          // note
void AddCheckCommand(CommandLine& line);         // check
void AddExplainCommand(CommandLine& line);       // explain
void AddDescriptionCommands(CommandLine& line);  // plan, apply, dump
void AddImportCommand(CommandLine& line);        // import-csv
void AddExportCommands(CommandLine& line);       // export ...
void AddExchangeCommands(CommandLine& line);     // exchange ...
void AddHistoryCommands(CommandLine& line);      // log, diff, undo, history
void AddBatchCommand(CommandLine& line);         // batch
void AddShellCommand(CommandLine& line);         // shell
void AddGenerateCommands(CommandLine& line);     // generate ...
void AddSendListCommand(CommandLine& line);      // send-list
void AddStampCommands(CommandLine& line);        // keygen, stamp, verify-stamps
void AddPackageCommands(CommandLine& line);      // package ...
void AddJournalCommands(CommandLine& line);      // journal ...
void AddClusterCommands(CommandLine& line);      // cluster ...
void AddStandbyCommands(CommandLine& line);      // standby, takeover
void AddMapCommand(CommandLine& line);           // show-map
void AddCompletionCommand(CommandLine& line);    // completion, complete

void AddAllCommands(CommandLine& line);

}  // namespace ncc::tool

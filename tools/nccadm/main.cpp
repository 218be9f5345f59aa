#include "commands/command_line.h"

int main(int argc, char** argv) {
  using namespace ncc::tool;
  CommandLine line;
  AddDatabaseCommands(line);
  AddServerCommands(line);
  AddApCommands(line);
  AddUserCommands(line);
  AddDepCommands(line);
  AddGroupCommands(line);
  AddApplicationCommands(line);
  AddViewCommands(line);
  AddCheckCommand(line);
  AddDescriptionCommands(line);
  AddImportCommand(line);
  AddExportCommands(line);
  AddExchangeCommands(line);
  AddGenerateCommands(line);
  AddStampCommands(line);
  AddPackageCommands(line);
  AddJournalCommands(line);
  AddMapCommand(line);
  AddCompletionCommand(line);
  return line.Main(argc, argv);
}

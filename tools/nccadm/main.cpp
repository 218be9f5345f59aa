#include "command_line.h"

int main(int argc, char** argv) {
  using namespace ncc::tool;
  CommandLine line;
  AddDatabaseCommands(line);
  AddServerCommands(line);
  AddApCommands(line);
  AddApplicationCommands(line);
  AddViewCommands(line);
  AddDescriptionCommands(line);
  AddExportCommands(line);
  AddCompletionCommand(line);
  return line.Main(argc, argv);
}

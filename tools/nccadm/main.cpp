#include "commands/command_line.h"

int main(int argc, char** argv) {
  ncc::tool::CommandLine line;
  ncc::tool::AddAllCommands(line);
  return line.Main(argc, argv);
}

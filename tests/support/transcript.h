// Transcripts of golden/: commands, and behind each all that it prints.
#pragma once

#include "outputs.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

using Words = std::vector<std::string>;  // behind the name of the command
using Commands = std::map<std::string, std::function<std::string(const Words&)>>;

// Runs the lines "$ COMMAND WORD..." of the section "== TITLE", by default that of the running
// test. A failure of the test when not the same is printed as stands there; it shows all that is
// printed. In words "\xHH" is a byte and "c{5}" five of them; Russian letters are of code page
// 1251.
void Play(const std::string& file, const Commands& commands, std::string title = {});

// touch PATH..., put PATH WORD..., stage FOLDER NAME..., folder PATH..., link PATH TARGET, remove
// PATH..., and files PATH...: what lies there, "as stated" where the file of that name in `stated`
// has its bytes; else with CR LF as "|".
Commands FileCommands(const Files& stated = {});

// Changes of a network; all numbers are hexadecimal, also the result that each prints.
Commands NetworkCommands(CNCCNet& net);

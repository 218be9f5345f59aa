// Runs a piece of work in a process of its own, whose heap nothing has used before: as a program
// finds it that has just been started.
#pragma once

#include <functional>

// Returns what the work returns. Throws std::runtime_error when it throws, whose text is then on
// standard error. The calling process must have no database open.
double InChild(const std::function<double()>& work);

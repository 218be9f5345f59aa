// What the tool needs from the system around it: streams, terminals, the interrupt key.
#pragma once

#include <string>

namespace ncc::tool {

// To be called before anything opens a file: a standard stream that the caller closed must not
// become the number of a database file. A closed standard output then fails when it is written.
void PrepareStreams();

enum class Stream { kInput = 0, kOutput = 1, kError = 2 };
bool IsTerminal(Stream stream);

// Asks on the terminal. Only y and yes agree.
bool AskYesNo(const std::string& question);

// While one lives, the interrupt key only leaves a mark, so that a batch can be dropped in order.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  // Throws Failure with exit code 130 once the key was pressed.
  void Check() const;

 private:
  void (*previous_)(int);
};

}  // namespace ncc::tool

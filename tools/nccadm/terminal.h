// What the tool needs from the system around it: streams, terminals, the interrupt key.
#pragma once

#include <array>
#include <string>

namespace ncc::tool {

// To be called before anything opens a file: a standard stream that the caller closed must not
// become the number of a database file. A closed standard output then fails when it is written.
void PrepareStreams();

enum class Stream { kInput = 0, kOutput = 1, kError = 2 };
bool IsTerminal(Stream stream);

// Asks on the terminal. Only y and yes agree.
bool AskYesNo(const std::string& question);

// While one lives, the interrupt key and a request to terminate only leave a mark the first time,
// so that work can be ended in order; the second time they end the process.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  bool IsAsked() const;
  // Throws Failure with exit code 130 once it was asked.
  void Check() const;

 private:
  std::array<void (*)(int), 2> previous_;
};

}  // namespace ncc::tool

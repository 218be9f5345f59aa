// What the tool needs from the system around it: streams, terminals, the interrupt key.
#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <thread>

namespace ncc::tool {

// To be called before anything opens a file: a standard stream that the caller closed must not
// become the number of a database file. A closed standard output then fails when it is written.
void PrepareStreams();

enum class Stream { kInput = 0, kOutput = 1, kError = 2 };
bool IsTerminal(Stream stream);

// Asks on the terminal. Only y and yes agree.
bool AskYesNo(const std::string& question);

// While one lives, the interrupt key and a request to terminate call `end` in a thread of its own;
// when that gives true, the process ends with exit code 130, whatever it does at the moment. Where
// `end` takes longer than a second, another request ends the process at once.
class InterruptWatch {
 public:
  explicit InterruptWatch(std::function<bool()> end);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

 private:
  void Run() const;
  bool End() const;

  std::function<bool()> end_;
  sigset_t requests_;
  sigset_t signals_;  // the requests and what ends the thread
  std::thread thread_;
};

// While one lives, the first of those requests only leaves a mark, so that work can be ended in
// order.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  bool IsAsked() const;
  // Throws Failure with exit code 130 once it was asked.
  void Check() const;
};

}  // namespace ncc::tool

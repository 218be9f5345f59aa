// How commands end.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ncc::tool {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFound = 3;
inline constexpr int kExitPlanned = 4;
inline constexpr int kExitPartly = 5;
inline constexpr int kExitInUse = 6;
inline constexpr int kExitNotKnown = 7;
inline constexpr int kExitInterrupted = 130;

// One fault in a text that the user wrote. Line and column count from 1; 0 means the text as a
// whole.
struct Problem {
  int line = 0;
  int column = 0;
  std::string text;
};

// Ends the running command. `what()` says what was wrong, `hint` what to do next.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& what, std::string hint = {}, int exit_code = kExitFailed)
      : std::runtime_error(what), hint_(std::move(hint)), exit_code_(exit_code) {}

  // For faults of a file: each of them is told with its place, `what` ends the list.
  Failure(const std::string& what, std::string file, std::vector<Problem> problems,
          std::string hint = {})
      : std::runtime_error(what),
        hint_(std::move(hint)),
        file_(std::move(file)),
        problems_(std::move(problems)) {}

  // The same with another text.
  Failure WithText(const std::string& what) const {
    Failure failure(what, file_, problems_, hint_);
    failure.exit_code_ = exit_code_;
    return failure;
  }

  const std::string& Hint() const { return hint_; }
  int ExitCode() const { return exit_code_; }
  const std::string& File() const { return file_; }
  const std::vector<Problem>& Problems() const { return problems_; }

 private:
  std::string hint_;
  int exit_code_ = kExitFailed;
  std::string file_;
  std::vector<Problem> problems_;
};

}  // namespace ncc::tool

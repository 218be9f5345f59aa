// Other programs that the tool has do a part of its work.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace ncc::tool {

// What a program writes goes to our standard error, or is kept to be told when it fails.
enum class ProgramWords { kShown, kKept };

// A program that runs beside this one, with nothing on its standard input.
class Program {
 public:
  // Starts a program of the search path; `added` are "NAME=VALUE" for its environment. Throws
  // Failure when it cannot be run.
  Program(const std::vector<std::string>& arguments, ProgramWords words,
          const std::vector<std::string>& added = {});
  // Asks it to end, and waits for that.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool IsRunning() { return !HasEnded(false); }
  void Wait() { HasEnded(true); }

  // Of one that has ended: empty when it did with 0, else how, with what it wrote.
  std::string Fault() const;

 private:
  bool HasEnded(bool wait);

  std::string name_;
  int words_ = -1;  // a file in memory for those that are kept
  pid_t pid_ = -1;
  bool ended_ = false;
  int status_ = 0;
};

// Throws Failure when there is no such program that may be run.
void RequireProgram(const std::string& name);

// Runs a program to its end. Throws Failure with what it wrote when it cannot be run or fails;
// `package` has it.
void RunProgram(const std::vector<std::string>& arguments, const std::string& package);

}  // namespace ncc::tool

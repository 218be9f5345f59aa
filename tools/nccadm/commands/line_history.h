// The lines that a user typed in the shell, kept from one run to the next.
#pragma once

#include <string>
#include <vector>

namespace ncc::tool {

class LineHistory {
 public:
  // $XDG_STATE_HOME/nccadm/history, else ~/.local/state/nccadm/history. Throws Failure when there
  // is no place for it or it cannot be read.
  LineHistory();

  const std::vector<std::string>& Lines() const { return lines_; }

  // But for the last one again. Throws Failure.
  void Add(const std::string& line);

 private:
  std::string file_;
  std::vector<std::string> lines_;
};

}  // namespace ncc::tool

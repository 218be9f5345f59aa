#include "commands/line_history.h"

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "console/failure.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostLines = 1000;
constexpr std::size_t kMostBytes = 16U << 20;

std::string FolderOfHistory() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return std::string(state) + "/nccadm";
  const char* const home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return std::string(home) + "/.local/state/nccadm";
  throw Failure("there is no place for the lines that are typed: HOME is not set");
}

std::vector<std::string> LinesOf(const std::string& file) {
  std::vector<std::string> lines;
  if (!std::filesystem::is_regular_file(file)) return lines;
  std::istringstream text(ReadFile(file, kMostBytes));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

}  // namespace

LineHistory::LineHistory() : file_(FolderOfHistory() + "/history"), lines_(LinesOf(file_)) {}

void LineHistory::Add(const std::string& line) {
  lines_ = LinesOf(file_);  // another shell may have added some
  if (!lines_.empty() && lines_.back() == line) return;
  lines_.push_back(line);
  const std::size_t first = lines_.size() > kMostLines ? lines_.size() - kMostLines : 0;
  std::string text;
  for (std::size_t i = first; i < lines_.size(); ++i) text += lines_[i] + "\n";
  MakePrivateFolder(FolderOfHistory());
  // A link is kept: what it leads to is replaced.
  std::error_code error;
  const auto place = std::filesystem::weakly_canonical(file_, error);
  WriteFile(error ? file_ : place.string(), text);
}

}  // namespace ncc::tool

#include "generate/generation.h"

#include "core/last_error.h"
#include "generate/output.h"

#include <algorithm>

namespace ncc {

std::optional<std::string> Generation::Path(const char* folder, std::string_view below) {
  return Obtain([&] { return Root(folder).append(below); });
}

std::optional<std::string> Generation::MakeFolder(const char* folder, std::string_view below,
                                                  std::uint32_t node) {
  return Obtain([&] {
    const std::string root = Root(folder);
    std::string path = root;
    path.append(below);
    if (WritesFiles(net_))
      ReportingFailure(net_, path, node, [&] { MakeFoldersBelow(root, below); });
    return path;
  });
}

void Generation::EmptyFolder(const std::string& folder, std::string_view prefix) {
  if (net_.collection != nullptr) {
    Run([&] { net_.collection->ClearFolder(folder, prefix); });
    if (!net_.collection->WritesAll()) return;
  }
  Run([&] { ReportingFailure(net_, folder, 0, [&] { DeleteFiles(folder, prefix); }); });
}

void Generation::CallBetweenNodes() {
  const LockScope lock(net_.lock);
  if (net_.callback != nullptr) Run([&] { net_.Progress(); });
}

void Generation::EnterIntoJournal(const std::string& path, std::uint32_t node) {
  if (net_.collection != nullptr && !net_.collection->WasWritten(path)) return;
  if (net_.update_manager.Write(path.c_str()) == 0 || *LastErrorText() == '\0') return;
  const std::string reason = LastErrorText();
  Note(reason);
  ReportFailure(net_, "newfiles.dat", node, reason.c_str());
}

bool Generation::Finish() const noexcept {
  if (failure_[0] != '\0') {
    SetLastError(failure_.data());
  } else {
    ClearLastError();
  }
  return true;
}

void Generation::Note(std::string_view failure) noexcept {
  if (failure_[0] != '\0') return;
  *std::copy_n(failure.begin(), std::min(failure.size(), failure_.size() - 1), failure_.begin()) =
      '\0';
}

}  // namespace ncc

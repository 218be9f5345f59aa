#include "generate/forms.h"

#include "generate/output.h"

#include <algorithm>

namespace ncc {

void FirstFailure::Keep(Text& text) noexcept {
  if (text[0] != '\0') return;
  const std::string_view error = std::string_view(LastErrorText()).substr(0, text.size() - 1);
  *std::copy(error.begin(), error.end(), text.begin()) = '\0';
}

void FirstFailure::Note(bool /*result*/) noexcept { Keep(text_); }

void FirstFailure::NoteMinor(bool /*result*/) noexcept { Keep(minor_text_); }

void FirstFailure::Report() const noexcept {
  SetLastError(text_[0] != '\0' ? text_.data() : minor_text_.data());
}

void FirstFailure::Journal(NetState& net, const std::string& path, std::uint32_t node) {
  net.update_manager.Write(path.c_str());
  Note();
  const std::string reason = LastErrorText();
  if (!reason.empty()) ReportFailure(net, "newfiles.dat", node, reason.c_str());
}

std::optional<std::string> OutputPath(NetState& net, const char* folder, std::string_view below) {
  std::optional<std::string> path;
  const bool usable = Run(net, false, [&] {
    path = Root(folder).append(below);
    return true;
  });
  if (!usable) path.reset();
  return path;
}

std::optional<std::string> OutputFolder(NetState& net, const char* folder, std::string_view below,
                                        std::uint32_t node) {
  std::optional<std::string> path;
  const bool usable = Run(net, false, [&] {
    const std::string root = Root(folder);
    path = root + std::string(below);
    ReportingFailure(net, *path, node, [&] { MakeFoldersBelow(root, below); });
    return true;
  });
  if (!usable) path.reset();
  return path;
}

bool EmptyFolder(NetState& net, const std::string& folder, std::string_view prefix) {
  return Run(net, false, [&] {
    ReportingFailure(net, folder, 0, [&] { DeleteFiles(folder, prefix); });
    return true;
  });
}

bool CallBetweenNodes(NetState& net) {
  LockScope lock(net.lock);
  if (net.callback == nullptr) return true;
  return Run(net, false, [&] {
    net.Progress();
    return true;
  });
}

}  // namespace ncc

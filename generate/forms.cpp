#include "generate/forms.h"

#include "generate/output.h"

namespace ncc {

void FirstFailure::Note(bool /*result*/) {
  if (text_.empty()) text_ = LastErrorText();
}

void FirstFailure::Make(const std::string& folder) {
  try {
    MakeFolders(folder);
  } catch (const FileError& error) {
    if (text_.empty()) text_ = error.what();
  }
}

void FirstFailure::Empty(const std::string& folder, std::string_view prefix) {
  try {
    DeleteFiles(folder, prefix);
  } catch (const FileError& error) {
    if (text_.empty()) text_ = error.what();
  }
}

void FirstFailure::NoteMinor(bool /*result*/) {
  if (minor_text_.empty()) minor_text_ = LastErrorText();
}

void FirstFailure::Journal(NetState& net, const std::string& path, std::uint32_t node) {
  net.update_manager.Write(path.c_str());
  Note();
  const std::string reason = LastErrorText();
  if (!reason.empty()) ReportFailure(net, "newfiles.dat", node, reason.c_str());
}

void FirstFailure::Report() const { SetLastError(text_.empty() ? minor_text_ : text_); }

std::optional<std::string> OutputRoot(NetState& net, const char* folder) {
  std::string root;
  const bool usable = Run(net, false, [&] {
    root = Root(folder);
    return true;
  });
  if (!usable) return std::nullopt;
  return root;
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

#include "generate/output.h"

#include "core/last_error.h"

#include <atomic>

namespace ncc {
namespace {

constexpr std::size_t kSmallestShared = 64U << 10;

std::atomic<bool> sharing_is_on = true;

// Gives the file the storage of its twin; nothing when that is not to be, or cannot be.
std::optional<FileIdentity> Share(const std::string& path, const SharedBytes& content) {
  if (!sharing_is_on || content.bytes.size() < kSmallestShared || content.twin.empty())
    return std::nullopt;
  return ShareFile(content.twin, content.twin_identity, path);
}

}  // namespace

std::string Prefix(const char* folder) {
  if (folder == nullptr) throw Refusal("no folder was named");
  return folder;
}

std::string Root(const char* folder) {
  // A separator at the end of no text would name the root of the file system.
  if (Prefix(folder).empty()) throw Refusal("no folder was named");
  return WithSeparator(folder);
}

void ReportFile(const NetState& net, const std::string& path, std::uint32_t node,
                std::uint64_t bytes, bool shared) {
  net.Observe({path.c_str(), node, bytes, shared, nullptr});
}

void ReportFailure(const NetState& net, const std::string& path, std::uint32_t node,
                   const char* reason) {
  net.Observe({path.c_str(), node, 0, false, reason});
}

void RememberStampOf(const OutputFile& file, const StampKey& key) {
  if (!file.Identity()) return;
  if (const auto stamp = key.OfBytes(file.Contents())) RememberStamp(*file.Identity(), *stamp);
}

void WriteStamped(const NetState& net, const std::string& path, std::uint32_t node,
                  std::string bytes) {
  WriteFile(net, path, node, [&](OutputFile& file) {
    file.Append(std::move(bytes));
    file.Commit();
    RememberStampOf(file, StampKey());
  });
}

void WriteShared(const NetState& net, const std::string& path, std::uint32_t node,
                 SharedBytes& content) {
  if (const auto shared = Share(path, content)) {
    const bool is_link = shared->inode == content.twin_identity.inode;
    if (content.stamp && !is_link) RememberStamp(*shared, *content.stamp);
    ReportFile(net, path, node, content.bytes.size(), true);
    return;
  }
  WriteFile(net, path, node, [&](OutputFile& file) {
    file.CommitBytes(content.bytes);
    if (!file.Identity()) return;
    if (!content.stamp) content.stamp = StampKey().OfBytes(content.bytes);
    if (content.stamp) RememberStamp(*file.Identity(), *content.stamp);
    content.twin = file.Path();
    content.twin_identity = *file.Identity();
  });
}

std::uint32_t StampSoFar(OutputFile& file, const StampKey& key) {
  if (const auto known = key.OfBytes(file.Contents())) return known->stamp;
  return key.OfFile(file.Flush());
}

}  // namespace ncc

void SetShareIdenticalFiles(bool share) { ncc::sharing_is_on = share; }

bool SetTextLineEnd(const char* line_end) {
  return line_end != nullptr && ncc::ChooseTextLineEnd(line_end);
}

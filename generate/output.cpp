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

void ReportNoted(const NetState& net, const std::string& path, std::uint32_t node,
                 std::uint64_t bytes) {
  net.Observe({path.c_str(), node, bytes, false, nullptr, true});
}

ComposedFile::ComposedFile(const NetState& net, const std::string& path, std::uint32_t node)
    : net_(net),
      path_(path),
      node_(node),
      file_(path, net.collection == nullptr || net.collection->WritesAll()
                      ? OutputFile::Opening::kNow
                      : OutputFile::Opening::kWhenNeeded) {}

void ComposedFile::FlushAndForget() {
  if (net_.collection != nullptr) {
    if (!forgotten_) forgotten_.emplace();
    forgotten_->Add(Contents());
    forgotten_bytes_ += Contents().size();
    if (net_.collection->WritesNothing()) return file_.Forget();
  }
  file_.FlushAndForget();
}

const StampKey& ComposedFile::Key() {
  is_stamped_ = true;
  return key_ ? *key_ : key_.emplace();
}

const std::optional<KnownStamp>& ComposedFile::Stamp() {
  if (!stamp_ && is_stamped_) stamp_ = Key().OfBytes(Contents());
  return stamp_;
}

std::uint32_t ComposedFile::StampOf(const std::string& path, const FolderNames* names) {
  if (net_.collection != nullptr) return net_.collection->StampOf(path, Key(), names);
  return Key().OfFile(path, names);
}

std::uint32_t ComposedFile::StampSoFar() {
  if (const auto known = Key().OfBytes(Contents())) return known->stamp;
  if (Key().IsMissing()) return 0;
  if (net_.collection != nullptr && net_.collection->WritesNothing())
    throw FileError("file " + path_ + " cannot be stamped without being written");
  return Key().OfFile(file_.Flush());
}

bool ComposedFile::IsOnlyNoted() {
  Collection::Contents contents;
  contents.node = node_;
  contents.bytes = forgotten_bytes_ + Contents().size();
  if (forgotten_) forgotten_->Add(Contents());
  contents.digest = forgotten_ ? forgotten_->Finish() : DigestOf(Contents());
  if (!net_.collection->Settle(path_, contents, [this] { return Stamp(); })) return false;
  ReportNoted(net_, path_, node_, contents.bytes);
  return true;
}

void ComposedFile::Finish() {
  if (net_.collection != nullptr && IsOnlyNoted()) return;
  file_.Commit();
  if (file_.Identity() && Stamp()) RememberStamp(*file_.Identity(), *stamp_);
  if (net_.collection != nullptr) net_.collection->Written(path_, file_.Identity());
  ReportFile(net_, path_, node_, file_.Size());
}

void WriteStamped(const NetState& net, const std::string& path, std::uint32_t node,
                  std::string bytes) {
  WriteFile(net, path, node, [&](ComposedFile& file) {
    file.Append(std::move(bytes));
    file.StampWhenDone();
  });
}

namespace {

// The stamp of shared bytes, computed once.
const std::optional<KnownStamp>& StampOfShared(SharedBytes& content) {
  if (!content.stamp) content.stamp = StampKey().OfBytes(content.bytes);
  return content.stamp;
}

// Whether the collection needs no such file; one that lies there already may be the twin of others.
bool NoteShared(Collection& collection, const std::string& path, std::uint32_t node,
                SharedBytes& content) {
  if (!content.digest) content.digest = DigestOf(content.bytes);
  const Collection::Contents contents = {CFileRecord::Kind::kFile, node, content.bytes.size(),
                                         *content.digest};
  const bool is_noted = collection.Settle(path, contents, [&] { return StampOfShared(content); });
  if (is_noted && content.twin.empty()) {
    std::string native;
    if (const auto file = collection.Kept(path, native)) {
      content.twin = native;
      content.twin_identity = *file;
    }
  }
  return is_noted;
}

}  // namespace

void WriteShared(const NetState& net, const std::string& path, std::uint32_t node,
                 SharedBytes& content) {
  Collection* const collection = net.collection;
  if (collection != nullptr && NoteShared(*collection, path, node, content))
    return ReportNoted(net, path, node, content.bytes.size());
  if (const auto shared = Share(path, content)) {
    const bool is_link = shared->inode == content.twin_identity.inode;
    if (content.stamp && !is_link) RememberStamp(*shared, *content.stamp);
    if (collection != nullptr) collection->Written(path, shared);
    ReportFile(net, path, node, content.bytes.size(), true);
    return;
  }
  ReportingFailure(net, path, node, [&] {
    OutputFile file(path);
    file.CommitBytes(content.bytes);
    if (collection != nullptr) collection->Written(path, file.Identity());
    if (file.Identity()) {
      if (const auto& stamp = StampOfShared(content)) RememberStamp(*file.Identity(), *stamp);
      content.twin = file.Path();
      content.twin_identity = *file.Identity();
    }
    ReportFile(net, path, node, file.Size());
  });
}

}  // namespace ncc

void SetShareIdenticalFiles(bool share) { ncc::sharing_is_on = share; }

bool SetTextLineEnd(const char* line_end) {
  return line_end != nullptr && ncc::ChooseTextLineEnd(line_end);
}

#include "generate/collection/collection.h"

#include "generate/collection/manifest.h"
#include "generate/collection/package_sum.h"
#include "platform/disk/folder_scan.h"
#include "platform/disk/output_file.h"
#include "platform/disk/paths.h"

#include <algorithm>
#include <utility>

namespace ncc {
namespace {

using Kind = CFileRecord::Kind;

bool IsOf(const CFileRecord& record, const FileIdentity& file) {
  return record.inode == file.inode && record.bytes == file.size &&
         record.seconds == file.modified_seconds && record.nanoseconds == file.modified_nanoseconds;
}

std::uint32_t HashOf(std::string_view key) { return HashKey(std::hash<std::string_view>()(key)); }

void NoteIdentity(CFileRecord& record, const std::optional<FileIdentity>& file) {
  const FileIdentity known = file.value_or(FileIdentity());
  record.inode = known.inode;
  record.seconds = known.modified_seconds;
  record.nanoseconds = known.modified_nanoseconds;
}

}  // namespace

Collection::Collection(NetState& net, CCollectorOptions options)
    : net_(net), options_(std::move(options)), key_(StampKey().Fingerprint()) {
  std::vector<CFileRecord>& files = options_.before.files;
  entries_.reserve(files.size());
  index_.Reserve(files.size());
  const bool keeps_stamps = options_.before.key == key_;
  for (CFileRecord& record : files) {
    if (!keeps_stamps) record.stamp.reset();
    Entry& entry = EntryOf(record.path);
    entry.had_record = record.kind != Kind::kGone;
    entry.record = std::move(record);
  }
  files.clear();
  Examine();
}

void Collection::Examine() {
  for (const std::string& folder : options_.folders) {
    ScanFolder(options_.root, folder,
               [&](std::string_view path, const std::optional<FileIdentity>& file) {
                 Entry& entry = EntryOf(path);
                 entry.is_there = true;
                 entry.found = file;
                 entry.is_known =
                     entry.had_record && file && !options_.verify && IsOf(entry.record, *file);
               });
  }
}

std::string Collection::KeyOf(std::string_view path) const {
  std::string key = NativePath(path);
  const std::string& root = options_.root;
  if (key.starts_with(root) && key.size() > root.size() && key[root.size()] == '/')
    return key.substr(root.size() + 1);
  std::size_t begin = 0;
  while (key.compare(begin, 2, "./") == 0) begin += 2;
  return key.substr(begin);
}

std::size_t Collection::Locate(std::string_view key) const {
  std::size_t found = entries_.size();
  index_.ForEach(HashOf(key), [&](std::uint32_t at) {
    if (entries_[at].record.path == key) found = at;
    return found == entries_.size();
  });
  return found;
}

const Collection::Entry* Collection::Find(const std::string& path) const {
  const std::size_t at = Locate(KeyOf(path));
  return at < entries_.size() ? &entries_[at] : nullptr;
}

Collection::Entry& Collection::EntryOf(std::string_view key) {
  const std::size_t at = Locate(key);
  if (at < entries_.size()) return entries_[at];
  Entry entry;
  entry.record.kind = Kind::kGone;
  entry.record.path = key;
  entries_.push_back(std::move(entry));
  try {
    index_.Insert(HashOf(key), static_cast<std::uint32_t>(at));
  } catch (...) {
    entries_.pop_back();
    throw;
  }
  return entries_.back();
}

// The sum of what lies in the root. Many names may be of one file.
std::optional<Digest> Collection::ReadDigest(const Entry& entry, Kind kind) {
  const std::string path = InRoot(entry.record.path);
  if (kind == Kind::kPackage) return ReadPackageSum(path);
  const std::pair file(entry.found->device, entry.found->inode);
  const auto known = read_.find(file);
  if (known != read_.end()) return known->second;
  const auto digest = DigestOfFile(path);
  if (digest) read_.emplace(file, *digest);
  return digest;
}

bool Collection::Holds(Entry& entry, const Contents& contents) {
  if (!entry.found || entry.found->size != contents.bytes) return false;
  if (entry.is_known)
    return entry.record.kind == contents.kind && entry.record.digest == contents.digest;
  return !WritesAll() && ReadDigest(entry, contents.kind) == contents.digest;
}

bool Collection::Settle(const std::string& path, const Contents& contents, const MakeStamp& stamp) {
  Entry& entry = EntryOf(KeyOf(path));
  CFileRecord& record = entry.record;
  const bool is_same = Holds(entry, contents);
  const bool keeps_record = is_same && entry.had_record && record.digest == contents.digest;
  if (!keeps_record) {
    record.revision = net_.base->Revision();
    record.stamp.reset();
  }
  record.kind = contents.kind;
  record.node = contents.node;
  record.bytes = contents.bytes;
  record.digest = contents.digest;
  if (!parts_.empty()) record.part = parts_.back().state.name;
  if (!record.stamp && stamp) {
    if (const auto made = stamp()) record.stamp = made->stamp;
  }
  if (is_same) NoteIdentity(record, entry.found);
  entry.is_seen = true;
  entry.is_same = is_same;
  entry.is_written = WritesAll() || (!is_same && !WritesNothing());
  return !entry.is_written;
}

void Collection::Written(const std::string& path, const std::optional<FileIdentity>& file) {
  NoteIdentity(EntryOf(KeyOf(path)).record, file);
}

bool Collection::WasWritten(const std::string& path) const {
  const Entry* entry = Find(path);
  return entry != nullptr && entry->is_written;
}

std::optional<FileIdentity> Collection::Kept(const std::string& path, std::string& native) const {
  const Entry* entry = Find(path);
  if (entry == nullptr || !entry->is_seen || !entry->is_same || WritesAll()) return std::nullopt;
  native = InRoot(entry->record.path);
  return entry->found;
}

std::uint32_t Collection::StampOf(const std::string& path, const StampKey& key,
                                  const FolderNames* names) {
  if (WritesAll()) return key.OfFile(path, names);
  const std::string below = KeyOf(path);
  const Entry* entry = Find(path);
  const bool is_seen = entry != nullptr && entry->is_seen;
  if (is_seen || (entry != nullptr && entry->is_known && !IsCleared(below))) {
    if (entry->record.stamp) return *entry->record.stamp;
  } else if (IsCleared(below)) {
    return 0;
  }
  if (is_seen && entry->is_written) return key.OfFile(path);
  if (is_seen && !entry->is_same && key_ == "unknown")
    throw FileError("file " + below + " cannot be stamped: it was not written");
  return key.OfFile(InRoot(below));
}

std::optional<Collection::Member> Collection::FindMember(const std::string& path) {
  const std::string below = KeyOf(path);
  const Entry* entry = Find(path);
  const bool is_seen = entry != nullptr && entry->is_seen;
  const std::string native = WritesAll() ? NativePath(path) : InRoot(below);
  if (is_seen) {
    return Member{entry->is_written ? NativePath(path) : native, entry->record.bytes,
                  entry->record.digest};
  }
  if (IsCleared(below)) return std::nullopt;
  const bool is_known = entry != nullptr && entry->is_known && entry->record.kind == Kind::kFile;
  if (is_known && (!WritesAll() || IdentifyFile(native) == entry->found))
    return Member{native, entry->record.bytes, entry->record.digest};
  return ReadMember(native);
}

std::optional<Collection::Member> Collection::ReadMember(const std::string& native) {
  const auto known = members_.find(native);
  if (known != members_.end()) return known->second;
  std::optional<Member> member;
  const std::string source = ReadablePath(native);
  if (const auto file = FindFile(source)) {
    if (const auto digest = DigestOfFile(source)) member = Member{source, file->size, *digest};
  }
  return members_.emplace(native, std::move(member)).first->second;
}

std::optional<Collection::Member> Collection::FindOutside(const std::string& path) {
  std::optional<Member> member = ReadMember(NativePath(path));
  if (parts_.empty()) return member;
  std::vector<CPartState::Outside>& outside = parts_.back().state.outside;
  const std::string name(FileName(path));
  const bool is_known = std::any_of(outside.begin(), outside.end(),
                                    [&](const auto& one) { return one.name == name; });
  if (!is_known) outside.push_back({name, member ? DigestDigits(member->digest) : "-"});
  return member;
}

bool Collection::KeepsFilesOf(std::uint32_t node, const std::string& folder) {
  if (!options_.may_have_changed || WritesAll() || parts_.empty()) return false;
  const CPartState& now = parts_.back().state;
  const CPartState* before = StateBefore(now.name);
  if (before == nullptr || before->settings != now.settings) return false;
  if (options_.may_have_changed(node, before->revision)) return false;
  if (of_node_.empty()) {
    for (std::uint32_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].had_record) of_node_.emplace(entries_[i].record.node, i);
    }
  }
  const std::string below = KeyOf(folder);
  std::vector<Entry*> files;
  const auto [first, last] = of_node_.equal_range(node);
  for (auto at = first; at != last; ++at) {
    Entry& entry = entries_[at->second];
    if (!entry.record.path.starts_with(below) || entry.record.part != now.name) continue;
    if (!entry.is_known) return false;
    files.push_back(&entry);
  }
  for (Entry* entry : files) entry->is_seen = entry->is_same = true;
  return !files.empty();
}

}  // namespace ncc

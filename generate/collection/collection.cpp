#include "generate/collection/collection.h"

#include "generate/collection/manifest.h"
#include "generate/collection/package_sum.h"
#include "platform/disk/output_file.h"
#include "platform/disk/paths.h"

#include <algorithm>
#include <utility>

namespace ncc {
namespace {

using Kind = CFileRecord::Kind;

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
  Examine();
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

std::string Collection::InRoot(std::string_view key) const {
  return std::string(options_.root).append("/").append(key);
}

// An index of all lines takes as long as many searches.
std::size_t Collection::Locate(std::string_view key) {
  constexpr std::size_t kFewQuestions = 4096;
  const auto added = added_.find(key);
  if (added != added_.end()) return added->second;
  const std::size_t lines = manifest_.Lines().size();
  if (++questions_ <= kFewQuestions) {
    const std::size_t at = FirstLineFrom(key);
    return at < lines && entries_[at].path == key ? at : entries_.size();
  }
  if (index_.IsEmpty()) {
    index_.Reserve(lines);
    for (std::size_t i = 0; i < lines; ++i)
      index_.Insert(HashOf(entries_[i].path), static_cast<std::uint32_t>(i));
  }
  std::size_t found = entries_.size();
  index_.ForEach(HashOf(key), [&](std::uint32_t at) {
    if (entries_[at].path == key) found = at;
    return found == entries_.size();
  });
  return found;
}

// The place of the first line that is not less than the path.
std::size_t Collection::FirstLineFrom(std::string_view path) const {
  const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(manifest_.Lines().size());
  const auto found = std::lower_bound(
      entries_.begin(), end, path,
      [](const Entry& entry, std::string_view wanted) { return entry.path < wanted; });
  return static_cast<std::size_t>(found - entries_.begin());
}

Collection::Entry* Collection::Find(const std::string& path) {
  const std::size_t at = Locate(KeyOf(path));
  return at < entries_.size() ? &entries_[at] : nullptr;
}

Collection::Entry& Collection::EntryOf(std::string_view key) {
  const std::size_t at = Locate(key);
  return at < entries_.size() ? entries_[at] : AddEntry(key);
}

Collection::Entry& Collection::AddEntry(std::string_view key) {
  Entry entry;
  entry.path = paths_.emplace_back(key);
  entries_.push_back(entry);
  try {
    added_.emplace(entry.path, entries_.size() - 1);
  } catch (...) {
    entries_.pop_back();
    throw;
  }
  return entries_.back();
}

CFileRecord& Collection::RecordOf(Entry& entry) {
  if (entry.record != nullptr) return *entry.record;
  CFileRecord record;
  if (!entry.line.empty()) record = ReadFileRecord(entry.line);
  if (entry.line.empty()) {
    record.kind = Kind::kGone;
    record.path = entry.path;
  }
  if (!keeps_stamps_) record.stamp.reset();
  return *(entry.record = &records_.emplace_back(std::move(record)));
}

// The sum of what lies in the root. Many names may be of one file.
std::optional<Digest> Collection::ReadDigest(const Entry& entry, Kind kind) {
  const std::string path = InRoot(entry.path);
  if (kind == Kind::kPackage) return ReadPackageSum(path);
  const std::pair file(entry.File()->device, entry.File()->inode);
  const auto known = read_.find(file);
  if (known != read_.end()) return known->second;
  const auto digest = DigestOfFile(path);
  if (digest) read_.emplace(file, *digest);
  return digest;
}

bool Collection::Holds(Entry& entry, const Contents& contents) {
  if (!entry.File() || entry.File()->size != contents.bytes) return false;
  if (entry.is_known)
    return entry.kind == contents.kind && RecordOf(entry).digest == contents.digest;
  return !WritesAll() && ReadDigest(entry, contents.kind) == contents.digest;
}

// A part that is made for some nodes alone may make files of others.
void Collection::NamePart(CFileRecord& record) const {
  const RunningPart& part = parts_.back();
  if (part.is_whole) record.part = part.state.name;
  if (record.part.empty()) record.part = kNoPart;
}

bool Collection::Settle(const std::string& path, const Contents& contents, const MakeStamp& stamp) {
  Entry& entry = EntryOf(KeyOf(path));
  CFileRecord& record = RecordOf(entry);
  const bool is_same = Holds(entry, contents);
  const bool keeps_record = is_same && entry.had_record && record.digest == contents.digest;
  if (!keeps_record) {
    restless_.insert(contents.node);
    record.revision = Revision();
    record.stamp.reset();
  }
  record.kind = contents.kind;
  record.node = contents.node;
  record.bytes = contents.bytes;
  record.digest = contents.digest;
  if (!parts_.empty()) NamePart(record);
  if (!record.stamp && stamp) {
    if (const auto made = stamp()) record.stamp = made->stamp;
  }
  if (is_same) NoteIdentity(record, entry.File());
  entry.is_seen = true;
  entry.is_same = is_same;
  entry.is_written = WritesAll() || (!is_same && !WritesNothing());
  return !entry.is_written;
}

void Collection::Written(const std::string& path, const std::optional<FileIdentity>& file) {
  NoteIdentity(RecordOf(EntryOf(KeyOf(path))), file);
}

bool Collection::WasWritten(const std::string& path) {
  Entry* const entry = Find(path);
  return entry != nullptr && entry->is_written;
}

std::optional<FileIdentity> Collection::Kept(const std::string& path, std::string& native) {
  Entry* const entry = Find(path);
  if (entry == nullptr || !entry->is_seen || !entry->is_same || WritesAll()) return std::nullopt;
  native = InRoot(entry->path);
  return entry->File();
}

std::uint32_t Collection::StampOf(const std::string& path, const StampKey& key,
                                  const FolderNames* names) {
  if (WritesAll()) return key.OfFile(path, names);
  const std::string below = KeyOf(path);
  Entry* const entry = Find(path);
  const bool is_seen = entry != nullptr && entry->is_seen;
  if (is_seen || (entry != nullptr && entry->is_known && !IsCleared(below))) {
    if (const auto& stamp = RecordOf(*entry).stamp) return *stamp;
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
  Entry* const entry = Find(path);
  const bool is_seen = entry != nullptr && entry->is_seen;
  const std::string native = WritesAll() ? NativePath(path) : InRoot(below);
  if (is_seen) {
    const CFileRecord& record = RecordOf(*entry);
    return Member{entry->is_written ? NativePath(path) : native, record.bytes, record.digest};
  }
  if (IsCleared(below)) return std::nullopt;
  const bool is_known = entry != nullptr && entry->is_known && entry->kind == Kind::kFile;
  if (is_known && (!WritesAll() || IdentifyFile(native) == entry->File())) {
    const CFileRecord& record = RecordOf(*entry);
    return Member{native, record.bytes, record.digest};
  }
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

}  // namespace ncc

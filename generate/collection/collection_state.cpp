// What a collection tells of the parts of a generation: whether they are up to date, what changed,
// and the manifest afterwards.

#include "generate/collection/collection.h"
#include "generate/collection/manifest.h"
#include "platform/disk/output_file.h"
#include "platform/text/ascii_fold.h"
#include "platform/text/bytes.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace ncc {
namespace {

using Kind = CFileRecord::Kind;

// "FOLDER/PREFIX*SUFFIX": files of this folder itself whose names begin and end so.
bool Matches(std::string_view pattern, std::string_view path) {
  const std::size_t star = pattern.rfind('*');
  if (star == std::string_view::npos) return false;
  const std::string_view before = pattern.substr(0, star);
  const std::string_view suffix = pattern.substr(star + 1);
  const std::size_t name = before.rfind('/') + 1;
  return path.size() >= before.size() + suffix.size() &&
         path.substr(0, name) == before.substr(0, name) &&
         EqualFolded(path.substr(name, before.size() - name), before.substr(name)) &&
         path.ends_with(suffix) && path.find('/', name) == std::string_view::npos;
}

bool MatchesAny(const std::vector<std::string>& patterns, std::string_view path) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](const std::string& pattern) { return Matches(pattern, path); });
}

// A name that cannot stand in a line is not told of.
bool CanBeListed(std::string_view path) {
  return std::all_of(path.begin(), path.end(),
                     [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F; });
}

// Of a file that no record tells of.
std::uint64_t SumOf(std::string_view path, const FileIdentity& file) {
  std::string text(path);
  for (const std::uint64_t number :
       {file.inode, file.size, static_cast<std::uint64_t>(file.modified_seconds),
        static_cast<std::uint64_t>(file.modified_nanoseconds)})
    text.append(" ").append(std::to_string(number));
  std::uint64_t sum = 0;
  const Digest digest = DigestOf(text);
  std::memcpy(&sum, digest.data(), sizeof(sum));
  return sum;
}

}  // namespace

void Collection::ClearFolder(const std::string& folder, std::string_view prefix) {
  Clear(KeyOf(folder) + std::string(prefix) + "*");
}

void Collection::Clear(const std::string& pattern) {
  if (!parts_.empty()) parts_.back().state.clears.push_back(pattern);
}

bool Collection::IsCleared(std::string_view key) const {
  return std::any_of(parts_.begin(), parts_.end(),
                     [&](const RunningPart& part) { return MatchesAny(part.state.clears, key); });
}

// Not composed again though its part was, or lying where everything is cleared away.
bool Collection::IsStale(const Entry& entry) const {
  if (entry.is_seen || (!entry.IsThere() && !entry.had_record)) return false;
  if (IsCleared(entry.path)) return true;
  return !WritesAll() && entry.had_record &&
         std::any_of(parts_.begin(), parts_.end(), [&](const RunningPart& part) {
           return part.is_whole && part.state.name == entry.part;
         });
}

// Of what nobody knows, the part that clears it away.
std::string_view Collection::PartOf(const Entry& entry) const {
  if (!entry.part.empty()) return entry.part;
  for (const RunningPart& part : parts_) {
    if (MatchesAny(part.state.clears, entry.path)) return part.state.name;
  }
  return kNoPart;
}

std::uint64_t Collection::SumOfOthers(const std::vector<std::string>& clears) const {
  std::uint64_t sum = 0;
  for (const std::size_t at : strangers_) {
    const Entry& entry = entries_[at];
    if (entry.is_seen || IsCleared(entry.path) || MatchesAny(clears, entry.path)) continue;
    sum += SumOf(entry.path, entry.File().value_or(FileIdentity()));
  }
  return sum;
}

bool Collection::HasUnstoredChanges() const { return net_.base->Unit().HasChanges(); }

std::uint64_t Collection::Revision() const {
  return std::max(net_.base->Revision(), manifest_.Revision());
}

CPartState Collection::StateOf(const Part& part) const {
  CPartState state;
  state.name = part.name;
  state.revision = net_.base->Revision();
  state.unit = net_.base->LastUnit();
  state.rows = net_.base->Totals().sum;
  state.settings = NetworkSettings();
  state.settings += TextLineEnd() == "\n" ? " line-ends=lf" : " line-ends=crlf";
  state.settings.append(" key=").append(key_);
  if (!part.settings.empty()) state.settings.append(" ").append(part.settings);
  return state;
}

const CPartState* Collection::StateBefore(const std::string& part) const {
  for (const CPartState& state : manifest_.Parts()) {
    if (state.name == part) return &state;
  }
  return nullptr;
}

bool Collection::IsCurrent(const CPartState& before, const CPartState& now) const {
  if (before.revision != now.revision || before.unit != now.unit || before.settings != now.settings)
    return false;
  return std::all_of(before.outside.begin(), before.outside.end(),
                     [&](const CPartState::Outside& one) {
                       const auto digest = DigestOfFile(ReadablePath(net_.db_path + one.name));
                       return one.digest == (digest ? DigestDigits(*digest) : "-");
                     });
}

bool Collection::IsUpToDate(const std::vector<Part>& parts) const {
  if (WritesAll() || options_.verify || key_ == "unknown" || HasUnstoredChanges()) return false;
  std::vector<std::string> clears;
  for (const Part& part : parts) {
    const CPartState* before = StateBefore(part.name);
    if (before == nullptr || !IsCurrent(*before, StateOf(part))) return false;
    clears.insert(clears.end(), before->clears.begin(), before->clears.end());
  }
  const std::uint64_t others = SumOfOthers(clears);
  for (const Part& part : parts) {
    if (StateBefore(part.name)->others != others) return false;
  }
  return std::all_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    if (entry.had_record) return entry.is_known || !entry.is_examined;
    return !entry.IsThere() || !MatchesAny(clears, entry.path);
  });
}

void Collection::BeginPart(const Part& part, bool is_whole) {
  parts_.push_back({StateOf(part), is_whole});
}

std::vector<std::string> Collection::TouchedFiles() const {
  std::vector<std::string> touched;
  for (const Entry& entry : entries_) {
    if (!entry.is_seen || !entry.had_record || entry.is_known || options_.verify) continue;
    touched.emplace_back(entry.path);
  }
  std::sort(touched.begin(), touched.end());
  return touched;
}

std::vector<CFileChange> Collection::Changes() const {
  using What = CFileChange::What;
  std::vector<CFileChange> changes;
  for (const Entry& entry : entries_) {
    if (entry.is_seen && !entry.is_same) {
      const CFileRecord& record = *entry.record;
      changes.push_back({entry.IsThere() || entry.had_record ? What::kChanged : What::kNew,
                         record.path, record.part, record.node, record.bytes, entry.IsThere()});
    } else if (IsStale(entry)) {
      changes.push_back({What::kGone, std::string(entry.path), std::string(PartOf(entry)),
                         entry.node, 0, entry.IsThere()});
    }
  }
  std::sort(changes.begin(), changes.end(),
            [](const CFileChange& a, const CFileChange& b) { return a.path < b.path; });
  return changes;
}

// A part that the run did not make as a whole was perhaps made of files that it has changed: then
// it is of no revision any more.
std::vector<CPartState> Collection::States() const {
  std::vector<CPartState> states;
  std::set<std::string> whole;
  for (const RunningPart& part : parts_) {
    if (!part.is_whole) continue;
    states.push_back(part.state);
    states.back().others = SumOfOthers();
    whole.insert(part.state.name);
  }
  const bool has_changed = std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return (entry.is_seen && !entry.is_same) || IsStale(entry);
  });
  for (const CPartState& before : manifest_.Parts()) {
    if (whole.contains(before.name)) continue;
    states.push_back(before);
    if (has_changed) states.back().revision = states.back().unit = 0;
  }
  return states;
}

void Collection::AddTo(ManifestWriter& manifest, const Entry& entry) const {
  if (IsStale(entry)) {
    if (!CanBeListed(entry.path)) return;
    CFileRecord gone;
    gone.kind = Kind::kGone;
    gone.path = entry.path;
    gone.part = PartOf(entry);
    gone.node = entry.node;
    gone.revision = Revision();
    manifest.Add(gone);
  } else if (entry.record != nullptr) {
    if (entry.is_seen || entry.had_record) manifest.Add(*entry.record);
  } else if (!entry.line.empty() && (entry.had_record || !entry.IsThere())) {
    if (keeps_stamps_) return manifest.Add(entry.line);
    CFileRecord record = ReadFileRecord(entry.line);
    record.stamp.reset();
    manifest.Add(record);
  }
}

void Collection::WriteManifest(const char* file) const {
  ManifestWriter manifest(key_, Revision(), States());
  auto added = added_.begin();
  for (std::size_t i = 0; i < manifest_.Lines().size(); ++i) {
    for (; added != added_.end() && added->first < entries_[i].path; ++added)
      AddTo(manifest, entries_[added->second]);
    AddTo(manifest, entries_[i]);
  }
  for (; added != added_.end(); ++added) AddTo(manifest, entries_[added->second]);
  manifest.Commit(file);
}

}  // namespace ncc

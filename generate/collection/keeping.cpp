// Which files of a collection need not be composed, since nothing that they are made of can have
// changed.

#include "generate/collection/collection.h"
#include "platform/storage/engine.h"

#include <algorithm>

namespace ncc {
namespace {

// Comparing more rows takes longer than it saves.
constexpr std::size_t kMostRows = 20'000;

// A history that cannot be read tells nothing; who asks for it hears of the damage.
std::optional<std::vector<RowDifference>> DifferencesSince(const CHDBase& base,
                                                           const CPartState& before) {
  try {
    return base.DifferencesSince(before.revision, before.rows, kMostRows);
  } catch (const StorageError&) {
    return std::nullopt;
  }
}

}  // namespace

Collection::Version Collection::VersionNow() const {
  return {net_.base->Generation(), net_.base->Revision(), net_.base->Unit().TouchCount(),
          net_.prefs.net_number};
}

const std::string& Collection::NetworkSettings() const {
  const Version now = VersionNow();
  if (settings_.second.empty() || settings_.first != now) settings_ = {now, SettingsOf(net_)};
  return settings_.second;
}

const AffectedNodes& Collection::AffectedSince(const CPartState& before) {
  const Version now = VersionNow();
  if (!affected_ || affected_->version != now || affected_->revision != before.revision ||
      affected_->rows != before.rows) {
    affected_.emplace(Affected{now, before.revision, before.rows,
                               AffectedNodes(net_, DifferencesSince(*net_.base, before))});
  }
  return affected_->nodes;
}

// The state that the running part was made from last; null when nothing of it that is made so can
// be kept.
const CPartState* Collection::StateToKeep(unsigned made_of) const {
  if (!options_.use_history || WritesAll() || parts_.empty() || key_ == "unknown") return nullptr;
  const CPartState& now = parts_.back().state;
  const CPartState* const before = StateBefore(now.name);
  if (before == nullptr || before->unit == 0 || before->settings != now.settings) return nullptr;
  if (made_of == kOfAnything) return nullptr;
  return (made_of & kOfFiles) != 0 && before->others != SumOfOthers() ? nullptr : before;
}

// A list of stamps stays as long as all files of its node do.
bool Collection::MayHaveChanged(const Entry& entry, unsigned made_of,
                                const AffectedNodes& affected) const {
  return ((made_of & kOfFiles) != 0 && restless_.contains(entry.node)) ||
         affected.Touches(made_of, static_cast<std::uint32_t>(entry.node));
}

// Calls visit(entry, its place) for the entries of lines with such a name, until it returns false.
template <class Visit>
void Collection::ForEachLine(const Names& names, Visit visit) const {
  const std::string below = KeyOf(names.folder);
  for (std::size_t at = FirstLineFrom(below); at < manifest_.Lines().size(); ++at) {
    const Entry& entry = entries_[at];
    if (!entry.path.starts_with(below)) return;
    const std::string_view name = entry.path.substr(below.size());
    const bool fits = name.starts_with(names.stem) && name.ends_with(names.extension) &&
                      name.find('/') == std::string_view::npos;
    if (fits && !visit(entry, at)) return;
  }
}

// A file that was not made again is gone, and a list of stamps has it no more.
void Collection::NoteGone() {
  for (const Names& names : asked_) {
    ForEachLine(names, [&](const Entry& entry, std::size_t) {
      if (entry.had_record && !entry.is_seen) restless_.insert(entry.node);
      return true;
    });
  }
  asked_.clear();
}

std::vector<Collection::Keepable> Collection::FindKeepable(const Names& names, unsigned made_of) {
  std::vector<Keepable> files;
  if ((made_of & kOfFiles) != 0) NoteGone();
  asked_.push_back(names);
  const CPartState* const before = StateToKeep(made_of);
  if (before == nullptr) return files;
  const AffectedNodes& affected = AffectedSince(*before);
  ForEachLine(names, [&](const Entry& entry, std::size_t at) {
    if (entry.is_known && entry.part == before->name && !MayHaveChanged(entry, made_of, affected))
      files.push_back({static_cast<std::uint32_t>(entry.node), static_cast<std::uint32_t>(at)});
    return true;
  });
  std::sort(files.begin(), files.end());
  return files;
}

void Collection::Keep(const Keepable& file) {
  Entry& entry = entries_[file.entry];
  entry.is_seen = entry.is_same = entry.is_kept = true;
  ++kept_files_;
}

std::optional<Collection::KeptFile> Collection::FindKept(const Names& names) const {
  std::optional<KeptFile> kept;
  ForEachLine(names, [&](const Entry& entry, std::size_t) {
    if (!entry.is_kept) return true;
    const CFileRecord record = ReadFileRecord(entry.line);
    kept = KeptFile{InRoot(entry.path), *entry.File(), record.digest, record.stamp};
    return false;
  });
  return kept;
}

bool Collection::KeepOne(const std::string& path, unsigned made_of) {
  const CPartState* const before = StateToKeep(made_of);
  const std::size_t at = before != nullptr ? Locate(KeyOf(path)) : entries_.size();
  if (at == entries_.size()) return false;
  const Entry& entry = entries_[at];
  if (!entry.is_known || entry.part != before->name ||
      MayHaveChanged(entry, made_of, AffectedSince(*before)))
    return false;
  Keep({0, static_cast<std::uint32_t>(at)});
  return true;
}

}  // namespace ncc

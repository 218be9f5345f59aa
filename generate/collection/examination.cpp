// What a collection finds at first: the manifest, and the files that lie there. Looking at a file's
// size and time takes longer than all else, so threads share that and what can go on beside it.

#include "generate/collection/collection.h"
#include "platform/parallel.h"

#include <algorithm>
#include <future>

namespace ncc {
namespace {

constexpr std::size_t kShare = 256;  // lines

bool IsOf(const FileIdentity& noted, const FileIdentity& file) {
  return noted.inode == file.inode && noted.size == file.size &&
         noted.modified_seconds == file.modified_seconds &&
         noted.modified_nanoseconds == file.modified_nanoseconds;
}

}  // namespace

void Collection::Examine() {
  auto listing = std::async(std::launch::async | std::launch::deferred,
                            [this] { return ListFolders(options_.root, options_.folders); });
  try {
    if (!options_.manifest.empty()) manifest_ = ManifestText(options_.manifest.c_str());
    ReadLines();
  } catch (const FileError& error) {
    problem_ = error.what();
    manifest_ = {};
    entries_.clear();
  }
  keeps_stamps_ = manifest_.Key() == key_;
  folders_ = listing.get();
  CompareFolders();
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const Entry& entry = entries_[i];
    if (entry.had_record && !entry.is_known) restless_.insert(entry.node);
    if (!entry.had_record && entry.IsThere()) strangers_.push_back(i);
  }
}

// Makes the entries of the manifest's lines.
void Collection::ReadLines() {
  const std::size_t lines = manifest_.Lines().size();
  entries_.reserve(lines + lines / 16 + 64);  // for those to come
  entries_.resize(lines);
  InShares(lines, kShare, [this](std::size_t first, std::size_t last) {
    std::string_view before = first > 0 ? ReadFileLine(manifest_.Lines()[first - 1]).path : "";
    for (std::size_t i = first; i < last; ++i) {
      Entry& entry = entries_[i];
      entry.line = manifest_.Lines()[i];
      const FileLine line = ReadFileLine(entry.line);
      if (line.path <= before) throw DamagedManifest("its lines are in another order");
      before = entry.path = line.path;
      entry.part = line.part;
      entry.node = line.node;
      entry.kind = line.kind;
      entry.had_record = line.kind != CFileRecord::Kind::kGone;
      entry.noted = line.file;
      entry.is_examined = IsExamined(line.path);
    }
  });
}

bool Collection::IsExamined(std::string_view path) const {
  return std::any_of(options_.folders.begin(), options_.folders.end(),
                     [&](const std::string& folder) {
                       return path.size() > folder.size() && path.starts_with(folder) &&
                              path[folder.size()] == '/';
                     });
}

// Gives the entries what was found. What no line tells of becomes an entry, too.
void Collection::CompareFolders() {
  std::vector<std::vector<const ListedFolder::Entry*>> strangers(folders_.size());
  InShares(folders_.size(), 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) strangers[i] = CompareFolder(folders_[i]);
  });
  for (std::size_t i = 0; i < folders_.size(); ++i) {
    for (const ListedFolder::Entry* found : strangers[i]) {
      const std::string path = folders_[i].Path() + "/" + std::string(folders_[i].Name(*found));
      AddEntry(path).found = found;
    }
  }
}

// Many file systems list names in the order in which they were made, which mostly is theirs or its
// reverse: so the next name is looked for beside the last one first.
std::vector<const ListedFolder::Entry*> Collection::CompareFolder(const ListedFolder& folder) {
  std::vector<const ListedFolder::Entry*> strangers;
  std::string path = folder.Path() + "/";
  const std::size_t below = path.size();
  const std::size_t lines = manifest_.Lines().size();
  const auto is_at = [&](std::size_t line) { return line < lines && entries_[line].path == path; };
  std::size_t last = FirstLineFrom(path);
  for (const ListedFolder::Entry& found : folder.Entries()) {
    path.replace(below, std::string::npos, folder.Name(found));
    std::size_t line = last + 1;
    if (!is_at(line)) line = last - 1;
    if (!is_at(line)) line = FirstLineFrom(path);
    if (!is_at(line)) {
      strangers.push_back(&found);
      continue;
    }
    Entry& entry = entries_[last = line];
    entry.found = &found;
    entry.is_known =
        entry.had_record && found.file && !options_.verify && IsOf(entry.noted, *found.file);
  }
  return strangers;
}

}  // namespace ncc

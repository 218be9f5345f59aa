// What generators compose, compared with what their folder holds: see nccnet/changed_files.h.
#pragma once

#include "core/net_state.h"
#include "generate/affected/affected_nodes.h"
#include "generate/collection/manifest.h"
#include "nccnet/changed_files.h"
#include "platform/disk/files.h"
#include "platform/disk/folder_listing.h"
#include "platform/hdb/flat_index.h"
#include "platform/stamps/digest.h"
#include "platform/stamps/stamps.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace ncc {

inline constexpr std::string_view kNoPart = "-";

// Paths are those that generators use: relative to the current folder, with either separator.
class Collection {
 public:
  using Writing = CCollectorOptions::Writing;
  using Part = CFileCollector::Part;

  // What a file was composed of.
  struct Contents {
    CFileRecord::Kind kind = CFileRecord::Kind::kFile;
    unsigned long node = 0;
    std::uint64_t bytes = 0;
    Digest digest{};
  };
  // Gives a stamp where one is wanted and can be had.
  using MakeStamp = std::function<std::optional<KnownStamp>()>;

  // A file that a package takes.
  struct Member {
    std::string source;  // where it can be read, once it was written
    std::uint64_t bytes = 0;
    Digest digest{};
  };

  // Names of files in a folder that begin and end alike.
  struct Names {
    std::string folder;
    std::string_view stem;
    std::string_view extension;
  };

  // A file that need not be composed.
  struct Keepable {
    std::uint32_t node;
    std::uint32_t entry;  // its place among them

    friend auto operator<=>(const Keepable&, const Keepable&) = default;
  };

  Collection(NetState& net, CCollectorOptions options);

  // For the generators.
  bool WritesAll() const { return options_.writing == Writing::kAll; }
  bool WritesNothing() const { return options_.writing == Writing::kNothing; }
  // Notes a file that was composed. False when it is to be written; then tell Written.
  bool Settle(const std::string& path, const Contents& contents, const MakeStamp& stamp);
  void Written(const std::string& path, const std::optional<FileIdentity>& file);
  bool WasWritten(const std::string& path);
  // Its identity, and where it lies, when it is as it was composed.
  std::optional<FileIdentity> Kept(const std::string& path, std::string& native);
  // The stamp of a file that was composed or lies in the root.
  std::uint32_t StampOf(const std::string& path, const StampKey& key, const FolderNames* names);
  std::optional<Member> FindMember(const std::string& path);
  // The same of a file that no generator makes.
  std::optional<Member> FindOutside(const std::string& path);
  // The files of such names that are known to be what composing them would give, by
  // node. One that is kept counts as composed.
  std::vector<Keepable> FindKeepable(const Names& names, unsigned made_of);
  void Keep(const Keepable& file);
  // False when a file of the whole network is to be composed.
  bool KeepOne(const std::string& path, unsigned made_of);
  // A file of such a name that was kept, for others with the same contents.
  struct KeptFile {
    std::string path;
    FileIdentity file;
    Digest digest{};
    std::optional<std::uint32_t> stamp;
  };
  std::optional<KeptFile> FindKept(const Names& names) const;
  void ClearFolder(const std::string& folder, std::string_view prefix);

  // For the application; see CFileCollector.
  bool HasManifest() const { return manifest_.IsThere(); }
  const std::string& Problem() const { return problem_; }
  bool IsUpToDate(const std::vector<Part>& parts) const;
  void BeginPart(const Part& part, bool is_whole);
  void Clear(const std::string& pattern);
  std::vector<std::string> TouchedFiles() const;
  std::vector<CFileChange> Changes() const;
  void WriteManifest(const char* file) const;
  std::size_t KeptFiles() const { return kept_files_; }

 private:
  // Of most files nothing is asked but whether they are as the manifest says.
  struct Entry {
    std::string_view path;
    std::string_view line;  // of the manifest; empty without one
    std::string_view part;  // by this line, as the next three
    unsigned long node = 0;
    FileIdentity noted;
    CFileRecord::Kind kind = CFileRecord::Kind::kGone;
    const ListedFolder::Entry* found = nullptr;  // in the root; null: it is not there
    CFileRecord* record = nullptr;  // what is to stand in the next manifest; null: the same line
    bool had_record = false;        // of a file that was not gone
    bool is_examined = false;       // its folder was
    bool is_known = false;          // the line tells what is found
    bool is_seen = false;
    bool is_written = false;
    bool is_same = false;
    bool is_kept = false;  // seen and the same without being composed

    bool IsThere() const { return found != nullptr; }  // of whatever kind
    std::optional<FileIdentity> File() const {
      return found != nullptr ? found->file : std::nullopt;
    }
  };
  struct RunningPart {
    CPartState state;
    bool is_whole = true;
  };
  // Which state of the network something was reckoned for.
  using Version = std::array<std::uint64_t, 4>;
  // What its changes since another one can touch.
  struct Affected {
    Version version;
    std::uint64_t revision;
    std::uint64_t rows;
    AffectedNodes nodes;
  };

  std::string KeyOf(std::string_view path) const;
  std::string InRoot(std::string_view key) const;
  // Its place among the entries; their number when it is none of them.
  std::size_t Locate(std::string_view key);
  std::size_t FirstLineFrom(std::string_view path) const;
  Entry* Find(const std::string& path);
  Entry& EntryOf(std::string_view key);
  Entry& AddEntry(std::string_view key);
  CFileRecord& RecordOf(Entry& entry);

  void Examine();
  void ReadLines();
  bool IsExamined(std::string_view path) const;
  void CompareFolders();
  std::vector<const ListedFolder::Entry*> CompareFolder(const ListedFolder& folder);

  Version VersionNow() const;
  const std::string& NetworkSettings() const;
  const AffectedNodes& AffectedSince(const CPartState& before);
  const CPartState* StateToKeep(unsigned made_of) const;
  template <class Visit>
  void ForEachLine(const Names& names, Visit visit) const;
  bool MayHaveChanged(const Entry& entry, unsigned made_of, const AffectedNodes& affected) const;
  void NoteGone();

  bool Holds(Entry& entry, const Contents& contents);
  void NamePart(CFileRecord& record) const;
  std::optional<Digest> ReadDigest(const Entry& entry, CFileRecord::Kind kind);
  std::optional<Member> ReadMember(const std::string& native);
  bool IsCleared(std::string_view key) const;
  bool IsStale(const Entry& entry) const;
  std::string_view PartOf(const Entry& entry) const;
  // Of what changes now; see CManifest.
  std::uint64_t Revision() const;
  CPartState StateOf(const Part& part) const;
  bool IsCurrent(const CPartState& before, const CPartState& now) const;
  const CPartState* StateBefore(const std::string& part) const;
  std::vector<CPartState> States() const;
  // See CPartState; but for what the run clears away, as that cannot stay.
  std::uint64_t SumOfOthers(const std::vector<std::string>& clears = {}) const;
  bool HasUnstoredChanges() const;
  void AddTo(ManifestWriter& manifest, const Entry& entry) const;

  NetState& net_;
  CCollectorOptions options_;
  std::string key_;  // tells stamping keys apart
  ManifestText manifest_;
  std::string problem_;
  std::vector<ListedFolder> folders_;
  bool keeps_stamps_ = false;        // those of the manifest are of this key
  std::vector<Entry> entries_;       // those of the manifest's lines first, ascending by path
  std::deque<std::string> paths_;    // of the others
  std::deque<CFileRecord> records_;  // of entries, see there
  std::map<std::string_view, std::size_t> added_;  // those, by path
  FlatIndex index_;  // of the entries of lines, by path; made when many are asked for
  std::size_t questions_ = 0;
  std::vector<std::size_t> strangers_;          // entries of files without a record
  std::vector<Names> asked_;                    // of files that are made before lists of stamps
  std::unordered_set<unsigned long> restless_;  // nodes with files that changed, or by others
  std::vector<RunningPart> parts_;
  mutable std::pair<Version, std::string> settings_;  // of the network; empty at first
  std::optional<Affected> affected_;
  std::size_t kept_files_ = 0;
  std::map<std::pair<std::uint64_t, std::uint64_t>, Digest> read_;  // by device and inode
  std::map<std::string, std::optional<Member>> members_;            // that were read, by path
};

}  // namespace ncc

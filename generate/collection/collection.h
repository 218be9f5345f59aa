// What generators compose, compared with what their folder holds: see nccnet/changed_files.h.
#pragma once

#include "core/net_state.h"
#include "nccnet/changed_files.h"
#include "platform/disk/files.h"
#include "platform/hdb/flat_index.h"
#include "platform/stamps/digest.h"
#include "platform/stamps/stamps.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ncc {

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

  Collection(NetState& net, CCollectorOptions options);

  // For the generators.
  bool WritesAll() const { return options_.writing == Writing::kAll; }
  bool WritesNothing() const { return options_.writing == Writing::kNothing; }
  // Notes a file that was composed. False when it is to be written; then tell Written.
  bool Settle(const std::string& path, const Contents& contents, const MakeStamp& stamp);
  void Written(const std::string& path, const std::optional<FileIdentity>& file);
  bool WasWritten(const std::string& path) const;
  // Its identity, and where it lies, when it is as it was composed.
  std::optional<FileIdentity> Kept(const std::string& path, std::string& native) const;
  // The stamp of a file that was composed or lies in the root.
  std::uint32_t StampOf(const std::string& path, const StampKey& key, const FolderNames* names);
  std::optional<Member> FindMember(const std::string& path);
  // The same of a file that no generator makes.
  std::optional<Member> FindOutside(const std::string& path);
  // Whether the files of a node below a folder are known to be what composing them would give; they
  // count as composed then.
  bool KeepsFilesOf(std::uint32_t node, const std::string& folder);
  void ClearFolder(const std::string& folder, std::string_view prefix);

  // For the application; see CFileCollector.
  bool IsUpToDate(const std::vector<Part>& parts) const;
  void BeginPart(const Part& part, bool is_whole);
  void Clear(const std::string& pattern);
  std::vector<std::string> TouchedFiles() const;
  std::vector<CFileChange> Changes() const;
  CManifest Manifest() const;

 private:
  struct Entry {
    CFileRecord record;
    std::optional<FileIdentity> found;  // in the root, a plain file
    bool is_there = false;              // of whatever kind
    bool had_record = false;            // of a file that was not gone
    bool is_known = false;              // the record tells what is found
    bool is_seen = false;
    bool is_written = false;
    bool is_same = false;
  };
  struct RunningPart {
    CPartState state;
    bool is_whole = true;
  };

  std::string KeyOf(std::string_view path) const;
  std::string InRoot(const std::string& key) const { return options_.root + "/" + key; }
  // Its place among the entries; their number when it is none of them.
  std::size_t Locate(std::string_view key) const;
  const Entry* Find(const std::string& path) const;
  Entry& EntryOf(std::string_view key);
  void Examine();
  bool Holds(Entry& entry, const Contents& contents);
  std::optional<Digest> ReadDigest(const Entry& entry, CFileRecord::Kind kind);
  std::optional<Member> ReadMember(const std::string& native);
  bool IsCleared(std::string_view key) const;
  bool IsStale(const Entry& entry) const;
  std::string PartOf(const Entry& entry) const;
  CPartState StateOf(const Part& part) const;
  bool IsCurrent(const CPartState& before, const CPartState& now) const;
  const CPartState* StateBefore(const std::string& part) const;
  std::vector<CPartState> States() const;
  bool HasUnstoredChanges() const;

  NetState& net_;
  CCollectorOptions options_;
  std::string key_;  // tells stamping keys apart
  std::vector<Entry> entries_;
  FlatIndex index_;  // of the entries, by path below the root
  std::vector<RunningPart> parts_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, Digest> read_;  // by device and inode
  std::map<std::string, std::optional<Member>> members_;            // that were read, by path
  std::unordered_multimap<unsigned long, std::uint32_t> of_node_;   // filled when asked first
};

}  // namespace ncc

/// \file
/// Generating only what changed. A manifest tells what a folder of generated files holds; a
/// collector compares with it what the generators of CNCCNet compose, so that files whose bytes are
/// there already are not written again. Functions and members throw std::runtime_error with a text
/// that a person can act on, and std::bad_alloc.
#pragma once

#include "nccnet/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class CNCCNet;

/// A line of a manifest.
struct CFileRecord {
  enum class Kind {
    kFile,     ///< `digest` is the SHA-256 of its bytes
    kPackage,  ///< of the heads of its records, each followed by the SHA-256 of the contents
    kGone      ///< it was there once
  };

  Kind kind = Kind::kFile;
  std::string path;        ///< below the folder, separated by '/'
  std::string part;        ///< of the generation that made it
  unsigned long node = 0;  ///< or user; 0 for a file of the whole network
  std::uint64_t bytes = 0;
  std::array<unsigned char, 32> digest{};
  std::optional<std::uint32_t> stamp;  ///< under the manifest's key, where one was computed
  std::uint64_t inode = 0;             ///< with the time of change: whether it was touched since
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::uint64_t revision = 0;  ///< of the database at which its bytes changed last, or it went
};

/// What the files of one part were made from, and what making it anew replaces.
struct CPartState {
  struct Outside {
    std::string name;    ///< of a file in the database's folder that packages take along
    std::string digest;  ///< SHA-256 in hexadecimal digits; "-" when it was not there
  };

  std::string name;
  std::uint64_t revision = 0;       ///< 0: what it was made from may have changed since
  std::uint64_t unit = 0;           ///< of the commit: no two databases have it in common
  std::uint64_t rows = 0;           ///< a sum over all that was stored then
  std::uint64_t others = 0;         ///< a sum over the files that others put into the folders
  std::string settings;             ///< network, line ends, key and what the application said
  std::vector<std::string> clears;  ///< patterns "FOLDER/PREFIX*SUFFIX" of files that go
  std::vector<Outside> outside;
};

struct CManifest {
  std::string key;  ///< tells stamping keys apart, and nothing else about them
  /// The highest that the database had at a run. When it goes back to an older copy, what changes
  /// from there on is of this revision, so that who asks from it on misses nothing.
  std::uint64_t revision = 0;
  std::vector<CPartState> parts;
  std::vector<CFileRecord> files;
};

/// Reads a manifest. Throws for one that is damaged, and for one that the stamping key in force has
/// stamped otherwise. Without such a file the manifest is empty.
NCC_API CManifest ReadManifest(const char* file);

/// What became of a file.
struct CFileChange {
  enum class What { kNew, kChanged, kGone };

  What what = What::kNew;
  std::string path;
  std::string part;
  unsigned long node = 0;
  std::uint64_t bytes = 0;
  bool is_there = false;  ///< of a file that is gone: it lies in the folder still
};

struct CCollectorOptions {
  enum class Writing {
    kAll,      ///< every file, as without a collector, which only keeps the records
    kChanged,  ///< what differs from what the folder holds
    kNothing   ///< none: the changes are only told
  };

  std::string root;                  ///< the folder that holds what was generated before
  std::vector<std::string> folders;  ///< below it, that the generators write or read
  std::string manifest;              ///< the file that tells what the folder holds
  Writing writing = Writing::kChanged;
  bool verify = false;  ///< trusts no record: each file is read
  /// Files that no change can have touched since the manifest's revision, as the history of the
  /// database has it, are not composed again. Where the history does not tell for certain, all are.
  bool use_history = true;
};

/// While one lives, generators of its network compare instead of writing. They are called as ever,
/// with folders below the current one: what they write appears there, and the caller puts it into
/// the same place below the root. With kNothing nothing is written and no folder made. What they
/// read back is what they composed, else what lies in the root. The database stays open meanwhile;
/// with kNothing a batch may have changes that are not stored.
class NCC_API CFileCollector {
 public:
  /// Reads the manifest and examines the files of the folders, in several threads. Throws also when
  /// the network has a collector already.
  CFileCollector(CNCCNet& net, CCollectorOptions options);
  ~CFileCollector();
  CFileCollector(const CFileCollector&) = delete;
  CFileCollector& operator=(const CFileCollector&) = delete;

  /// Whether there is a manifest. One that cannot be read, or is damaged (see ReadManifest), is as
  /// none; the text, which is empty otherwise, says why. The files are read in its place.
  bool HasManifest() const;
  const std::string& Problem() const;

  /// Whether making these parts would change nothing, by what the manifest says of them and of the
  /// files: `settings` are the application's, such as "mode=1".
  struct Part {
    std::string name;
    std::string settings;
  };
  bool IsUpToDate(const std::vector<Part>& parts) const;

  /// What is written from here on belongs to this part. `is_whole`: it is made of all nodes, by the
  /// same generators each time, so that files of it which are not composed again go.
  void BeginPart(const Part& part, bool is_whole = true);
  /// Files "FOLDER/PREFIX*SUFFIX" that are not composed again go, whoever made them.
  void Clear(const std::string& pattern);

  /// The files that the last run has not left as they are, by path.
  std::vector<std::string> TouchedFiles() const;

  /// After all parts: what changed, by path.
  std::vector<CFileChange> Changes() const;
  /// Writes the manifest of the root as it is once what was written is there and what is gone is
  /// not: whole or not at all, with a stamp when there is a key.
  void WriteManifest(const char* file) const;

  /// How many files were not composed, as nothing can have changed in them.
  std::size_t KeptFiles() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

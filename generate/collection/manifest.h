// The manifest of a folder of generated files: its text, and reading and writing its lines. See
// manifest.cpp for what stands in them.
#pragma once

#include "nccnet/changed_files.h"
#include "platform/disk/files.h"
#include "platform/stamps/digest.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

// 64 lower-case hexadecimal digits, as sha256sum writes them.
std::string DigestDigits(const Digest& digest);

// A manifest that nobody has written so.
class DamagedManifest : public FileError {
 public:
  explicit DamagedManifest(const std::string& what)
      : FileError("the manifest is damaged: " + what) {}
};

// The text that lies in a folder. Of most files little is asked: their lines are read when that is.
class ManifestText {
 public:
  ManifestText() = default;  // of a folder that has none
  // Throws DamagedManifest for one that is damaged, and for one that the stamping key in force has
  // stamped otherwise; the lines of files are looked at when they are read.
  explicit ManifestText(const char* file);

  bool IsThere() const { return !key_.empty(); }
  const std::string& Key() const { return key_; }
  std::uint64_t Revision() const { return revision_; }
  const std::vector<CPartState>& Parts() const { return parts_; }

  // The lines of files, without their ends; they lie one behind the other.
  const std::vector<std::string_view>& Lines() const { return lines_; }

 private:
  // Returns how many there are.
  std::size_t TakeLines(std::string_view lines);

  FileText text_{nullptr, 0};
  std::string key_;
  std::uint64_t revision_ = 0;
  std::vector<CPartState> parts_;
  std::vector<std::string_view> lines_;
};

// The beginning of a file's line and its path.
struct FileLine {
  CFileRecord::Kind kind = CFileRecord::Kind::kGone;
  std::uint64_t revision = 0;
  std::string_view part;
  unsigned long node = 0;
  FileIdentity file;  // without its device
  std::string_view path;
  std::string_view sums;  // stamp and digest
};
// Throw DamagedManifest.
FileLine ReadFileLine(std::string_view line);
CFileRecord ReadFileRecord(std::string_view line);

// A new one; the files are added ascending by path. Most lines are those of the one before, where
// they lie one behind the other: they are written from there.
class ManifestWriter {
 public:
  ManifestWriter(const std::string& key, std::uint64_t revision,
                 const std::vector<CPartState>& parts);
  void Add(const CFileRecord& file);
  // A line of a ManifestText, which lives longer.
  void Add(std::string_view line);
  // Adds the last line, with a stamp when there is a key. Throws FileError.
  void Commit(const char* file);

 private:
  // Makes a piece of the lines that were made here.
  void EndText();

  std::string text_;
  std::deque<std::string> texts_;         // that are pieces
  std::vector<std::string_view> pieces_;  // of it all, one behind the other
  std::size_t lines_ = 0;
};

}  // namespace ncc

// Files and folders as the generators use them. Paths take either separator. Functions throw
// FileError unless they say otherwise.
#pragma once

#include "platform/disk/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

class FileError : public std::runtime_error {
 public:
  explicit FileError(const std::string& text, int cause = 0)
      : std::runtime_error(text), cause_(cause) {}
  // The system's number for what went wrong; 0 where it is not known.
  int Cause() const { return cause_; }

 private:
  int cause_;
};

// "file x.txt cannot be written: No space left on device"
[[noreturn]] void ThrowFileError(const std::string& path, std::string_view what, int error);

// Makes a folder and its missing parents, for their owner alone.
void MakeFolders(std::string_view path);

// The same of a folder below `root`, which ends in a separator, as `below` does. Links are followed
// in the root alone: throws when one lies below it.
void MakeFoldersBelow(const std::string& root, std::string_view below);
void RefuseLinks(const std::string& root, std::string_view below);

// Deletes the files of a folder whose names begin with `prefix` in any letter case; sub-folders and
// the files of databases that are in use stay. A missing folder holds none.
void DeleteFiles(std::string_view folder, std::string_view prefix = "");

// The names in a folder, as they are now, to be found whatever their letter case.
class FolderNames {
 public:
  explicit FolderNames(std::string_view folder);

  // The name as it is in the folder; null when there is none.
  const std::string* Find(std::string_view wanted) const;

 private:
  std::vector<std::string> names_;  // ascending without regard to case
};

// The path of the file for reading: when there is none of this name, one whose name differs in
// ASCII letter case alone; the path itself when there is neither. Throws also when the folder
// cannot be searched.
std::string ReadablePath(std::string_view path);
// The same by the names that the folder had.
std::string ReadablePath(std::string_view path, const FolderNames& names);

// The text behind the path's last separator, and the text up to it.
std::string_view FileName(std::string_view path);
std::string_view FolderOf(std::string_view path);

// The path with a separator at its end.
std::string WithSeparator(std::string_view path);

// What tells whether a file is still the one that was written.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified_seconds = 0;
  std::int64_t modified_nanoseconds = 0;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Nothing when there is no such plain file. Throws nothing.
std::optional<FileIdentity> IdentifyFile(const std::string& native_path) noexcept;
// Nothing when there is no such file alone: throws when it is no plain file, or nobody can tell.
std::optional<FileIdentity> FindFile(const std::string& native_path);
// Whether its last change lies back so far that another one would show in its time.
bool IsSettled(const FileIdentity& file) noexcept;
FileIdentity IdentifyFile(int descriptor, const std::string& path);

// A plain file that is open for reading.
struct SourceFile {
  Descriptor descriptor;
  std::uint64_t size = 0;
};
// Nothing when there is no such file alone; never waits for the other end of a pipe.
std::optional<SourceFile> OpenSource(const std::string& native_path);

// Writes all bytes to a descriptor; `path` is for the message.
void WriteAll(int descriptor, std::string_view bytes, const std::string& path);

// Copies a file over another one, which appears whole or not at all. False when there is no source.
bool CopyWholeFile(std::string_view from, std::string_view to);

// Appends the rest of an open file to another, up to `limit` bytes, in the kernel where it can.
// Returns the number of bytes.
std::uint64_t AppendFile(int from, int to, std::uint64_t limit, const std::string& path);

bool FolderExists(std::string_view path);

// Makes this folder alone, for its owner; false when that fails.
bool MakeFolder(std::string_view path);

// Names of all entries of a folder, in the order in which the system lists them; none when it
// cannot be read.
std::vector<std::string> FolderEntries(std::string_view folder);

// The contents of a file.
class FileText {
 public:
  FileText(std::unique_ptr<char[]> bytes, std::size_t size)
      : bytes_(std::move(bytes)), size_(size) {}
  std::string_view View() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

// Nothing when there is no plain file of this name (letter case aside) that can be read. Throws
// FileError when the file is longer than 2 GiB.
std::optional<FileText> ReadWholeFile(std::string_view path);

// Throws when something else than a file, or a link, has the name.
void RequireReplaceable(const std::string& native_path);
void RenameFile(const std::string& from, const std::string& to);
void DiscardFile(const std::string& native_path) noexcept;

}  // namespace ncc

// A file that a generator writes: it appears whole under its name, or not at all.
#pragma once

#include "platform/disk/files.h"
#include "platform/disk/part_file.h"
#include "platform/disk/paths.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ncc {

// The line end of text files, for the process; "\r\n" at start.
std::string_view TextLineEnd() noexcept;
// False for a line end that is none of the two.
bool ChooseTextLineEnd(std::string_view line_end) noexcept;

// The text with each "\n" turned into the line end of text files.
std::string WithLineEnds(std::string_view text);

// Readable by its owner alone, written beside its name and renamed to it by a Commit; destroyed
// without, it leaves nothing behind. What is appended is kept in memory until it is flushed.
// Members throw FileError.
class OutputFile {
 public:
  // Its temporary file is made now, so that nothing is composed for a place where none can be, or
  // when it is needed first.
  enum class Opening { kNow, kWhenNeeded };
  explicit OutputFile(std::string_view path, Opening opening = Opening::kNow)
      : path_(NativePath(path)) {
    if (opening == Opening::kNow) Part();
  }

  void Append(std::string_view bytes) { contents_ += bytes; }
  void Append(std::string&& bytes) {
    if (contents_.empty()) {
      contents_ = std::move(bytes);
    } else {
      contents_ += bytes;
    }
  }
  void AppendText(std::string_view text) { contents_ += WithLineEnds(text); }
  const std::string& Contents() const { return contents_; }

  // Writes what was appended under the temporary name and gives that name.
  const std::string& Flush();
  // Writes what was appended and forgets it: for contents too large to keep.
  void FlushAndForget();
  // Forgets what was appended and not written.
  void Forget() {
    contents_.clear();
    flushed_ = 0;
  }

  // Put the file in place; the second with these bytes in place of what was appended.
  void Commit();
  void CommitBytes(std::string_view bytes);

  const std::string& Path() const { return path_; }
  int Handle() { return Part().Handle(); }
  bool IsInPlace() const { return part_ && part_->IsInPlace(); }
  // Of the file that was put in place. It has no identity where the file system keeps times too
  // coarsely for a later change to show.
  std::uint64_t Size() const { return size_; }
  const std::optional<FileIdentity>& Identity() const { return identity_; }

 private:
  PartFile& Part() { return part_ ? *part_ : part_.emplace(path_); }
  void PutInPlace();

  std::string path_;
  std::optional<PartFile> part_;
  std::string contents_;
  std::size_t flushed_ = 0;
  std::uint64_t size_ = 0;
  std::optional<FileIdentity> identity_;
};

// Makes a file that shares the storage of its twin: a copy-on-write clone, else a hard link. It
// appears whole or not at all. Nothing, and nothing is done, where the file system can do neither
// or the twin is not what it was. Throws nothing but std::bad_alloc.
std::optional<FileIdentity> ShareFile(const std::string& twin, const FileIdentity& identity,
                                      std::string_view path);

}  // namespace ncc

// A file that a generator writes: it appears whole under its name, or not at all.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ncc {

class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A text file with CR LF line ends, readable by its owner alone, written beside its name and
// renamed to it by Commit; destroyed without Commit it leaves nothing behind. Members throw
// FileError.
class TextFile {
 public:
  explicit TextFile(std::string_view path);
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Appends text; each "\n" in it becomes the file's line end.
  void Write(std::string_view text);
  void Commit();

 private:
  void Flush();
  [[noreturn]] void Fail(const std::string& what);

  std::string path_;
  std::string temporary_;
  std::string buffer_;
  int file_ = -1;
};

}  // namespace ncc

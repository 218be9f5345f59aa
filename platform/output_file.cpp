#include "platform/output_file.h"

#include "platform/paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace ncc {
namespace {

constexpr std::size_t kBufferSize = 1U << 16;

}  // namespace

TextFile::TextFile(std::string_view path) : path_(NativePath(path)), temporary_(path_ + ".XXXXXX") {
  file_ = mkostemp(temporary_.data(), O_CLOEXEC);  // readable by its owner alone
  if (file_ < 0) Fail("cannot be created");
}

TextFile::~TextFile() {
  if (file_ >= 0) {
    close(file_);
    unlink(temporary_.c_str());
  }
}

void TextFile::Write(std::string_view text) {
  for (char c : text) {
    if (c == '\n') buffer_ += '\r';
    buffer_ += c;
  }
  if (buffer_.size() >= kBufferSize) Flush();
}

void TextFile::Flush() {
  const char* at = buffer_.data();
  const char* const end = at + buffer_.size();
  while (at != end) {
    const ssize_t written = write(file_, at, static_cast<std::size_t>(end - at));
    if (written < 0 && errno != EINTR) Fail("cannot be written");
    if (written > 0) at += written;
  }
  buffer_.clear();
}

void TextFile::Commit() {
  Flush();
  if (rename(temporary_.c_str(), path_.c_str()) != 0) Fail("cannot be put in place");
  const int file = file_;
  file_ = -1;
  if (close(file) != 0) Fail("cannot be written");
}

void TextFile::Fail(const std::string& what) {
  throw FileError("file " + path_ + " " + what + ": " + std::strerror(errno));
}

}  // namespace ncc

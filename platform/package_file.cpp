#include "platform/package_file.h"

#include "platform/paths.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

constexpr std::size_t kNameColumns = 12;

// The length, and the name in upper case, cut or padded to 12 columns, with its zero.
std::string RecordHead(std::uint32_t length, std::string_view name) {
  std::string head;
  for (int shift = 0; shift < 32; shift += 8) head += static_cast<char>(length >> shift & 0xFF);
  std::string column(name.substr(0, kNameColumns));
  column.resize(kNameColumns, ' ');
  for (const char c : column) head += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return head + '\0';
}

}  // namespace

PackageFile::PackageFile(std::string_view path)
    : path_(NativePath(path)),
      file_(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR)) {
  struct stat info {};
  if (!file_.IsValid() || fstat(file_.Get(), &info) != 0)
    ThrowFileError(path_, "cannot be created", errno);
  // Of other kinds of files, some would keep the writer waiting for ever.
  if (!S_ISREG(info.st_mode)) throw FileError("file " + path_ + " is no plain file");
}

std::uint64_t PackageFile::Finish() {
  const off_t written = lseek(file_.Get(), 0, SEEK_CUR);
  if (written < 0 || file_.Close() != 0) ThrowFileError(path_, "cannot be written", errno);
  return static_cast<std::uint64_t>(written);
}

void AppendPackageRecord(std::string_view path, int package) {
  const std::string source = ReadablePath(path);
  const Descriptor file(open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (!file.IsValid() || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode)) return;
  const auto length = static_cast<std::uint32_t>(info.st_size);
  WriteAll(package, RecordHead(length, FileName(path)), source);
  AppendFile(file.Get(), package, static_cast<std::uint64_t>(info.st_size), source);
}

}  // namespace ncc

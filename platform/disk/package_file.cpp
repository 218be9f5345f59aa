#include "platform/disk/package_file.h"

#include "platform/text/ascii_fold.h"
#include "platform/text/bytes.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

constexpr std::size_t kNameColumns = 12;

// Appends what the file at `path` has from `offset` on; a link is as none.
void AppendTail(const std::string& path, off_t offset, int package) {
  const Descriptor old(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!old.IsValid() && (errno == ENOENT || errno == ELOOP)) return;
  struct stat info {};
  if (!old.IsValid() || fstat(old.Get(), &info) != 0) ThrowFileError(path, "cannot be read", errno);
  if (!S_ISREG(info.st_mode)) throw FileError("file " + path + " is no plain file");
  if (info.st_size <= offset) return;
  if (lseek(old.Get(), offset, SEEK_SET) < 0) ThrowFileError(path, "cannot be read", errno);
  AppendFile(old.Get(), package, UINT64_MAX, path);
}

}  // namespace

std::string PackageRecordHead(std::uint32_t length, std::string_view name) {
  std::string column;
  AppendColumn(column, name, kNameColumns);
  std::string head;
  AppendU32(head, length);
  for (const char c : column) head += UpperAscii(c);
  return head + '\0';
}

std::uint64_t PackageFile::Finish() {
  const off_t written = lseek(Handle(), 0, SEEK_CUR);
  if (written < 0) ThrowFileError(file_.Path(), "cannot be written", errno);
  AppendTail(file_.Path(), written, Handle());
  file_.Commit();
  return static_cast<std::uint64_t>(written);
}

void AppendPackageRecord(std::string_view path, int package) {
  const std::string source = ReadablePath(path);
  const std::optional<SourceFile> file = OpenSource(source);
  if (!file) return;
  if (file->size > UINT32_MAX) ThrowFileError(source, "is too long for a package", EFBIG);
  WriteAll(package, PackageRecordHead(static_cast<std::uint32_t>(file->size), FileName(path)),
           source);
  if (AppendFile(file->descriptor.Get(), package, file->size, source) != file->size)
    ThrowFileError(source, "became shorter while it was packed", EIO);
}

}  // namespace ncc

#include "platform/disk/journal_file.h"

#include "platform/disk/calls.h"
#include "platform/disk/descriptor.h"
#include "platform/disk/files.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

// Opens a journal; of other kinds of files, some would keep the caller waiting for ever.
Descriptor OpenJournal(const std::string& file, int flags) {
  Descriptor journal(open(file.c_str(), flags | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
  struct stat info {};
  const bool is_other = journal.IsValid()
                            ? fstat(journal.Get(), &info) == 0 && !S_ISREG(info.st_mode)
                            : errno == EISDIR || errno == ENXIO;
  if (is_other) throw FileError("file " + file + " is no plain file");
  return journal;
}

}  // namespace

void AppendToJournal(const std::string& file, std::string_view bytes) {
  const Descriptor journal = OpenJournal(file, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW);
  if (!journal.IsValid() && errno == ELOOP)
    throw FileError("file " + file + " is a symbolic link, which is not followed");
  struct stat info {};
  if (!journal.IsValid() || fstat(journal.Get(), &info) != 0)
    ThrowFileError(file, "cannot be opened", errno);
  const ssize_t wrote = Again([&] { return write(journal.Get(), bytes.data(), bytes.size()); });
  if (wrote == static_cast<ssize_t>(bytes.size())) return;
  const int error = wrote < 0 ? errno : ENOSPC;
  // A record that a full disk has cut would shift all that follow.
  const bool cut = wrote > 0 && ftruncate(journal.Get(), info.st_size) == 0;
  static_cast<void>(cut);
  ThrowFileError(file, "cannot be written", error);
}

std::optional<std::string> ReadJournal(const std::string& file) {
  const Descriptor journal = OpenJournal(file, O_RDONLY);
  if (!journal.IsValid() && errno == ENOENT) return std::nullopt;
  if (!journal.IsValid()) ThrowFileError(file, "cannot be opened", errno);
  std::string contents(IdentifyFile(journal.Get(), file).size, '\0');
  const ssize_t got = ReadUpTo(journal.Get(), contents.data(), contents.size());
  if (got < 0) ThrowFileError(file, "cannot be read", errno);
  contents.resize(static_cast<std::size_t>(got));
  return contents;
}

void RemoveJournal(const std::string& file) {
  if (unlink(file.c_str()) != 0 && errno != ENOENT)
    ThrowFileError(file, "cannot be deleted", errno);
}

}  // namespace ncc
